#pragma once

#include <QByteArray>
#include <QString>

// The host's keeper of the developer mode's snapshot, the plug-in's file
// "<exe dir>/../Resources/ScanSets/developer_mode_temp.json" (snapshotFile(),
// the one place its path is made). Its place is
// fixed beside the executable, whatever database the host runs on, so the
// host records beside it which database it belongs to
// ("developer_mode_temp.database", the file's absolute path) and never lets
// it touch another one. A snapshot that must not be used is set aside:
// renamed to "developer_mode_temp-<date>-<time>.json" (its record likewise),
// never deleted.
class SnapshotKeeper
{
public:
    explicit SnapshotKeeper(const QString &databaseFile);

    static QString snapshotFile();
    static QString ownerFile();

    // Checked once at start, before the plug-in is loaded:
    //   - a snapshot of another database: refused (false, error names the
    //     snapshot and its database), unless setAside;
    //   - setAside: the snapshot, if any, is set aside;
    //   - a snapshot while the database says the developer mode is off: the
    //     leave was stored but the host ended before the plug-in removed the
    //     snapshot; set aside so that its values cannot come back later.
    // notice says what was done, when anything was.
    bool checkAtStart(bool setAside, QString *error, QString *notice);

    // "developerModeSettingChanged" for all settings: a leave announces its
    // restore before the plug-in removes the snapshot, the last moment to keep
    // a copy of it when that restore was not stored (unstoredWrites > 0).
    void restoreAnnounced(int unstoredWrites);
    // "developerModeEnabledChanged": records (on) or forgets (off) which
    // database the snapshot belongs to. When neither a leave's restore nor
    // its "false" was stored, puts the kept copy back instead and returns
    // true: the developer mode comes back at the next start and can be left
    // again. Otherwise returns on.
    bool developerModeSwitched(bool on);

private:
    QString setAsideNow(QString *error);
    void bind();
    void release();
    bool exists() const;
    QByteArray read() const;
    bool restore(const QByteArray &bytes);

    QString m_database;
    // The snapshot as it was when a leave's restore was not stored.
    QByteArray m_kept;
};
