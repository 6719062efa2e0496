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
    static void setWriteObserver(VoraConfigWriteObserver observer);

    // The stored form of a value: what setConfig() writes and getConfig()
    // reads back for it.
    static QVariant storedForm(const QVariant &value);

private:
    Q_DISABLE_COPY(VoraConfigSQLite)
    struct Private;
    std::unique_ptr<Private> d;
};
