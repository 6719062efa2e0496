#include "VoraConfigSQLite.h"

#include "VoraConfigStrategy.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QLoggingCategory>
#include <QMutex>
#include <QRegularExpression>
#include <QSet>
#include <QThread>

#include <sqlite3.h>

#include <atomic>
#include <limits>

Q_LOGGING_CATEGORY(lcVoraDb, "vora.host.db")

namespace {

// Another connection's write lock is waited for this long, then the write
// is dropped: the GUI thread must never freeze much longer than this.
constexpr int BusyTimeoutMs = VoraConfigSQLite::LockTimeoutMs;

std::atomic<quint64> &unstoredWrites()
{
    static std::atomic<quint64> count{0};
    return count;
}

// Writes are batched per event-loop turn only on the application's thread
// and only while its event loop runs: without a loop there is no end of the
// turn to commit at.
bool batching()
{
    const QCoreApplication *app = QCoreApplication::instance();
    QThread *thread = QThread::currentThread();
    return app && thread == app->thread() && thread->loopLevel() > 0;
}

QMutex &overrideMutex()
{
    static QMutex mutex;
    return mutex;
}

QString &overrideFile()
{
    static QString file;
    return file;
}

QMutex &observerMutex()
{
    static QMutex mutex;
    return mutex;
}

VoraConfigWriteObserver &writeObserver()
{
    static VoraConfigWriteObserver observer;
    return observer;
}

VoraConfigWriteObserver currentWriteObserver()
{
    QMutexLocker lock(&observerMutex());
    return writeObserver();
}

struct StatementDeleter
{
    void operator()(sqlite3_stmt *stmt) const { sqlite3_finalize(stmt); }
};
using Statement = std::unique_ptr<sqlite3_stmt, StatementDeleter>;

bool isIntegerType(int type)
{
    switch (type) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::UChar:
        return true;
    default:
        return false;
    }
}

QVariant columnValue(sqlite3_stmt *stmt, int column, const QVariant &nullValue)
{
    switch (sqlite3_column_type(stmt, column)) {
    case SQLITE_INTEGER: {
        const qint64 v = sqlite3_column_int64(stmt, column);
        if (v >= std::numeric_limits<int>::min() && v <= std::numeric_limits<int>::max())
            return QVariant(int(v));
        return QVariant(qlonglong(v));
    }
    case SQLITE_FLOAT:
        return QVariant(sqlite3_column_double(stmt, column));
    case SQLITE_TEXT:
        return QVariant(QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(stmt, column)),
                                          sqlite3_column_bytes(stmt, column)));
    case SQLITE_BLOB:
        return QVariant(QByteArray(static_cast<const char *>(sqlite3_column_blob(stmt, column)),
                                   sqlite3_column_bytes(stmt, column)));
    default: // NULL: nothing stored
        return nullValue;
    }
}

} // namespace

struct VoraConfigSQLite::Private
{
    sqlite3 *db = nullptr;
    QString fileName;
    QSharedPointer<VoraConfigStrategy> strategy;
    // Prepared statements by table, reset after each use so that they hold
    // no lock between calls.
    QHash<QString, sqlite3_stmt *> selects;
    QHash<QString, sqlite3_stmt *> upserts;
    // The open write transaction of this turn and the writes in it, which
    // the observer has been told went well.
    bool inTransaction = false;
    QVector<VoraConfigWrite> uncommitted;

    ~Private() { closeDb(); }

    void closeDb();
    bool step(const char *sql);
    bool beginBatch(const QString &key, const QString &table, QString *error);
    bool commit();
    void dropUncommitted(const QString &why);

    QString errorMessage() const { return QString::fromUtf8(sqlite3_errmsg(db)); }

    // Resolves the table of one call; empty when there is none to use.
    QString tableFor(VoraConfigStrategy *explicitStrategy, int *status) const
    {
        VoraConfigStrategy *s = explicitStrategy ? explicitStrategy : strategy.data();
        if (!s) {
            *status = VoraConfigNoStrategy;
            qCWarning(lcVoraDb, "no configuration strategy given or set; call ignored");
            return QString();
        }
        QString prefix;
        QString name;
        s->getDBTablePrefix(prefix);
        s->getDBTableName(name);
        const QString table = prefix + name;
        if (!VoraConfigSQLite::isPlainIdentifier(table)) {
            *status = VoraConfigBadTable;
            qCWarning(lcVoraDb, "refused table name \"%s\": not a plain identifier", qUtf8Printable(table));
            return QString();
        }
        *status = VoraConfigOk;
        return table;
    }

    sqlite3_stmt *statement(QHash<QString, sqlite3_stmt *> &cache, const QString &table,
                            const QString &sqlTemplate, int *status)
    {
        if (sqlite3_stmt *cached = cache.value(table))
            return cached;
        const QByteArray sql = sqlTemplate.arg(table).toUtf8();
        sqlite3_stmt *stmt = nullptr;
        const int rc = sqlite3_prepare_v2(db, sql.constData(), sql.size(), &stmt, nullptr);
        if (rc != SQLITE_OK) {
            const QString message = errorMessage();
            sqlite3_finalize(stmt);
            *status = message.startsWith(QLatin1String("no such table")) ? VoraConfigNoSuchTable
                                                                         : VoraConfigSqlError;
            return nullptr;
        }
        cache.insert(table, stmt);
        return stmt;
    }
};

namespace {

// The objects with an open write transaction, and the files whose lock could
// not be had during this turn. Only the application's thread touches them.
struct Batches
{
    QSet<VoraConfigSQLite::Private *> pending;
    QSet<QString> lockedFiles;
    bool endOfTurnPosted = false;
};

Batches &batches()
{
    static Batches b;
    return b;
}

// A write that did not happen, said the same way wherever it stopped.
void warnDropped(const QString &key, const QString &table, const QString &why)
{
    qCWarning(lcVoraDb, "write of \"%s\" to table %s dropped: %s", qUtf8Printable(key), qUtf8Printable(table),
              qUtf8Printable(why));
}

QString lockedMessage(const QString &file)
{
    return QStringLiteral("%1 is locked by another connection (waited %2 ms)").arg(file).arg(BusyTimeoutMs);
}

void report(const VoraConfigWriteObserver &observer, const VoraConfigWrite &write)
{
    if (!write.ok)
        ++unstoredWrites();
    if (observer)
        observer(write);
}

void postEndOfTurn()
{
    if (batches().endOfTurnPosted)
        return;
    batches().endOfTurnPosted = true;
    // Posted events run after everything the current turn does.
    QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [] {
                batches().endOfTurnPosted = false;
                VoraConfigSQLite::commitPending();
                batches().lockedFiles.clear();
            },
            Qt::QueuedConnection);
}

// Commits every other object's pending writes, so that this one neither waits
// for a lock its own thread holds nor reads around a write of the same turn.
void commitOthers(VoraConfigSQLite::Private *self)
{
    const auto pending = batches().pending;
    for (VoraConfigSQLite::Private *other : pending) {
        if (other != self)
            other->commit();
    }
}

} // namespace

void VoraConfigSQLite::Private::closeDb()
{
    if (inTransaction)
        commit();
    for (sqlite3_stmt *stmt : qAsConst(selects))
        sqlite3_finalize(stmt);
    for (sqlite3_stmt *stmt : qAsConst(upserts))
        sqlite3_finalize(stmt);
    selects.clear();
    upserts.clear();
    if (db)
        sqlite3_close(db);
    db = nullptr;
    fileName.clear();
}

// Runs one transaction statement through sqlite3_step like every other one,
// so that fault-injection tools see it.
bool VoraConfigSQLite::Private::step(const char *sql)
{
    sqlite3_stmt *stmt = nullptr;
    int rc = sqlite3_prepare_v2(db, sql, -1, &stmt, nullptr);
    if (rc == SQLITE_OK)
        rc = sqlite3_step(stmt);
    sqlite3_finalize(stmt);
    return rc == SQLITE_OK || rc == SQLITE_DONE;
}

bool VoraConfigSQLite::Private::beginBatch(const QString &key, const QString &table, QString *error)
{
    Batches &b = batches();
    if (b.lockedFiles.contains(fileName)) {
        *error = QStringLiteral("%1 is locked by another connection").arg(fileName);
        warnDropped(key, table, *error);
        return false;
    }
    if (!step("BEGIN IMMEDIATE")) {
        const bool locked = sqlite3_errcode(db) == SQLITE_BUSY;
        *error = locked
                ? lockedMessage(fileName)
                : QStringLiteral("cannot begin a transaction on %1: %2").arg(fileName, errorMessage());
        warnDropped(key, table, *error);
        if (locked) {
            // The rest of this turn does not wait again.
            b.lockedFiles.insert(fileName);
            postEndOfTurn();
        }
        return false;
    }
    inTransaction = true;
    b.pending.insert(this);
    postEndOfTurn();
    return true;
}

bool VoraConfigSQLite::Private::commit()
{
    // Only objects of the application's thread ever have a transaction open.
    if (!inTransaction)
        return true;
    batches().pending.remove(this);
    inTransaction = false;
    if (step("COMMIT")) {
        uncommitted.clear();
        return true;
    }
    const QString why = errorMessage();
    if (!sqlite3_get_autocommit(db))
        step("ROLLBACK");
    dropUncommitted(QStringLiteral("not committed to %1: %2").arg(fileName, why));
    return false;
}

// The transaction is gone: the writes in it are reported again as failed.
void VoraConfigSQLite::Private::dropUncommitted(const QString &why)
{
    const VoraConfigWriteObserver observer = currentWriteObserver();
    for (VoraConfigWrite &write : uncommitted) {
        qCWarning(lcVoraDb, "write of \"%s\" to table %s lost: %s", qUtf8Printable(write.key),
                  qUtf8Printable(write.table), qUtf8Printable(why));
        write.ok = false;
        write.error = why;
        report(observer, write);
    }
    uncommitted.clear();
    inTransaction = false;
    batches().pending.remove(this);
}

VoraConfigSQLite::VoraConfigSQLite() : d(new Private)
{ }

VoraConfigSQLite::~VoraConfigSQLite() = default;

int VoraConfigSQLite::open(VoraConfigStrategy *strategy)
{
    d->closeDb();

    QString file;
    QString password;
    if (strategy)
        strategy->getDBFile(file, password);
    // The stand-in's database is not encrypted; the password is accepted as
    // given and not used.
    Q_UNUSED(password)

    const QString override = databaseFileOverride();
    if (!override.isEmpty())
        file = override;
    if (file.isEmpty()) {
        qCWarning(lcVoraDb, "no configuration database named; reads give defaults, writes are dropped");
        return VoraConfigNotOpen;
    }

    const QString path = resolveDatabaseFile(file);
    if (!QFileInfo(path).isFile()) {
        qCWarning(lcVoraDb,
                  "configuration database %s does not exist; reads give defaults, writes are dropped",
                  qUtf8Printable(path));
        return VoraConfigNotOpen;
    }

    sqlite3 *db = nullptr;
    const int rc = sqlite3_open_v2(QFile::encodeName(path).constData(), &db,
                                   SQLITE_OPEN_READWRITE | SQLITE_OPEN_FULLMUTEX, nullptr);
    if (rc != SQLITE_OK) {
        qCWarning(lcVoraDb, "cannot open configuration database %s: %s", qUtf8Printable(path),
                  db ? sqlite3_errmsg(db) : sqlite3_errstr(rc));
        sqlite3_close(db);
        return VoraConfigNotOpen;
    }
    sqlite3_busy_timeout(db, BusyTimeoutMs);
    d->db = db;
    d->fileName = path;
    return VoraConfigOk;
}

int VoraConfigSQLite::close()
{
    d->closeDb();
    return VoraConfigOk;
}

QVariant VoraConfigSQLite::getConfig(const QString &key, const QVariant &defaultValue,
                                     VoraConfigStrategy *strategy)
{
    if (!d->db)
        return defaultValue;
    if (batching())
        commitOthers(d.get());
    int status = VoraConfigOk;
    const QString table = d->tableFor(strategy, &status);
    if (table.isEmpty())
        return defaultValue;

    sqlite3_stmt *stmt = d->statement(d->selects, table,
                                      QStringLiteral("SELECT value FROM \"%1\" WHERE key = ?1"), &status);
    if (!stmt) {
        if (status != VoraConfigNoSuchTable)
            qCWarning(lcVoraDb, "cannot read \"%s\" from table %s: %s", qUtf8Printable(key),
                      qUtf8Printable(table), qUtf8Printable(d->errorMessage()));
        return defaultValue;
    }

    const QByteArray keyUtf8 = key.toUtf8();
    sqlite3_bind_text(stmt, 1, keyUtf8.constData(), keyUtf8.size(), SQLITE_STATIC);
    QVariant result = defaultValue;
    const int rc = sqlite3_step(stmt);
    if (rc == SQLITE_ROW) {
        result = columnValue(stmt, 0, defaultValue);
    } else if (rc != SQLITE_DONE) {
        qCWarning(lcVoraDb, "cannot read \"%s\" from table %s: %s", qUtf8Printable(key),
                  qUtf8Printable(table), qUtf8Printable(d->errorMessage()));
    }
    sqlite3_reset(stmt);
    sqlite3_clear_bindings(stmt);
    return result;
}

int VoraConfigSQLite::setConfig(const QString &key, const QVariant &value, VoraConfigStrategy *strategy)
{
    const VoraConfigWriteObserver observer = currentWriteObserver();
    VoraConfigWrite write;
    write.file = d->fileName;
    write.key = key;
    write.newValue = storedForm(value);
    write.strategy = strategy ? strategy : d->strategy.data();
    auto finish = [&](int status, const QString &error) {
        write.ok = status == VoraConfigOk;
        write.error = error;
        report(observer, write);
        return status;
    };

    if (!d->db) {
        qCWarning(lcVoraDb, "no configuration database open; write of \"%s\" dropped", qUtf8Printable(key));
        return finish(VoraConfigNotOpen, QStringLiteral("no configuration database open"));
    }
    int status = VoraConfigOk;
    const QString table = d->tableFor(strategy, &status);
    if (table.isEmpty())
        return finish(status, QStringLiteral("no usable table"));
    write.table = table;

    const bool batched = batching();
    if (batched) {
        commitOthers(d.get());
        QString error;
        if (!d->inTransaction && !d->beginBatch(key, table, &error))
            return finish(VoraConfigSqlError, error);
    }

    const QByteArray keyUtf8 = key.toUtf8();
    if (observer) {
        // Only read when somebody listens: the plain write path stays one
        // statement.
        if (sqlite3_stmt *select = d->statement(
                    d->selects, table, QStringLiteral("SELECT value FROM \"%1\" WHERE key = ?1"), &status)) {
            sqlite3_bind_text(select, 1, keyUtf8.constData(), keyUtf8.size(), SQLITE_STATIC);
            if (sqlite3_step(select) == SQLITE_ROW) {
                write.hadRow = true;
                write.oldValue = columnValue(select, 0, QVariant());
            }
            sqlite3_reset(select);
            sqlite3_clear_bindings(select);
        }
        status = VoraConfigOk;
    }

    // Insert or update the value only: the row's comment belongs to the
    // host's configuration and is kept.
    sqlite3_stmt *stmt = d->statement(d->upserts, table,
                                      QStringLiteral("INSERT INTO \"%1\" (key, value) VALUES (?1, ?2) "
                                                     "ON CONFLICT(key) DO UPDATE SET value = excluded.value"),
                                      &status);
    if (!stmt) {
        const QString error = d->errorMessage();
        warnDropped(key, table, error);
        return finish(status, error);
    }

    QByteArray text;
    sqlite3_bind_text(stmt, 1, keyUtf8.constData(), keyUtf8.size(), SQLITE_STATIC);
    const QVariant stored = write.newValue;
    switch (stored.userType()) {
    case QMetaType::UnknownType:
        sqlite3_bind_null(stmt, 2);
        break;
    case QMetaType::Int:
    case QMetaType::LongLong:
        sqlite3_bind_int64(stmt, 2, stored.toLongLong());
        break;
    case QMetaType::Double:
        sqlite3_bind_double(stmt, 2, stored.toDouble());
        break;
    default:
        text = stored.toString().toUtf8();
        sqlite3_bind_text(stmt, 2, text.constData(), text.size(), SQLITE_STATIC);
        break;
    }

    const int rc = sqlite3_step(stmt);
    QString error;
    if (rc != SQLITE_DONE) {
        error = rc == SQLITE_BUSY ? lockedMessage(d->fileName) : d->errorMessage();
        warnDropped(key, table, error);
        status = VoraConfigSqlError;
    }
    sqlite3_reset(stmt);
    sqlite3_clear_bindings(stmt);
    // Some errors (a full disk, an I/O error) end the whole transaction:
    // the writes before this one are gone with it.
    if (batched && d->inTransaction && sqlite3_get_autocommit(d->db))
        d->dropUncommitted(QStringLiteral("rolled back in %1: %2").arg(d->fileName, error));
    if (batched && status == VoraConfigOk) {
        write.ok = true;
        d->uncommitted.append(write);
    }
    return finish(status, error);
}

bool VoraConfigSQLite::commitPending()
{
    const QCoreApplication *app = QCoreApplication::instance();
    if (!app || QThread::currentThread() != app->thread())
        return true;
    bool ok = true;
    const auto pending = batches().pending;
    for (Private *p : pending)
        ok = p->commit() && ok;
    return ok;
}

quint64 VoraConfigSQLite::unstoredWriteCount()
{
    return unstoredWrites();
}

QVariant VoraConfigSQLite::storedForm(const QVariant &value)
{
    const int type = value.userType();
    if (!value.isValid())
        return QVariant();
    if (type == QMetaType::Bool)
        return QVariant(value.toBool() ? QStringLiteral("true") : QStringLiteral("false"));
    if (isIntegerType(type)) {
        const qlonglong v = value.toLongLong();
        if (v >= std::numeric_limits<int>::min() && v <= std::numeric_limits<int>::max())
            return QVariant(int(v));
        return QVariant(v);
    }
    if (type == QMetaType::Double || type == QMetaType::Float)
        return QVariant(value.toDouble());
    return QVariant(value.toString());
}

void VoraConfigSQLite::setWriteObserver(VoraConfigWriteObserver observer)
{
    QMutexLocker lock(&observerMutex());
    writeObserver() = std::move(observer);
}

void VoraConfigSQLite::setConfigStrategy(QSharedPointer<VoraConfigStrategy> strategy)
{
    d->strategy = std::move(strategy);
}

QSharedPointer<VoraConfigStrategy> VoraConfigSQLite::configStrategy() const
{
    return d->strategy;
}

int VoraConfigSQLite::exec(const QString &sql)
{
    if (!d->db) {
        qCWarning(lcVoraDb, "no configuration database open; statement dropped");
        return VoraConfigNotOpen;
    }
    char *error = nullptr;
    if (sqlite3_exec(d->db, sql.toUtf8().constData(), nullptr, nullptr, &error) != SQLITE_OK) {
        qCWarning(lcVoraDb, "statement failed: %s", error);
        sqlite3_free(error);
        return VoraConfigSqlError;
    }
    return VoraConfigOk;
}

bool VoraConfigSQLite::isOpen() const
{
    return d->db != nullptr;
}

QString VoraConfigSQLite::fileName() const
{
    return d->fileName;
}

void VoraConfigSQLite::setDatabaseFileOverride(const QString &file)
{
    QMutexLocker lock(&overrideMutex());
    overrideFile() = file;
}

QString VoraConfigSQLite::databaseFileOverride()
{
    QMutexLocker lock(&overrideMutex());
    return overrideFile();
}

QString VoraConfigSQLite::resolveDatabaseFile(const QString &file)
{
    if (QDir::isAbsolutePath(file))
        return QDir::cleanPath(file);
    const QString base = QCoreApplication::instance() ? QCoreApplication::applicationDirPath()
                                                      : QDir::currentPath();
    return QDir::cleanPath(base + QLatin1Char('/') + file);
}

bool VoraConfigSQLite::isPlainIdentifier(const QString &name)
{
    static const QRegularExpression identifier(QStringLiteral("\\A[A-Za-z_][A-Za-z0-9_]*\\z"));
    return identifier.match(name).hasMatch();
}
