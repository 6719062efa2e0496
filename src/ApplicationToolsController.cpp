#include "ApplicationToolsController.h"

#include "ConfigEditor/ConfigEditorController.h"
#include "ConfigStrategy.h"
#include "DeveloperMode/DeveloperModeController.h"

#include <VoraConfigSQLite.h>

#include <QDebug>
#include <QPointer>
#include <QSharedPointer>
#include <QTimer>

namespace {

// One developer mode and one config editor per process, whichever controller
// made them. They are guarded pointers so that a sub-controller destroyed
// with the controller that made it is not seen as alive by the next one.
QPointer<DeveloperModeController> &developerModeController()
{
    static QPointer<DeveloperModeController> controller;
    return controller;
}

QPointer<ConfigEditorController> &configEditorController()
{
    static QPointer<ConfigEditorController> controller;
    return controller;
}

const QString CmdKey = QStringLiteral("cmd");
const QString ModuleKey = QStringLiteral("module");

} // namespace

ApplicationToolsController::ApplicationToolsController(QObject *parent) : CommonLib::VoraQObject(parent)
{
    // Registered from the event loop, once the host has the object in hand;
    // bound to this object so that it never runs after its destruction.
    QTimer::singleShot(10, this, &ApplicationToolsController::init);
}

ApplicationToolsController::~ApplicationToolsController() = default;

int ApplicationToolsController::start()
{
    return 0;
}

int ApplicationToolsController::stop()
{
    return 0;
}

void ApplicationToolsController::init()
{
    m_handlers.insert(QStringLiteral("enableDeveloperMode"),
                      [this](const QVariantMap &param) { enableDeveloperMode(param); });

    // The developer mode survives a restart of the host: it comes back before
    // the config editor command is even known.
    if (isDeveloperMode())
        m_handlers.value(QStringLiteral("enableDeveloperMode"))(
                QVariantMap{{QStringLiteral("enabled"), true}});

    m_handlers.insert(QStringLiteral("showConfigEditor"),
                      [this](const QVariantMap &param) { showConfigEditor(param); });
}

int ApplicationToolsController::onSubscribeData(QString topic, QString type, QString event, QVariantMap param,
                                                std::shared_ptr<AbstractSerializableObject> payload)
{
    Q_UNUSED(payload)
    const QString cmd = param.value(CmdKey).toString();
    const QString module = param.value(ModuleKey).toString();
    const auto handler = m_handlers.constFind(cmd);
    if (handler != m_handlers.constEnd()) {
        // Copied: the handler may replace the table's entries while it runs.
        const auto run = handler.value();
        run(param);
        return 0;
    }
    emit notifySubscribeData(topic, type, event, param, module);
    return 0;
}

void ApplicationToolsController::doSelfPublish(const QVariantMap &param)
{
    const QString cmd = param.value(CmdKey).toString();
    const auto handler = m_handlers.constFind(cmd);
    if (handler != m_handlers.constEnd()) {
        const auto run = handler.value();
        run(param);
        return;
    }
    publish(QString(), QString(), QString(), param, false, nullptr);
}

bool ApplicationToolsController::isDeveloperMode() const
{
    // Read afresh each time: the host may have changed it since.
    QSharedPointer<ConfigStrategy> strategy = QSharedPointer<ConfigStrategy>::create(QStringLiteral("config"),
                                                                                     QString());
    VoraConfigSQLite db;
    db.open(strategy.data());
    db.setConfigStrategy(strategy);
    return db.getConfig(QStringLiteral("developerModeEnabled"), QVariant(false), nullptr).toBool();
}

void ApplicationToolsController::enableDeveloperMode(const QVariantMap &param)
{
    const bool enabled = param.value(QStringLiteral("enabled")).toBool();
    QPointer<DeveloperModeController> &current = developerModeController();
    if (enabled) {
        if (current)
            return;
        // The new controller waits a second before it publishes anything, so
        // both connections are in place in time.
        auto *controller = new DeveloperModeController(this);
        current = controller;
        connect(this, &ApplicationToolsController::notifySubscribeData, controller,
                &DeveloperModeController::onSubscribeData);
        connect(controller, &DeveloperModeController::publish, this,
                &ApplicationToolsController::doSelfPublish);
        publish(QString(), QString(), QString(),
                QVariantMap{{CmdKey, QStringLiteral("developerModeEnabledChanged")},
                            {QStringLiteral("enabled"), true}},
                false, nullptr);
        return;
    }

    if (!current)
        return;
    DeveloperModeController *controller = current;
    controller->doQuitDeveloperMode();
    // Deferred: this very call may be running inside the controller's own
    // publish signal (the page's exit button).
    controller->deleteLater();
    current = nullptr;
    publish(QString(), QString(), QString(),
            QVariantMap{{CmdKey, QStringLiteral("developerModeEnabledChanged")},
                        {QStringLiteral("enabled"), false}},
            false, nullptr);
}

void ApplicationToolsController::showConfigEditor(const QVariantMap &param)
{
    const bool visible = param.value(QStringLiteral("visible")).toBool();
    QPointer<ConfigEditorController> &current = configEditorController();
    if (visible) {
        if (current)
            return;
        qDebug() << "show config editor";
        auto *editor = new ConfigEditorController(this);
        current = editor;
        connect(this, &ApplicationToolsController::notifySubscribeData, editor,
                &ConfigEditorController::onSubscribeData);
        connect(editor, &ConfigEditorController::publish, this, &ApplicationToolsController::doSelfPublish);
        return;
    }

    if (!current)
        return;
    // Deleted at once, unlike the developer mode: when the user closes the
    // window by its frame this runs inside the editor's own close handling,
    // and the editor's destructor copes with that.
    ConfigEditorController *editor = current;
    current = nullptr;
    delete editor;
}
