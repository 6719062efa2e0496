#include "HostApplication.h"

#include "BusJson.h"
#include "HostConfigStrategy.h"
#include "HostModules.h"
#include "MainWindowBackend.h"
#include "HostLogging.h"
#include "Protocol.h"
#include "ScriptRunner.h"
#include "SettingsInspector.h"
#include "ShutdownSignals.h"
#include "SnapshotKeeper.h"
#include "WriteJournal.h"

#include <QCoreApplication>
#include <QFile>
#include <QQmlContext>
#include <QQuickView>
#include <QTimer>
#include <QtQml>

#include <cstdio>

static void initHostResources()
{
    // The resources live in a static library: pull them in explicitly.
    Q_INIT_RESOURCE(vorahost);
}

HostApplication::HostApplication(const HostOptions &options, QObject *parent)
    : QObject(parent), m_options(options), m_router(&m_box)
{
    initHostResources();
}

HostApplication::~HostApplication()
{
    m_script.reset();
    m_plugin.unload();
    // Nothing writes to the journal after this.
    VoraConfigSQLite::setWriteObserver(nullptr);
    m_mainWindow.reset();
    m_backend.reset();
    // Items that the windows released with deleteLater go before their engine.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    // The application outlives the host: leave no pointer to a dead engine.
    qApp->setProperty("__vora_MainQmlEngine__", QVariant());
}

bool HostApplication::start()
{
    QString error;
    const QString dbFile = m_options.databaseFile.isEmpty() ? ConfigDatabase::defaultFile()
                                                            : m_options.databaseFile;
    if (!m_database.prepare(dbFile, &error)) {
        std::fprintf(stderr, "vorahost: %s\n", qUtf8Printable(error));
        return false;
    }
    if (m_database.wasCreated())
        std::fprintf(stderr, "vorahost: created the configuration database %s from the shipped sample\n",
                     qUtf8Printable(m_database.fileName()));

    // Before the plug-in can see the snapshot: it must belong to this
    // database, and must not outlive a leave that was stored.
    auto snapshot = std::make_unique<SnapshotKeeper>(m_database.fileName());
    QString notice;
    if (!snapshot->checkAtStart(m_options.setAsideSnapshot, &error, &notice)) {
        std::fprintf(stderr, "vorahost: %s\n", qUtf8Printable(error));
        return false;
    }
    if (!notice.isEmpty())
        std::fprintf(stderr, "vorahost: %s\n", qUtf8Printable(notice));
    m_modules = std::make_unique<HostModules>(&m_router, m_database.fileName(), std::move(snapshot));
    m_journal = std::make_unique<WriteJournal>();
    if (!m_options.journalFile.isEmpty() && !m_journal->open(m_options.journalFile, &error)) {
        std::fprintf(stderr, "vorahost: %s\n", qUtf8Printable(error));
        return false;
    }
    setUpJournal();
    connect(&m_pages, &PageBridge::pagePublished, &m_router, &BusRouter::publishFromPage);
    connect(&m_router, &BusRouter::pageDelivery, &m_pages, &PageBridge::deliverToPages);
    if (m_options.isScripted() || m_options.trace) {
        connect(&m_router, &BusRouter::messageRouted, this,
                [](const QString &from, const QVariantMap &param) {
                    BusJson::printAfterLog(BusJson::busLine(from, param));
                });
    }

    m_signals = std::make_unique<ShutdownSignals>();
    connect(m_signals.get(), &ShutdownSignals::requested, this,
            [this](int signalNumber) { quit(128 + signalNumber); });

    // The engine is in place before the plug-in exists: its windows look
    // for it when they are first shown.
    setUpEngine();

    const QString pluginFile = m_options.pluginFile.isEmpty() ? PluginHost::defaultFile()
                                                              : m_options.pluginFile;
    m_inspector = std::make_unique<SettingsInspector>(&m_router, &m_engine, m_database.fileName());
    connect(m_journal.get(), &WriteJournal::recorded, m_inspector.get(), &SettingsInspector::scheduleRefresh);
    m_backend = std::make_unique<MainWindowBackend>(&m_router, m_options.noPlugin ? QString() : pluginFile,
                                              m_database.fileName(), m_inspector.get(), m_journal.get());
    m_engine.rootContext()->setContextProperty(QStringLiteral("$host"), m_backend.get());
    if (!showMainWindow())
        return false;

    if (!m_options.noPlugin) {
        if (!m_plugin.load(pluginFile, &m_box, &error)) {
            std::fprintf(stderr, "vorahost: %s\n", qUtf8Printable(error));
            return false;
        }
        m_router.setPlugin(m_plugin.controller());
    }

    if (m_options.benchStartup) {
        // Armed after the controller's own 10 ms start timer, so it fires
        // after the controller has run its start.
        QTimer::singleShot(10, Qt::PreciseTimer, this, [this] {
            QMetaObject::invokeMethod(
                    this, [this] { quit(0); }, Qt::QueuedConnection);
        });
    } else if (m_options.isScripted()) {
        m_script = std::make_unique<ScriptRunner>(&m_router, m_inspector.get());
        if (!m_script->open(m_options.scriptFile, &error)) {
            std::fprintf(stderr, "vorahost: %s\n", qUtf8Printable(error));
            return false;
        }
        connect(m_script.get(), &ScriptRunner::output, this,
                [](const QByteArray &line) { BusJson::printAfterLog(line); });
        connect(m_script.get(), &ScriptRunner::finished, this, &HostApplication::quit, Qt::QueuedConnection);
        m_script->start();
    }
    return true;
}

void HostApplication::setUpJournal()
{
    // The host's own modules write through HostConfigStrategy; any other
    // strategy is the plug-in's.
    WriteJournal *journal = m_journal.get();
    VoraConfigSQLite::setWriteObserver([journal](const VoraConfigWrite &write) {
        const bool byHost = dynamic_cast<const HostConfigStrategy *>(write.strategy) != nullptr;
        journal->record(byHost ? Protocol::FromHost : Protocol::FromPlugin, write);
    });
    m_modules->databaseService().setWriteObserver(
            [journal](const VoraConfigWrite &write) { journal->record(Protocol::FromPage, write); });
}

void HostApplication::setUpEngine()
{
    // The config editor page imports VoraDesign 1.0; it uses no type of it,
    // so the module only has to exist. Registered in code, it travels with
    // the binary wherever the bundle is copied.
    qmlRegisterModule("VoraDesign", 1, 0);
    m_engine.rootContext()->setContextProperty(QStringLiteral("$app"), &m_pages);
    qApp->setProperty("__vora_MainQmlEngine__", QVariant::fromValue<QQmlEngine *>(&m_engine));
    connect(&m_engine, &QQmlEngine::warnings, this, [](const QList<QQmlError> &warnings) {
        for (const QQmlError &warning : warnings)
            qCWarning(lcHostPage, "%s", qUtf8Printable(warning.toString()));
    });
}

bool HostApplication::showMainWindow()
{
    m_mainWindow = std::make_unique<QQuickView>(&m_engine, nullptr);
    m_mainWindow->setTitle(Protocol::MainWindowTitle);
    m_mainWindow->setResizeMode(QQuickView::SizeRootObjectToView);
    m_mainWindow->setSource(QUrl(QStringLiteral("qrc:/vorahost/MainWindow.qml")));
    if (m_mainWindow->status() != QQuickView::Ready) {
        std::fprintf(stderr, "vorahost: the main window did not load\n");
        return false;
    }
    // Closing the main window ends the host, as in the scanner software.
    m_mainWindow->installEventFilter(this);
    m_mainWindow->show();
    return true;
}

bool HostApplication::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_mainWindow.get() && event->type() == QEvent::Close) {
        // The window is not closed here: the host shuts down in its own
        // order, the plug-in and its windows first, then the main window.
        event->ignore();
        QMetaObject::invokeMethod(
                this, [this] { quit(0); }, Qt::QueuedConnection);
        return true;
    }
    return QObject::eventFilter(watched, event);
}

void HostApplication::quit(int code)
{
    if (m_quitting)
        return;
    m_quitting = true;
    m_script.reset();
    // Plug-in first: its windows are views on the engine.
    m_plugin.unload();
    m_router.setPlugin(nullptr);
    if (m_options.reportPeakMemory)
        reportPeakMemory();
    QCoreApplication::exit(code);
}

void HostApplication::reportPeakMemory() const
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return;
    const QList<QByteArray> lines = status.readAll().split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith("VmHWM:"))
            std::fprintf(stderr, "vorahost: peak memory %s\n", line.mid(6).trimmed().constData());
    }
}
