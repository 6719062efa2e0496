#pragma once

#include "VoraConfigExport.h"
#include "VoraConfigStatus.h"

#include <QSharedPointer>
#include <QString>
#include <QVariant>

#include <functional>
#include <memory>

class VoraConfigStrategy;

// One write to a configuration table, as the host's own tools see it (for
// example vorahost's write journal). Values are in their stored form, what a
// read gives back: a bool written is the text "true"/"false".
struct VoraConfigWrite
{
    QString file;
    QString table;
    QString key;
    bool hadRow = false; // false: the key was new to the table
    QVariant oldValue; // invalid when there was no row or it held NULL
    QVariant newValue;
    bool ok = false;
    QString error; // why the write failed, when it did
    const VoraConfigStrategy *strategy = nullptr; // the strategy the write went through
};
using VoraConfigWriteObserver = std::function<void(const VoraConfigWrite &)>;

// The host's access to its configuration database, a SQLite file whose tables
// all have the shape (key TEXT PRIMARY KEY NOT NULL, value, comment TEXT).
//
// Values keep their SQLite storage class on the way back: an INTEGER reads as
// an int (qlonglong when it does not fit), a REAL as a double, TEXT as a
// QString. On the way in, a bool becomes the text "true"/"false", integers
// INTEGER, floating point REAL, an invalid QVariant NULL and anything else its
// text: a boolean write and an integer 0/1 write stay distinguishable.
//
// The table of each call is the strategy passed, or, when null, the strategy
// set by setConfigStrategy(), asked at the time of the call: one strategy
// whose table name changes between calls serves several tables.
//
// Writes made while the application's event loop runs, on its thread, are
// kept in one transaction per object and committed together: before the bus
// carries the next message (VoraBox::publish calls commitPending()), before
// another object in the process reads or writes, when the object is closed,
// and at the end of the event-loop turn. A caller that makes several writes
// in one go (leaving the developer mode makes 21) therefore stores all of
// them or none. Without a running event loop every write commits at once.
//
// Nobody waits for a lock for long: a write that cannot get the file's write
// lock within LockTimeoutMs is dropped with a warning naming the key and the
// file, and the writes after it in the same turn are dropped at once rather
// than waiting again. The host keeps its file in write-ahead-log mode, in
// which readers are never blocked by a writer.
//
// The order of the virtual functions is part of the host's binary interface:
// destructor, open, close, getConfig, setConfig.
class VORACONFIG_EXPORT VoraConfigSQLite
{
public:
    VoraConfigSQLite();
    virtual ~VoraConfigSQLite();

    // Opens the database file that the strategy names. A relative name is
    // resolved against the directory of the running executable. A missing
    // file is not created: a warning is logged, reads then give their
    // defaults and writes are dropped.
    virtual int open(VoraConfigStrategy *strategy);
    virtual int close();
    virtual QVariant getConfig(const QString &key, const QVariant &defaultValue = QVariant(),
                               VoraConfigStrategy *strategy = nullptr);
    virtual int setConfig(const QString &key, const QVariant &value, VoraConfigStrategy *strategy = nullptr);

    void setConfigStrategy(QSharedPointer<VoraConfigStrategy> strategy);
    QSharedPointer<VoraConfigStrategy> configStrategy() const;

    // Runs SQL text as it stands on the open database (host-side
    // maintenance; the plug-in never calls it).
    int exec(const QString &sql);

    bool isOpen() const;
    // The absolute path of the open file, or empty.
    QString fileName() const;

    // Makes every object open this file instead of the one its strategy
    // names (tests, and vorahost's --db option). Empty restores the default.
    static void setDatabaseFileOverride(const QString &file);
    static QString databaseFileOverride();

    // The file that open() would use for a strategy's file name.
    static QString resolveDatabaseFile(const QString &file);

    // True for names that may be spliced into SQL as a table name.
    static bool isPlainIdentifier(const QString &name);

    // Called after every setConfig() of every object in the process, on the
    // writing thread, whether the write succeeded or not. Empty turns it off.
    // A write reported ok whose transaction later fails to commit is reported
    // a second time, with ok false and the reason: the last report of a write
    // is the one that holds. The observer must not use a VoraConfigSQLite of
    // its own: that would commit the writes still pending.
    static void setWriteObserver(VoraConfigWriteObserver observer);

    // Commits the writes still pending in every object of the process. Only
    // acts on the application's thread; returns false when a commit failed
    // (those writes were reported to the observer again and are lost).
    static bool commitPending();

    // How many writes in the process so far were not stored: dropped, or
    // rolled back by a failed commit. A host compares two readings to learn
    // whether what happened in between reached the file.
    static quint64 unstoredWriteCount();

    // The longest wait for another connection's lock, in milliseconds.
    static constexpr int LockTimeoutMs = 2000;

    // The stored form of a value: what setConfig() writes and getConfig()
    // reads back for it.
    static QVariant storedForm(const QVariant &value);

    // The implementation, named here so that the library's batching can keep
    // track of objects with pending writes.
    struct Private;

private:
    Q_DISABLE_COPY(VoraConfigSQLite)
    std::unique_ptr<Private> d;
};
