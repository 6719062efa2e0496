#include "DatabaseService.h"

#include "HostLogging.h"
#include "Protocol.h"
#include "VoraSqlite.h"

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QSet>

#include <cmath>
#include <cstring>
#include <limits>

namespace {

using VoraSqlite::Connection;
using VoraSqlite::Statement;

const QString kResponse = QStringLiteral("dataBaseResponse");
const QString kRefused = QStringLiteral("refused");
const QString kReason = QStringLiteral("reason");

// What the authorizer has seen while the page's query was prepared. It lets
// through reads of the configuration tables and a short list of harmless
// functions, and nothing else: no other table (sqlite_master included), no
// write of any kind, pragma, attach or transaction. The page's updates never
// come here: they run as the service's own prepared statement.
struct Authorization
{
    QSet<QString> tables;
    bool sawSelect = false;
    QString denied;
};

// printf() and format() are not among them: a width of 300000000 keeps
// SQLite inside one call for seconds, where no time limit can stop it.
bool isAllowedFunction(const char *name)
{
    static const QSet<QByteArray> allowed = {
            "like",  "glob",  "lower",   "upper",    "length", "substr", "substring",   "trim", "ltrim",
            "rtrim", "instr", "replace", "coalesce", "ifnull", "nullif", "typeof",      "abs",  "round",
            "count", "min",   "max",     "sum",      "total",  "avg",    "group_concat"};
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
        state->denied = QStringLiteral("updates %1.%2 outside the page's update form")
                                .arg(table, QString::fromUtf8(arg4));
        return SQLITE_DENY;
    case SQLITE_FUNCTION:
        if (isAllowedFunction(arg4))
            return SQLITE_OK;
        state->denied = QStringLiteral("calls %1()").arg(QString::fromUtf8(arg4));
        return SQLITE_DENY;
    case SQLITE_TRANSACTION:
        state->denied = QStringLiteral("controls a transaction");
        return SQLITE_DENY;
    default:
        state->denied = QStringLiteral("%1, which is neither a query nor an update").arg(actionName(action));
        return SQLITE_DENY;
    }
}

// Bounds on what the page's query may build, so that hostile SQL cannot
// allocate without bound: the longest text or blob a statement may make or
// read, the SQL length, and the shape of the statement.
void limitPageStatements(sqlite3 *db)
{
    sqlite3_limit(db, SQLITE_LIMIT_LENGTH, DatabaseService::MaxResponseBytes);
    sqlite3_limit(db, SQLITE_LIMIT_SQL_LENGTH, 256 * 1024);
    sqlite3_limit(db, SQLITE_LIMIT_COLUMN, 64);
    sqlite3_limit(db, SQLITE_LIMIT_EXPR_DEPTH, 64);
    sqlite3_limit(db, SQLITE_LIMIT_COMPOUND_SELECT, 32);
    sqlite3_limit(db, SQLITE_LIMIT_VDBE_OP, 50000);
    sqlite3_limit(db, SQLITE_LIMIT_FUNCTION_ARG, 8);
    sqlite3_limit(db, SQLITE_LIMIT_ATTACHED, 0);
    sqlite3_limit(db, SQLITE_LIMIT_LIKE_PATTERN_LENGTH, 1000);
    sqlite3_limit(db, SQLITE_LIMIT_VARIABLE_NUMBER, 8);
    sqlite3_limit(db, SQLITE_LIMIT_TRIGGER_DEPTH, 1);
    sqlite3_limit(db, SQLITE_LIMIT_WORKER_THREADS, 0);
}

QString oneLine(QString text)
{
    text.replace(QLatin1Char('\n'), QLatin1Char(' ')).replace(QLatin1Char('\r'), QLatin1Char(' '));
    return text;
}

// A field the response cannot carry: its separators, or too long to show.
bool unfit(const char *text, int bytes)
{
    return bytes > DatabaseService::MaxValueBytes || std::memchr(text, '\n', size_t(bytes))
            || std::memchr(text, '\r', size_t(bytes)) || std::memchr(text, '#', size_t(bytes));
}

// Stops whatever runs on the connection once the time limit has passed, for
// as long as it lives.
class Deadline
{
public:
    Deadline(sqlite3 *db, int ms) : m_db(db), m_ms(ms)
    {
        m_clock.start();
        sqlite3_progress_handler(db, 1000, &Deadline::check, this);
    }
    ~Deadline() { stop(); }
    void stop() { sqlite3_progress_handler(m_db, 0, nullptr, nullptr); }
    Deadline(const Deadline &) = delete;
    Deadline &operator=(const Deadline &) = delete;
    bool passed() const { return m_clock.elapsed() > m_ms; }

private:
    static int check(void *self) { return static_cast<Deadline *>(self)->passed() ? 1 : 0; }
    sqlite3 *m_db;
    qint64 m_ms;
    QElapsedTimer m_clock;
};

// SQLite's lower() changes ASCII letters only.
QString asciiLower(QString name)
{
    for (QChar &c : name) {
        if (c >= QLatin1Char('A') && c <= QLatin1Char('Z'))
            c = QChar(c.unicode() + ('a' - 'A'));
    }
    return name;
}

// The page's update, taken apart: table before the first "' set value = '",
// key after the last "' where key = '", the value in between.
struct PageUpdate
{
    bool recognised = false;
    QString table;
    QString key;
    QString value;
};

bool looksLikeUpdate(const QString &sql)
{
    return sql.trimmed().startsWith(QLatin1String("update"), Qt::CaseInsensitive);
}

PageUpdate parseUpdate(const QString &sql)
{
    static const QString head = QStringLiteral("update '");
    static const QString setValue = QStringLiteral("' set value = '");
    static const QString whereKey = QStringLiteral("' where key = '");
    PageUpdate update;
    if (!sql.startsWith(head) || !sql.endsWith(QLatin1Char('\'')))
        return update;
    const int set = sql.indexOf(setValue, head.size());
    const int where = sql.lastIndexOf(whereKey);
    if (set < 0 || where < set + setValue.size())
        return update;
    update.recognised = true;
    update.table = sql.mid(head.size(), set - head.size());
    update.value = sql.mid(set + setValue.size(), where - set - setValue.size());
    update.key = sql.mid(where + whereKey.size(), sql.size() - 1 - where - whereKey.size());
    return update;
}

} // namespace

struct DatabaseService::Outcome
{
    bool refused = false;
    QString reason;
    QString rows;
    // An update's row before and after, in their stored forms.
    bool hadRow = false;
    QVariant oldValue;
    QVariant newValue;

    static Outcome refusal(const QString &why)
    {
        Outcome outcome;
        outcome.refused = true;
        outcome.reason = oneLine(why); // SQLite quotes a bad token whole, line breaks too
        return outcome;
    }
};

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

QString DatabaseService::fillInTable(const QString &sql, const QString &source)
{
    static const QString placeholder = QStringLiteral("$table$");
    QString result;
    result.reserve(sql.size() + source.size());
    QChar quote; // the quote that opened the text we are in, or null
    for (int i = 0; i < sql.size(); ++i) {
        const QChar c = sql.at(i);
        if (quote.isNull() && c == QLatin1Char('$') && sql.midRef(i, placeholder.size()) == placeholder) {
            result += source;
            i += placeholder.size() - 1;
            continue;
        }
        // A doubled quote inside quoted text closes and reopens it: same effect.
        if (c == QLatin1Char('\'') || c == QLatin1Char('"')) {
            if (quote.isNull())
                quote = c;
            else if (quote == c)
                quote = QChar();
        }
        result += c;
    }
    return result;
}

QStringList DatabaseService::presentTables(Connection &db) const
{
    QSet<QString> present;
    const QStringList names = db.tableNames();
    for (const QString &name : names)
        present.insert(asciiLower(name));
    QStringList result;
    for (const QString &table : configurationTables()) {
        if (present.contains(table))
            result.append(table);
    }
    return result;
}

QVariantMap DatabaseService::answer(const QVariantMap &query)
{
    // The page must see what the host and the plug-in have written so far.
    VoraConfigSQLite::commitPending();
    const QString sql = query.value(QStringLiteral("param")).toString();
    const QString dbName = query.value(QStringLiteral("dbName")).toString();
    const bool update = looksLikeUpdate(sql);
    const PageUpdate pageUpdate = update ? parseUpdate(sql) : PageUpdate();

    const Outcome outcome = [&] {
        // An empty name means every table, as a missing one does.
        if (!dbName.isEmpty() && !configurationTables().contains(dbName))
            return Outcome::refusal(
                    QStringLiteral("\"%1\" is not a configuration table").arg(oneLine(dbName)));
        Connection connection;
        if (!connection.open(m_databaseFile, Connection::ReadWrite))
            return Outcome::refusal(
                    QStringLiteral("cannot open %1: %2").arg(m_databaseFile, connection.errorText()));
        connection.setBusyTimeout(m_timeLimitMs);
        const QStringList present = presentTables(connection);
        if (!dbName.isEmpty() && !present.contains(dbName))
            return Outcome::refusal(QStringLiteral("table %1 is not in %2").arg(dbName, m_databaseFile));
        if (update) {
            if (!pageUpdate.recognised)
                return Outcome::refusal(QStringLiteral("an update that is not the page's form "
                                                       "(update '<table>' set value = '<value>' "
                                                       "where key = '<key>')"));
            return runUpdate(connection, sql, present);
        }
        return runQuery(connection, fillInTable(sql, tableSource(dbName, present)));
    }();

    if (outcome.refused)
        qCWarning(lcHostDb).noquote() << "refused:" << outcome.reason << "in:" << oneLine(sql);
    if (update && m_writeObserver) {
        VoraConfigWrite write;
        write.file = m_databaseFile;
        write.table = pageUpdate.table;
        write.key = pageUpdate.key;
        write.hadRow = outcome.hadRow;
        write.oldValue = outcome.oldValue;
        write.newValue = outcome.newValue.isValid() ? outcome.newValue : QVariant(pageUpdate.value);
        write.ok = !outcome.refused;
        write.error = outcome.reason;
        m_writeObserver(write);
    }
    QVariantMap response{{Protocol::Cmd, Protocol::DataBaseResponseCmd},
                         {kResponse, outcome.rows},
                         {kRefused, outcome.refused}};
    if (outcome.refused)
        response.insert(kReason, outcome.reason);
    return response;
}

DatabaseService::Outcome DatabaseService::runQuery(Connection &connection, const QString &sql)
{
    sqlite3 *db = connection.handle();
    Authorization auth;
    for (const QString &table : configurationTables())
        auth.tables.insert(table);
    sqlite3_set_authorizer(db, authorize, &auth);
    limitPageStatements(db);
    const auto done = [db](Outcome outcome) {
        sqlite3_set_authorizer(db, nullptr, nullptr);
        return outcome;
    };

    const QByteArray utf8 = sql.toUtf8();
    Statement stmt;
    const char *tail = nullptr;
    if (!stmt.prepare(connection, utf8.constData(), utf8.size() + 1, &tail)) {
        const QString why = auth.denied.isEmpty() ? connection.errorText()
                                                  : QStringLiteral("the statement ") + auth.denied;
        return done(Outcome::refusal(why));
    }
    if (!stmt.isValid())
        return done(Outcome::refusal(QStringLiteral("no statement")));

    // Whatever follows the first statement may be blanks, semicolons and
    // comments, never a second statement.
    const char *end = utf8.constData() + utf8.size();
    for (const char *rest = tail; rest && rest < end;) {
        Statement extra;
        const char *next = nullptr;
        if (!extra.prepare(connection, rest, int(end - rest) + 1, &next) || extra.isValid())
            return done(Outcome::refusal(QStringLiteral("a second statement follows the first")));
        if (!next || next <= rest)
            break;
        rest = next;
    }
    const int columns = stmt.columnCount();
    if (!sqlite3_stmt_readonly(stmt.handle()) || !auth.sawSelect || columns == 0)
        return done(Outcome::refusal(QStringLiteral("not a query")));

    // Rows go straight from SQLite's UTF-8 into one buffer; a row that turns
    // out unfit is cut off again.
    QByteArray out;
    out.reserve(64 * 1024);
    int rows = 0;
    int leftOut = 0;
    QStringList leftOutNames;
    bool cut = false;
    int rc;
    {
        Deadline deadline(db, m_timeLimitMs);
        while ((rc = stmt.step()) == SQLITE_ROW) {
            const int rowStart = out.size();
            if (rows > 0)
                out += '\n';
            bool fit = true;
            for (int i = 0; i < columns && fit; ++i) {
                const auto *text = reinterpret_cast<const char *>(sqlite3_column_text(stmt.handle(), i));
                const int bytes = text ? sqlite3_column_bytes(stmt.handle(), i) : 0;
                fit = !text || !unfit(text, bytes);
                if (i > 0)
                    out += '#';
                if (fit)
                    out.append(text, bytes);
            }
            if (!fit) {
                out.truncate(rowStart);
                if (++leftOut <= 10) {
                    const auto field = [&](int i) {
                        const auto *t = reinterpret_cast<const char *>(sqlite3_column_text(stmt.handle(), i));
                        return oneLine(
                                QString::fromUtf8(t, qMin(sqlite3_column_bytes(stmt.handle(), i), 60)));
                    };
                    leftOutNames.append(columns > 1 ? field(0) + QLatin1Char('/') + field(1) : field(0));
                }
                continue;
            }
            if (rows == MaxResponseRows || out.size() > MaxResponseBytes) {
                out.truncate(rowStart);
                cut = true;
                break;
            }
            ++rows;
        }
        if (rc != SQLITE_DONE && !cut)
            return done(Outcome::refusal(
                    deadline.passed() ? QStringLiteral("the query ran longer than %1 ms").arg(m_timeLimitMs)
                                      : connection.errorText()));
    }
    if (leftOut > 0)
        qCInfo(lcHostDb).noquote() << "left out" << leftOut
                                   << "rows that the response cannot carry (a line break or '#' in a "
                                      "field, or a field over"
                                   << MaxValueBytes << "bytes):" << leftOutNames.join(QStringLiteral(", "));
    if (cut)
        qCWarning(lcHostDb).noquote() << "listing cut after" << rows << "rows: a response holds at most"
                                      << MaxResponseRows << "rows and" << MaxResponseBytes << "bytes";
    qCDebug(lcHostDb).noquote() << "query:" << rows << "rows";
    Outcome outcome;
    outcome.rows = QString::fromUtf8(out);
    return done(outcome);
}

DatabaseService::Outcome DatabaseService::runUpdate(Connection &db, const QString &sql,
                                                    const QStringList &present)
{
    const PageUpdate update = parseUpdate(sql);
    if (!present.contains(update.table))
        return Outcome::refusal(
                QStringLiteral("\"%1\" is not a configuration table in the file").arg(oneLine(update.table)));
    const QByteArray value = update.value.toUtf8();
    if (value.size() > MaxValueBytes)
        return Outcome::refusal(
                QStringLiteral("the value is %1 bytes long, more than the %2 a value may hold")
                        .arg(value.size())
                        .arg(MaxValueBytes));
    if (unfit(value.constData(), value.size()))
        return Outcome::refusal(QStringLiteral("the value holds a line break or '#', which the listing "
                                               "cannot show"));

    Deadline deadline(db.handle(), m_timeLimitMs);
    if (!db.exec("BEGIN IMMEDIATE"))
        return Outcome::refusal(QStringLiteral("cannot begin: ") + db.errorText());
    auto rollBack = [&](const QString &why) {
        Outcome outcome = Outcome::refusal(
                deadline.passed() ? QStringLiteral("the update ran longer than %1 ms").arg(m_timeLimitMs)
                                  : why);
        deadline.stop();
        db.exec("ROLLBACK");
        return outcome;
    };

    const QByteArray table = update.table.toUtf8();
    Outcome outcome;
    Statement select(db, "select value from \"" + table + "\" where key = ?1");
    if (!select.isValid())
        return rollBack(db.errorText());
    select.bind(1, update.key);
    int oldType = QMetaType::UnknownType; // a missing row is as NULL
    if (select.step() == SQLITE_ROW) {
        outcome.hadRow = true;
        const QVariant old = select.value(0);
        oldType = old.userType();
        outcome.oldValue = VoraSqlite::shownForm(old);
    }

    // A number typed over a number of the same kind stays a number: "9000"
    // over an INTEGER is stored as the integer 9000, not as text.
    static const QRegularExpression integer(QStringLiteral("\\A[+-]?[0-9]+\\z"));
    static const QRegularExpression real(
            QStringLiteral("\\A[+-]?([0-9]+\\.?[0-9]*|\\.[0-9]+)([eE][+-]?[0-9]+)?\\z"));
    Statement write(db, "update \"" + table + "\" set value = ?1 where key = ?2");
    if (!write.isValid())
        return rollBack(db.errorText());
    bool isInteger = false;
    bool isReal = false;
    const qlonglong asInteger = update.value.toLongLong(&isInteger);
    const double asReal = update.value.toDouble(&isReal);
    if (oldType == QMetaType::LongLong && isInteger && integer.match(update.value).hasMatch()) {
        write.bind(1, asInteger);
        outcome.newValue = VoraConfigSQLite::storedForm(asInteger);
    } else if (oldType == QMetaType::Double && isReal && std::isfinite(asReal)
               && real.match(update.value).hasMatch()) {
        write.bind(1, asReal);
        outcome.newValue = asReal;
    } else {
        write.bind(1, update.value);
        outcome.newValue = update.value;
    }
    write.bind(2, update.key);
    if (write.step() != SQLITE_DONE)
        return rollBack(db.errorText());
    // The page changes one row at a time; anything else is not its edit.
    const int changes = sqlite3_changes(db.handle());
    if (changes != 1)
        return rollBack(QStringLiteral("the update would change %1 rows, not one").arg(changes));
    // Our own COMMIT and ROLLBACK are never interrupted.
    deadline.stop();
    if (!db.exec("COMMIT"))
        return rollBack(QStringLiteral("cannot commit: ") + db.errorText());
    qCInfo(lcHostDb).noquote() << "updated" << update.table + QLatin1Char('/') + update.key;
    return outcome;
}
