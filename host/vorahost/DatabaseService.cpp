#include "DatabaseService.h"

#include "HostLogging.h"

#include <QElapsedTimer>
#include <QFile>
#include <QSet>

#include <sqlite3.h>

namespace {

const QString kCmd = QStringLiteral("cmd");
const QString kResponse = QStringLiteral("dataBaseResponse");

// What the authorizer has seen while one statement of the page was prepared.
// It lets through reads of the configuration tables, updates of their
// "value" column and a short list of harmless functions, and nothing else:
// no other table (sqlite_master included), no insert, delete, drop, pragma,
// attach or transaction of the page's own.
struct Authorization
{
    QSet<QString> tables;
    bool sawSelect = false;
    bool sawUpdate = false;
    bool ownTransaction = false; // our BEGIN/COMMIT/ROLLBACK, never the page's
    QString denied;
};

bool isAllowedFunction(const char *name)
{
    static const QSet<QByteArray> allowed = {
            "like",   "glob",   "lower", "upper",  "length",  "substr",      "substring",
            "trim",   "ltrim",  "rtrim", "instr",  "replace", "coalesce",    "ifnull",
            "nullif", "typeof", "abs",   "round",  "count",   "min",         "max",
            "sum",    "total",  "avg",   "printf", "format",  "group_concat"};
    return name && allowed.contains(QByteArray(name).toLower());
}

QString actionName(int action)
{
    switch (action) {
    case SQLITE_INSERT:
        return QStringLiteral("inserts");
    case SQLITE_DELETE:
        return QStringLiteral("deletes");
    case SQLITE_PRAGMA:
        return QStringLiteral("runs a pragma");
    case SQLITE_ATTACH:
    case SQLITE_DETACH:
        return QStringLiteral("attaches a database");
    case SQLITE_CREATE_TABLE:
    case SQLITE_CREATE_INDEX:
    case SQLITE_CREATE_TRIGGER:
    case SQLITE_CREATE_VIEW:
    case SQLITE_CREATE_TEMP_TABLE:
    case SQLITE_CREATE_TEMP_INDEX:
    case SQLITE_CREATE_TEMP_TRIGGER:
    case SQLITE_CREATE_TEMP_VIEW:
    case SQLITE_CREATE_VTABLE:
        return QStringLiteral("creates");
    case SQLITE_DROP_TABLE:
    case SQLITE_DROP_INDEX:
    case SQLITE_DROP_TRIGGER:
    case SQLITE_DROP_VIEW:
    case SQLITE_DROP_TEMP_TABLE:
    case SQLITE_DROP_TEMP_INDEX:
    case SQLITE_DROP_TEMP_TRIGGER:
    case SQLITE_DROP_TEMP_VIEW:
    case SQLITE_DROP_VTABLE:
        return QStringLiteral("drops");
    case SQLITE_ALTER_TABLE:
        return QStringLiteral("alters a table");
    case SQLITE_REINDEX:
    case SQLITE_ANALYZE:
        return QStringLiteral("maintains the file");
    case SQLITE_RECURSIVE:
        return QStringLiteral("recurses");
    default:
        return QStringLiteral("does action %1").arg(action);
    }
}

int authorize(void *userData, int action, const char *arg3, const char *arg4, const char *database,
              const char *trigger)
{
    Q_UNUSED(database)
    Q_UNUSED(trigger)
    auto *state = static_cast<Authorization *>(userData);
    const QString table = arg3 ? QString::fromUtf8(arg3).toLower() : QString();
    switch (action) {
    case SQLITE_SELECT:
        state->sawSelect = true;
        return SQLITE_OK;
    case SQLITE_READ:
        if (state->tables.contains(table))
            return SQLITE_OK;
        state->denied = QStringLiteral("reads table \"%1\"").arg(table);
        return SQLITE_DENY;
    case SQLITE_UPDATE:
        if (state->tables.contains(table) && qstricmp(arg4, "value") == 0) {
            state->sawUpdate = true;
            return SQLITE_OK;
        }
        state->denied = QStringLiteral("updates %1.%2").arg(table, QString::fromUtf8(arg4));
        return SQLITE_DENY;
    case SQLITE_FUNCTION:
        if (isAllowedFunction(arg4))
            return SQLITE_OK;
        state->denied = QStringLiteral("calls %1()").arg(QString::fromUtf8(arg4));
        return SQLITE_DENY;
    case SQLITE_TRANSACTION:
        if (state->ownTransaction)
            return SQLITE_OK;
        state->denied = QStringLiteral("controls a transaction");
        return SQLITE_DENY;
    default:
        state->denied = QStringLiteral("%1, which is neither a query nor an update").arg(actionName(action));
        return SQLITE_DENY;
    }
}

QString oneLine(QString text)
{
    text.replace(QLatin1Char('\n'), QLatin1Char(' ')).replace(QLatin1Char('\r'), QLatin1Char(' '));
    return text;
}

class Connection
{
public:
    explicit Connection(const QString &file)
    {
        if (sqlite3_open_v2(QFile::encodeName(file).constData(), &m_db, SQLITE_OPEN_READWRITE, nullptr)
            != SQLITE_OK) {
            m_error = m_db ? QString::fromUtf8(sqlite3_errmsg(m_db)) : QStringLiteral("out of memory");
            sqlite3_close(m_db);
            m_db = nullptr;
            return;
        }
        sqlite3_busy_timeout(m_db, 5000);
    }
    ~Connection() { sqlite3_close(m_db); }
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;

    sqlite3 *handle() const { return m_db; }
    QString errorString() const { return m_error; }

private:
    sqlite3 *m_db = nullptr;
    QString m_error;
};

class Statement
{
public:
    ~Statement() { sqlite3_finalize(m_stmt); }
    sqlite3_stmt **out() { return &m_stmt; }
    sqlite3_stmt *get() const { return m_stmt; }

private:
    sqlite3_stmt *m_stmt = nullptr;
};

bool exec(sqlite3 *db, Authorization *auth, const char *sql)
{
    auth->ownTransaction = true;
    const bool ok = sqlite3_exec(db, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
    auth->ownTransaction = false;
    return ok;
}

} // namespace

DatabaseService::DatabaseService(const QString &databaseFile) : m_databaseFile(databaseFile)
{ }

DatabaseService::~DatabaseService() = default;

const QStringList &DatabaseService::configurationTables()
{
    static const QStringList tables = {QStringLiteral("config"),       QStringLiteral("ui"),
                                       QStringLiteral("calibration"),  QStringLiteral("scan"),
                                       QStringLiteral("project"),      QStringLiteral("alg"),
                                       QStringLiteral("postprocess"),  QStringLiteral("navigation"),
                                       QStringLiteral("deviceadjust"), QStringLiteral("clouddisk")};
    return tables;
}

QString DatabaseService::tableSource(const QString &dbName, const QStringList &presentTables)
{
    const QStringList tables = dbName.isEmpty() ? presentTables : QStringList{dbName};
    QStringList parts;
    for (const QString &table : tables)
        parts.append(QStringLiteral("select '%1' as \"table\", key, value, comment from \"%1\"").arg(table));
    if (parts.isEmpty())
        return QString();
    return QLatin1Char('(') + parts.join(QStringLiteral(" union all ")) + QLatin1Char(')');
}

QStringList DatabaseService::presentTables(sqlite3 *db) const
{
    QSet<QString> present;
    Statement stmt;
    if (sqlite3_prepare_v2(db, "select lower(name) from sqlite_master where type = 'table'", -1, stmt.out(),
                           nullptr)
        == SQLITE_OK) {
        while (sqlite3_step(stmt.get()) == SQLITE_ROW)
            present.insert(
                    QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(stmt.get(), 0))));
    }
    QStringList result;
    for (const QString &table : configurationTables()) {
        if (present.contains(table))
            result.append(table);
    }
    return result;
}

QVariantMap DatabaseService::answer(const QVariantMap &query)
{
    QVariantMap response{{kCmd, QStringLiteral("dataBaseResponseCmd")}, {kResponse, QString()}};
    const QString sql = query.value(QStringLiteral("param")).toString();
    const QString dbName = query.value(QStringLiteral("dbName")).toString();

    // An empty name means every table, as a missing one does.
    if (!dbName.isEmpty() && !configurationTables().contains(dbName)) {
        qCWarning(lcHostDb).noquote() << "refused:" << QStringLiteral("\"%1\"").arg(oneLine(dbName))
                                      << "is not a configuration table";
        return response;
    }

    Connection connection(m_databaseFile);
    if (!connection.handle()) {
        qCWarning(lcHostDb).noquote() << "cannot open" << m_databaseFile << ":" << connection.errorString();
        return response;
    }

    const QStringList present = presentTables(connection.handle());
    if (!dbName.isEmpty() && !present.contains(dbName)) {
        qCWarning(lcHostDb).noquote() << "refused: table" << dbName << "is not in" << m_databaseFile;
        return response;
    }
    QString statement = sql;
    statement.replace(QStringLiteral("$table$"), tableSource(dbName, present));

    bool ok = false;
    const QString rows = run(connection.handle(), statement, sql, &ok);
    if (ok)
        response.insert(kResponse, rows);
    return response;
}

QString DatabaseService::run(sqlite3 *db, const QString &sql, const QString &pageSql, bool *ok)
{
    *ok = false;
    Authorization auth;
    for (const QString &table : configurationTables())
        auth.tables.insert(table);
    sqlite3_set_authorizer(db, authorize, &auth);
    QElapsedTimer clock;
    clock.start();
    struct Limit
    {
        QElapsedTimer *clock;
        qint64 ms;
    } limit{&clock, m_timeLimitMs};
    // Only around the page's statement: our own COMMIT and ROLLBACK must
    // never be interrupted.
    auto limitOn = [&] {
        clock.restart();
        sqlite3_progress_handler(
                db, 1000,
                [](void *data) {
                    const auto *l = static_cast<Limit *>(data);
                    return l->clock->elapsed() > l->ms ? 1 : 0;
                },
                &limit);
    };
    auto limitOff = [&] { sqlite3_progress_handler(db, 0, nullptr, nullptr); };
    auto tooLong = [&] { return clock.elapsed() > m_timeLimitMs; };
    auto refuse = [&](const QString &why) {
        qCWarning(lcHostDb).noquote() << "refused:" << why << "in:" << oneLine(pageSql);
        limitOff();
        sqlite3_set_authorizer(db, nullptr, nullptr);
        return QString();
    };

    const QByteArray utf8 = sql.toUtf8();
    Statement stmt;
    const char *tail = nullptr;
    if (sqlite3_prepare_v2(db, utf8.constData(), utf8.size() + 1, stmt.out(), &tail) != SQLITE_OK) {
        const QString why = auth.denied.isEmpty() ? QString::fromUtf8(sqlite3_errmsg(db))
                                                  : QStringLiteral("the statement ") + auth.denied;
        return refuse(why);
    }
    if (!stmt.get())
        return refuse(QStringLiteral("no statement"));

    // Whatever follows the first statement may be blanks, semicolons and
    // comments, never a second statement.
    const char *end = utf8.constData() + utf8.size();
    for (const char *rest = tail; rest && rest < end;) {
        Statement extra;
        const char *next = nullptr;
        const int rc = sqlite3_prepare_v2(db, rest, int(end - rest) + 1, extra.out(), &next);
        if (rc != SQLITE_OK || extra.get())
            return refuse(QStringLiteral("a second statement follows the first"));
        if (!next || next <= rest)
            break;
        rest = next;
    }

    if (sqlite3_stmt_readonly(stmt.get())) {
        if (!auth.sawSelect || sqlite3_column_count(stmt.get()) == 0)
            return refuse(QStringLiteral("not a query"));
        const int columns = sqlite3_column_count(stmt.get());
        QStringList lines;
        int rc;
        limitOn();
        while ((rc = sqlite3_step(stmt.get())) == SQLITE_ROW) {
            QStringList fields;
            fields.reserve(columns);
            for (int i = 0; i < columns; ++i) {
                const auto *text = reinterpret_cast<const char *>(sqlite3_column_text(stmt.get(), i));
                fields.append(text ? QString::fromUtf8(text, sqlite3_column_bytes(stmt.get(), i))
                                   : QString());
            }
            lines.append(fields.join(QLatin1Char('#')));
        }
        limitOff();
        if (rc != SQLITE_DONE)
            return refuse(tooLong() ? QStringLiteral("the query ran longer than %1 ms").arg(m_timeLimitMs)
                                    : QString::fromUtf8(sqlite3_errmsg(db)));
        sqlite3_set_authorizer(db, nullptr, nullptr);
        qCDebug(lcHostDb).noquote() << "query:" << lines.size() << "rows";
        *ok = true;
        return lines.join(QLatin1Char('\n'));
    }

    if (!auth.sawUpdate)
        return refuse(QStringLiteral("not an update of a value"));
    // The change is kept only if it touched exactly one row; the transaction
    // makes the check undoable and the file never half-written.
    if (!exec(db, &auth, "BEGIN IMMEDIATE"))
        return refuse(QStringLiteral("cannot begin: ") + QString::fromUtf8(sqlite3_errmsg(db)));
    int rc;
    while ((rc = sqlite3_step(stmt.get())) == SQLITE_ROW) { }
    if (rc != SQLITE_DONE) {
        const QString why = tooLong() ? QStringLiteral("the update ran longer than %1 ms").arg(m_timeLimitMs)
                                      : QString::fromUtf8(sqlite3_errmsg(db));
        sqlite3_reset(stmt.get());
        exec(db, &auth, "ROLLBACK");
        return refuse(why);
    }
    const int changes = sqlite3_changes(db);
    sqlite3_reset(stmt.get());
    if (changes != 1) {
        exec(db, &auth, "ROLLBACK");
        return refuse(QStringLiteral("the update would change %1 rows, not one").arg(changes));
    }
    if (!exec(db, &auth, "COMMIT")) {
        const QString why = QString::fromUtf8(sqlite3_errmsg(db));
        exec(db, &auth, "ROLLBACK");
        return refuse(QStringLiteral("cannot commit: ") + why);
    }
    sqlite3_set_authorizer(db, nullptr, nullptr);
    qCInfo(lcHostDb).noquote() << "updated one row:" << oneLine(pageSql);
    *ok = true;
    return QString();
}
