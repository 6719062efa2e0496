#pragma once

#include "Protocol.h"

#include <QAbstractListModel>
#include <QJsonObject>
#include <QJsonValue>
#include <QPointer>
#include <QString>
#include <QVariantMap>
#include <QVector>

class BusRouter;
class QQmlEngine;
class WindowWatch;

// The developer mode as the host sees it, for the main window and the
// "inspect" and "revert" script steps. Its state (off, loading, on) follows
// the bus; while the mode is not off it has one row per setting: entry value
// (the snapshot's "init"), current value (its "last"), the database value in
// its stored type, changed, and mismatch (the plug-in would read another
// value from the database). Everything is read again on the event-loop turn
// after a developer-mode message, a config-editor answer or a journaled
// write. Revert goes through the plug-in's own updateValue
// ("$developerModeController"), so it works while the developer-mode window
// is open. The columns and their reading rules: docs/vorahost.md.
class SettingsInspector : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(QString mode READ mode NOTIFY modeChanged)
    // The values of mode, so QML compares with the protocol's own words.
    Q_PROPERTY(QString modeOff READ modeOff CONSTANT)
    Q_PROPERTY(QString modeLoading READ modeLoading CONSTANT)
    Q_PROPERTY(QString modeOn READ modeOn CONSTANT)
    Q_PROPERTY(bool windowOpen READ windowOpen NOTIFY windowOpenChanged)
    Q_PROPERTY(QString revertBlocker READ revertBlocker NOTIFY revertBlockerChanged)
    Q_PROPERTY(int changedCount READ changedCount NOTIFY rowsRefreshed)
    Q_PROPERTY(int mismatchCount READ mismatchCount NOTIFY rowsRefreshed)

public:
    enum Role {
        KeyRole = Qt::UserRole + 1,
        EntryRole,
        CurrentRole,
        DatabaseRole,
        TableRole,
        DbKeyRole,
        ChangedRole,
        MismatchRole,
        CurrentColourRole,
    };

    // How the plug-in reads a setting back from the database.
    // None: no database row; Count: a whole number the host's settings module
    // keeps (rollbackFrame).
    enum class Reading { None, Bool, BoolOrTrue, NonZero, AsStored, Colour, Count };

    struct Row
    {
        QString key;
        QString table; // empty: the setting has no database row
        QString dbKey;
        Reading reading = Reading::None;
        QJsonValue entry = QJsonValue::Undefined; // undefined: not known
        QJsonValue current = QJsonValue::Undefined;
        QVariant database; // stored value; invalid for NULL or no row
        bool hasRow = false;
        bool changed = false;
        bool mismatch = false;
    };

    SettingsInspector(BusRouter *router, QQmlEngine *engine, const QString &databaseFile,
                      QObject *parent = nullptr);
    ~SettingsInspector() override;

    QString mode() const { return m_mode; }
    static QString modeOff() { return Protocol::ModeOff; }
    static QString modeLoading() { return Protocol::ModeLoading; }
    static QString modeOn() { return Protocol::ModeOn; }
    bool windowOpen() const;
    // Why revert cannot act now; empty when it can.
    QString revertBlocker() const;
    int changedCount() const;
    int mismatchCount() const;

    // Reads snapshot and database now.
    void refresh();
    const QVector<Row> &rows() const { return m_rows; }
    // {"inspect": [{"key", "entry", "current", "database", "table", "dbKey", "changed", "mismatch"}, ...]}
    QByteArray inspectLine() const;

    // Puts one setting back to its entry value; false with the reason when it
    // cannot.
    bool revertSetting(const QString &key, QString *error);
    Q_INVOKABLE QString revertSetting(const QString &key);
    // Every changed setting; returns the reason of the first that failed.
    Q_INVOKABLE QString revertAll();

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    // Schedules a refresh on the next event-loop turn (several coalesce).
    void scheduleRefresh();

signals:
    void modeChanged();
    void windowOpenChanged();
    void revertBlockerChanged();
    void rowsRefreshed();

private:
    void onMessage(const QString &from, const QVariantMap &param);
    void onWindowChanged();
    void setMode(const QString &mode);
    QJsonObject readSnapshot() const;

    QQmlEngine *m_engine;
    QString m_databaseFile;
    WindowWatch *m_window;
    QPointer<QObject> m_controller;
    QPointer<QObject> m_controllerWindow;
    QString m_mode = Protocol::ModeOff;
    QVariantMap m_lastSettings;
    QVector<Row> m_rows;
    bool m_refreshPending = false;
};
