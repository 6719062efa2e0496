#pragma once

#include "PageBridge.h"
#include "BusRouter.h"
#include "ConfigDatabase.h"
#include "HostOptions.h"
#include "PluginHost.h"

#include <VoraBox.h>

#include <QObject>
#include <QQmlEngine>

#include <memory>

class HostModules;
class MainWindowBackend;
class QQuickView;
class ScriptRunner;
class SettingsInspector;
class ShutdownSignals;
class WriteJournal;

// The host application: its configuration database, its bus, its main QML
// engine with "$app" and the VoraDesign module, the main window, the plug-in,
// and, when asked, a script that drives them.
class HostApplication : public QObject
{
    Q_OBJECT

public:
    explicit HostApplication(const HostOptions &options, QObject *parent = nullptr);
    ~HostApplication() override;

    // Sets everything up. Returns false with exit code 1 and a one-line
    // message on stderr when the host cannot run.
    bool start();

    // Closes the plug-in and its windows, then leaves the event loop with code.
    void quit(int code);

    // The bus, for programs that drive the host from inside (benchmarks).
    BusRouter &router() { return m_router; }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void setUpJournal();
    void setUpEngine();
    bool showMainWindow();
    void reportPeakMemory() const;

    HostOptions m_options;
    ConfigDatabase m_database;
    // Before the database service: the service's write observer points at it.
    std::unique_ptr<WriteJournal> m_journal;
    // Before the router, which calls them until it is gone.
    std::unique_ptr<HostModules> m_modules;
    CommonLib::VoraBox m_box;
    BusRouter m_router;
    PageBridge m_pages;
    // The engine outlives the plug-in: its windows are views on it.
    QQmlEngine m_engine;
    std::unique_ptr<SettingsInspector> m_inspector;
    std::unique_ptr<MainWindowBackend> m_backend;
    std::unique_ptr<QQuickView> m_mainWindow;
    PluginHost m_plugin;
    std::unique_ptr<ScriptRunner> m_script;
    std::unique_ptr<ShutdownSignals> m_signals;
    bool m_quitting = false;
};
