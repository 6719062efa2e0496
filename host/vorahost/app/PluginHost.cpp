#include "PluginHost.h"

#include "HostLogging.h"

#include <VoraBox.h>
#include <VoraFactory.h>
#include <VoraQObject.h>

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QJsonObject>

PluginHost::PluginHost() = default;

PluginHost::~PluginHost()
{
    unload();
}

QString PluginHost::defaultFile()
{
    return QDir::cleanPath(QCoreApplication::applicationDirPath()
                           + QStringLiteral("/../plugins/libApplicationTools.so"));
}

bool PluginHost::load(const QString &file, CommonLib::VoraBox *box, QString *error)
{
    const QString path = QFileInfo(file).absoluteFilePath();
    auto fail = [&](const QString &reason) {
        *error = QStringLiteral("cannot load plug-in %1: %2").arg(path, reason);
        return false;
    };
    if (!QFileInfo(path).isFile())
        return fail(QStringLiteral("no such file"));

    m_loader.setFileName(path);
    // The metadata is read without loading the library, so a foreign plug-in
    // is refused before any of its code runs.
    const QJsonObject metaData = m_loader.metaData();
    if (metaData.isEmpty()) {
        const QString reason = m_loader.errorString();
        return fail(reason.isEmpty() ? QStringLiteral("not a Qt plug-in") : reason);
    }
    const QString iid = metaData.value(QStringLiteral("IID")).toString();
    if (iid != QLatin1String(VoraFactory_iid))
        return fail(QStringLiteral("interface '%1' is not '%2'").arg(iid, QLatin1String(VoraFactory_iid)));

    QObject *instance = m_loader.instance();
    if (!instance)
        return fail(m_loader.errorString());
    auto *factory = qobject_cast<CommonLib::VoraFactory *>(instance);
    if (!factory)
        return fail(QStringLiteral("its instance is not a VoraFactory"));

    std::unique_ptr<QObject> object(factory->createObject(
            QString(), {{QStringLiteral("paramname"), QStringLiteral("ApplicationToolsController")}}));
    if (!object)
        return fail(QStringLiteral("the factory made no ApplicationToolsController"));
    auto *controller = qobject_cast<CommonLib::VoraQObject *>(object.get());
    if (!controller)
        return fail(QStringLiteral("the factory's object is not a VoraQObject"));
    object.release();
    m_controller.reset(controller);

    box->attach(controller);
    controller->start();
    qCDebug(lcHostPlugin, "loaded %s, controller %s started", qUtf8Printable(path),
            controller->metaObject()->className());
    return true;
}

void PluginHost::unload()
{
    if (!m_controller)
        return;
    m_controller->stop();
    if (CommonLib::VoraBox *box = m_controller->box())
        box->detach(m_controller.get());
    m_controller.reset();
    // The developer mode is deleted deferred; let it go while its engine and
    // database are still there. The library itself stays loaded: Qt keeps
    // plug-in libraries to the end of the process.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}
