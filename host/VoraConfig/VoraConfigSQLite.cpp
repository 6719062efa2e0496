#include "VoraConfigSQLite.h"

#include "VoraConfigStrategy.h"
#include "VoraSqlite.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QMutex>
#include <QRegularExpression>
#include <QSet>
#include <QThread>

#include <atomic>
#include <limits>
#include <map>

namespace {

using VoraSqlite::Statement;

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

// A BLOB stays bytes here; an INTEGER is an int when it fits.
QVariant columnValue(const Statement &stmt, const QVariant &nullValue)
{
    const QVariant value = stmt.value(0);
    if (!value.isValid()) // NULL: nothing stored
        return nullValue;
    return value.userType() == QMetaType::LongLong ? VoraConfigSQLite::storedForm(value) : value;
}

} // namespace

struct VoraConfigSQLite::Private
{
    VoraSqlite::Connection db;
    QString fileName;
    QSharedPointer<VoraConfigStrategy> strategy;
    // Prepared statements by table, reset after each use so that they hold
    // no lock between calls.
    std::map<QString, Statement> selects;
    std::map<QString, Statement> upserts;
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

    QString errorMessage() const { return db.errorText(); }

    // Resolves the table of one call; empty when there is none to use.
    QString tableFor(VoraConfigStrategy *explicitStrategy, int *status) const
    {
        VoraConfigStrategy *s = explicitStrategy ? explicitStrategy : strategy.data();
        if (!s) {
            *status = VoraConfigNoStrategy;
            qCWarning(lcHostDb, "no configuration strategy given or set; call ignored");
            return QString();
        }
        QString prefix;
        QString name;
        s->getDBTablePrefix(prefix);
        s->getDBTableName(name);
        const QString table = prefix + name;
        if (!VoraConfigSQLite::isPlainIdentifier(table)) {
            *status = VoraConfigBadTable;
            qCWarning(lcHostDb, "refused table name \"%s\": not a plain identifier", qUtf8Printable(table));
            return QString();
        }
        *status = VoraConfigOk;
        return table;
    }

    Statement *statement(std::map<QString, Statement> &cache, const QString &table,
                         const QString &sqlTemplate, int *status)
    {
        const auto cached = cache.find(table);
        if (cached != cache.end())
            return &cached->second;
        Statement stmt(db, sqlTemplate.arg(table).toUtf8());
        if (!stmt.isValid()) {
            *status = errorMessage().startsWith(QLatin1String("no such table")) ? VoraConfigNoSuchTable
                                                                                : VoraConfigSqlError;
            return nullptr;
        }
        return &cache.emplace(table, std::move(stmt)).first->second;
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
    qCWarning(lcHostDb, "write of \"%s\" to table %s dropped: %s", qUtf8Printable(key), qUtf8Printable(table),
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
    selects.clear();
    upserts.clear();
    db.close();
    fileName.clear();
}

// The transaction statements, each run to its end.
bool VoraConfigSQLite::Private::step(const char *sql)
{
    return db.exec(sql);
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
        const bool locked = db.errorCode() == SQLITE_BUSY;
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
    if (!sqlite3_get_autocommit(db.handle()))
        step("ROLLBACK");
    dropUncommitted(QStringLiteral("not committed to %1: %2").arg(fileName, why));
    return false;
}

// The transaction is gone: the writes in it are reported again as failed.
void VoraConfigSQLite::Private::dropUncommitted(const QString &why)
{
    const VoraConfigWriteObserver observer = currentWriteObserver();
    for (VoraConfigWrite &write : uncommitted) {
        qCWarning(lcHostDb, "write of \"%s\" to table %s lost: %s", qUtf8Printable(write.key),
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
        qCWarning(lcHostDb, "no configuration database named; reads give defaults, writes are dropped");
        return VoraConfigNotOpen;
    }

    const QString path = resolveDatabaseFile(file);
    if (!QFileInfo(path).isFile()) {
        qCWarning(lcHostDb,
                  "configuration database %s does not exist; reads give defaults, writes are dropped",
                  qUtf8Printable(path));
        return VoraConfigNotOpen;
    }

    if (!d->db.open(path, VoraSqlite::Connection::ReadWrite, SQLITE_OPEN_FULLMUTEX)) {
        qCWarning(lcHostDb, "cannot open configuration database %s: %s", qUtf8Printable(path),
                  qUtf8Printable(d->db.errorText()));
        return VoraConfigNotOpen;
    }
    d->db.setBusyTimeout(BusyTimeoutMs);
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
    if (!d->db.isOpen())
        return defaultValue;
    if (batching())
        commitOthers(d.get());
    int status = VoraConfigOk;
    const QString table = d->tableFor(strategy, &status);
    if (table.isEmpty())
        return defaultValue;

    Statement *stmt = d->statement(d->selects, table,
                                   QStringLiteral("SELECT value FROM \"%1\" WHERE key = ?1"), &status);
    if (!stmt) {
        if (status != VoraConfigNoSuchTable)
            qCWarning(lcHostDb, "cannot read \"%s\" from table %s: %s", qUtf8Printable(key),
                      qUtf8Printable(table), qUtf8Printable(d->errorMessage()));
        return defaultValue;
    }

    stmt->bind(1, key);
    QVariant result = defaultValue;
    const int rc = stmt->step();
    if (rc == SQLITE_ROW) {
        result = columnValue(*stmt, defaultValue);
    } else if (rc != SQLITE_DONE) {
        qCWarning(lcHostDb, "cannot read \"%s\" from table %s: %s", qUtf8Printable(key),
                  qUtf8Printable(table), qUtf8Printable(d->errorMessage()));
    }
    stmt->reset();
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

    if (!d->db.isOpen()) {
        qCWarning(lcHostDb, "no configuration database open; write of \"%s\" dropped", qUtf8Printable(key));
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

    if (observer) {
        // Only read when somebody listens: the plain write path stays one
        // statement.
        if (Statement *select = d->statement(
                    d->selects, table, QStringLiteral("SELECT value FROM \"%1\" WHERE key = ?1"), &status)) {
            select->bind(1, key);
            if (select->step() == SQLITE_ROW) {
                write.hadRow = true;
                write.oldValue = columnValue(*select, QVariant());
            }
            select->reset();
        }
        status = VoraConfigOk;
    }

    // Insert or update the value only: the row's comment belongs to the
    // host's configuration and is kept.
    Statement *stmt = d->statement(d->upserts, table,
                                   QStringLiteral("INSERT INTO \"%1\" (key, value) VALUES (?1, ?2) "
                                                  "ON CONFLICT(key) DO UPDATE SET value = excluded.value"),
                                   &status);
    if (!stmt) {
        const QString error = d->errorMessage();
        warnDropped(key, table, error);
        return finish(status, error);
    }

    // The stored form binds in its own storage class.
    stmt->bind(1, key);
    stmt->bind(2, write.newValue);

    const int rc = stmt->step();
    QString error;
    if (rc != SQLITE_DONE) {
        error = rc == SQLITE_BUSY ? lockedMessage(d->fileName) : d->errorMessage();
        warnDropped(key, table, error);
        status = VoraConfigSqlError;
    }
    stmt->reset();
    // Some errors (a full disk, an I/O error) end the whole transaction:
    // the writes before this one are gone with it.
    if (batched && d->inTransaction && sqlite3_get_autocommit(d->db.handle()))
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
    if (!d->db.isOpen()) {
        qCWarning(lcHostDb, "no configuration database open; statement dropped");
        return VoraConfigNotOpen;
    }
    if (!d->db.execScript(sql.toUtf8())) {
        qCWarning(lcHostDb, "statement failed: %s", qUtf8Printable(d->db.errorText()));
        return VoraConfigSqlError;
    }
    return VoraConfigOk;
}

bool VoraConfigSQLite::isOpen() const
{
    return d->db.isOpen();
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
