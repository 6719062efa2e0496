#pragma once

#include <VoraFactory.h>

// The plug-in's factory: the host finds it through the plug-in metadata and
// asks it for the ApplicationToolsController.
class ApplicationToolsFactoryImp : public CommonLib::VoraFactory
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID VoraFactory_iid)

public:
    // The parent is ignored: the factory always lives without one, its
    // lifetime is the plug-in loader's.
    explicit ApplicationToolsFactoryImp(QObject *parent = nullptr);
    ~ApplicationToolsFactoryImp() override;

    QObject *createObject(const QString &name, const QVariantMap &params) override;
};
