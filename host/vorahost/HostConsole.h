#pragma once

#include <QObject>
#include <QString>
#include <QVariantMap>

class BusRouter;

// The back end of the host's main window ("$host" on the main engine): its
// buttons send commands to the plug-in, and it hears every bus message for
// the live log.
class HostConsole : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString pluginFile READ pluginFile CONSTANT)
    Q_PROPERTY(QString databaseFile READ databaseFile CONSTANT)

public:
    HostConsole(BusRouter *router, const QString &pluginFile, const QString &databaseFile,
                QObject *parent = nullptr);
    ~HostConsole() override;

    QString pluginFile() const { return m_pluginFile; }
    QString databaseFile() const { return m_databaseFile; }

    // Sends one parameter map to the plug-in's controller.
    Q_INVOKABLE void send(const QVariantMap &param);

signals:
    // One bus message: its direction and its parameter map as compact JSON.
    void messageLogged(const QString &from, const QString &text);

private:
    BusRouter *m_router;
    QString m_pluginFile;
    QString m_databaseFile;
};
