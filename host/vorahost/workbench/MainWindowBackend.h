#pragma once

#include <QObject>
#include <QString>
#include <QVariantMap>

class BusLogModel;
class BusRouter;
class SettingsInspector;
class WindowWatch;
class WriteJournal;

// The back end of the host's main window ("$host" on the main engine): its
// buttons send commands to the plug-in; it keeps the log of the bus and
// hands the window the settings inspector and the write journal.
class MainWindowBackend : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString pluginFile READ pluginFile CONSTANT)
    Q_PROPERTY(QString databaseFile READ databaseFile CONSTANT)
    Q_PROPERTY(QString pluginFileShort READ pluginFileShort CONSTANT)
    Q_PROPERTY(QString databaseFileShort READ databaseFileShort CONSTANT)
    Q_PROPERTY(bool configEditorOpen READ configEditorOpen NOTIFY configEditorOpenChanged)
    Q_PROPERTY(QObject *log READ log CONSTANT)
    Q_PROPERTY(QObject *journal READ journal CONSTANT)
    Q_PROPERTY(QObject *inspector READ inspector CONSTANT)

public:
    MainWindowBackend(BusRouter *router, const QString &pluginFile, const QString &databaseFile,
                SettingsInspector *inspector, WriteJournal *journal, QObject *parent = nullptr);
    ~MainWindowBackend() override;

    QString pluginFile() const { return m_pluginFile; }
    QString databaseFile() const { return m_databaseFile; }
    QString pluginFileShort() const { return shortPath(m_pluginFile); }
    QString databaseFileShort() const { return shortPath(m_databaseFile); }
    bool configEditorOpen() const;
    QObject *log() const;
    QObject *journal() const;
    QObject *inspector() const;

    // Sends one parameter map to the plug-in's controller.
    Q_INVOKABLE void send(const QVariantMap &param);

    // A path as the window shows it: inside the host's bundle relative to it,
    // in the home folder from "~", otherwise its last three parts.
    static QString shortPath(const QString &path);

signals:
    void configEditorOpenChanged();

private:
    BusRouter *m_router;
    QString m_pluginFile;
    QString m_databaseFile;
    BusLogModel *m_log;
    WindowWatch *m_configEditor;
    SettingsInspector *m_inspector;
    WriteJournal *m_journal;
};
