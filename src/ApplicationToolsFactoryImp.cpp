#include "ApplicationToolsFactoryImp.h"

#include "ApplicationToolsController.h"

ApplicationToolsFactoryImp::ApplicationToolsFactoryImp(QObject *parent) : CommonLib::VoraFactory(nullptr)
{
    Q_UNUSED(parent)
}

ApplicationToolsFactoryImp::~ApplicationToolsFactoryImp() = default;

QObject *ApplicationToolsFactoryImp::createObject(const QString &name, const QVariantMap &params)
{
    Q_UNUSED(name)
    // Matched without regard to case on purpose: hosts have asked for the
    // controller in lower case too.
    const QString paramName = params.value(QStringLiteral("paramname")).toString();
    if (paramName.compare(QLatin1String("ApplicationToolsController"), Qt::CaseInsensitive) != 0)
        return nullptr;
    return new ApplicationToolsController(nullptr);
}
