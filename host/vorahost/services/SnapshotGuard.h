#pragma once

#include <QByteArray>
#include <QString>

// The host's care of the developer mode's snapshot, the plug-in's file
// "<exe dir>/../Resources/ScanSets/developer_mode_temp.json". Its place is
// fixed beside the executable, whatever database the host runs on, so the
// host records beside it which database it belongs to
// ("developer_mode_temp.database", the file's absolute path) and never lets
// it touch another one. A snapshot that must not be used is set aside:
// renamed to "developer_mode_temp-<date>-<time>.json" (its record likewise),
// never deleted.
class SnapshotGuard
{
public:
    explicit SnapshotGuard(const QString &databaseFile);

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

    // Records that the snapshot belongs to this database (the developer mode
    // was switched on).
    void bind();
    // Forgets the record once the snapshot is gone.
    void release();

    bool exists() const;
    QByteArray read() const;
    bool restore(const QByteArray &bytes);

private:
    QString setAsideNow(QString *error);
    QString m_database;
};
