#include "JournalReplay.h"

#include "BusJson.h"
#include "StoredJson.h"

#include <VoraConfigSQLite.h>

#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>
#include <QVector>

#include <sqlite3.h>

#include <cstdio>

namespace JournalReplay {

namespace {

constexpr qint64 kMaxJournal = 256 * 1024 * 1024;
constexpr qint64 kMaxLine = 16 * 1024 * 1024;

struct Write
{
    QString table;
    QString key;
    QVariant value;
    int line = 0;
};

int fail(int code, const QString &message)
{
    std::fprintf(stderr, "vorahost: %s\n", qUtf8Printable(message));
    return code;
}

QVariant stored(sqlite3_stmt *stmt)
{
    switch (sqlite3_column_type(stmt, 0)) {
    case SQLITE_INTEGER: {
        const qint64 v = sqlite3_column_int64(stmt, 0);
        return v == qint64(int(v)) ? QVariant(int(v)) : QVariant(qlonglong(v));
    }
    case SQLITE_FLOAT:
        return sqlite3_column_double(stmt, 0);
    case SQLITE_NULL:
        return QVariant();
    default:
        return QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(stmt, 0)),
                                 sqlite3_column_bytes(stmt, 0));
    }
}

bool sameStored(const QVariant &a, const QVariant &b)
{
    const bool aInteger = a.userType() == QMetaType::Int || a.userType() == QMetaType::LongLong;
    const bool bInteger = b.userType() == QMetaType::Int || b.userType() == QMetaType::LongLong;
    if (aInteger || bInteger)
        return aInteger && bInteger && a.toLongLong() == b.toLongLong();
    return a.userType() == b.userType() && a == b;
}

void bind(sqlite3_stmt *stmt, int index, const QVariant &value)
{
    switch (value.userType()) {
    case QMetaType::UnknownType:
        sqlite3_bind_null(stmt, index);
        break;
    case QMetaType::Int:
    case QMetaType::LongLong:
        sqlite3_bind_int64(stmt, index, value.toLongLong());
        break;
    case QMetaType::Double:
        sqlite3_bind_double(stmt, index, value.toDouble());
        break;
    default: {
        const QByteArray text = value.toString().toUtf8();
        sqlite3_bind_text(stmt, index, text.constData(), text.size(), SQLITE_TRANSIENT);
    }
    }
}

// The last successful write of each table and key, in the order each was
// first written.
bool readJournal(const QString &file, QVector<Write> *writes, QString *error)
{
    QFile journal(file);
    if (!journal.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("cannot read the journal %1: %2").arg(file, journal.errorString());
        return false;
    }
    if (journal.size() > kMaxJournal) {
        *error = QStringLiteral("journal %1 is over %2 MiB; split it first").arg(file).arg(kMaxJournal >> 20);
        return false;
    }
    QHash<QString, int> index;
    for (int number = 1; !journal.atEnd(); ++number) {
        const QByteArray line = journal.readLine(kMaxLine).trimmed();
        auto bad = [&](const QString &why) {
            *error = QStringLiteral("journal %1 line %2: %3").arg(file).arg(number).arg(why);
            return false;
        };
        if (line.size() >= kMaxLine - 1)
            return bad(QStringLiteral("longer than %1 MiB").arg(kMaxLine >> 20));
        if (line.isEmpty())
            continue;
        const QJsonObject object = QJsonDocument::fromJson(line).object();
        Write write{object.value(QStringLiteral("table")).toString(),
                    object.value(QStringLiteral("key")).toString(), QVariant(), number};
        if (object.isEmpty())
            return bad(QStringLiteral("not a JSON object"));
        if (!VoraConfigSQLite::isPlainIdentifier(write.table))
            return bad(QStringLiteral("\"table\" is not a table name"));
        if (!object.value(QStringLiteral("key")).isString())
            return bad(QStringLiteral("no \"key\""));
        if (!object.value(QStringLiteral("ok")).isBool())
            return bad(QStringLiteral("no \"ok\""));
        if (!StoredJson::member(line, QStringLiteral("new"), &write.value))
            return bad(QStringLiteral("no \"new\" value for %1/%2").arg(write.table, write.key));
        // Refused and failed writes changed nothing.
        if (!object.value(QStringLiteral("ok")).toBool())
            continue;
        const QString id = write.table + QLatin1Char('\n') + write.key;
        if (index.contains(id)) {
            (*writes)[index.value(id)].value = write.value;
        } else {
            index.insert(id, writes->size());
            writes->append(write);
        }
    }
    return true;
}

} // namespace

int run(const QString &journalFile, const QString &databaseFile, bool apply)
{
    QVector<Write> writes;
    QString error;
    if (!readJournal(journalFile, &writes, &error))
        return fail(2, error);
    if (!QFileInfo(databaseFile).isFile())
        return fail(1, QStringLiteral("no configuration database %1").arg(databaseFile));

    sqlite3 *db = nullptr;
    const int flags = apply ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY;
    struct Closer
    {
        sqlite3 *&db;
        ~Closer() { sqlite3_close(db); }
    } closer{db};
    if (sqlite3_open_v2(QFile::encodeName(databaseFile).constData(), &db, flags, nullptr) != SQLITE_OK)
        return fail(1,
                    QStringLiteral("cannot open %1: %2")
                            .arg(databaseFile, QString::fromUtf8(db ? sqlite3_errmsg(db) : "out of memory")));
    sqlite3_busy_timeout(db, 10000);

    QSet<QString> tables;
    sqlite3_stmt *stmt = nullptr;
    sqlite3_prepare_v2(db, "select name from sqlite_master where type = 'table'", -1, &stmt, nullptr);
    while (stmt && sqlite3_step(stmt) == SQLITE_ROW)
        tables.insert(QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(stmt, 0))));
    sqlite3_finalize(stmt);

    QVector<Write> differences;
    int same = 0;
    for (const Write &write : qAsConst(writes)) {
        if (!tables.contains(write.table))
            return fail(2,
                        QStringLiteral("journal %1 line %2: table \"%3\" is not in %4")
                                .arg(journalFile)
                                .arg(write.line)
                                .arg(write.table, databaseFile));
        const QByteArray sql =
                QStringLiteral("select value from \"%1\" where key = ?1").arg(write.table).toUtf8();
        QVariant current;
        bool hasRow = false;
        if (sqlite3_prepare_v2(db, sql.constData(), -1, &stmt, nullptr) == SQLITE_OK) {
            bind(stmt, 1, write.key);
            hasRow = sqlite3_step(stmt) == SQLITE_ROW;
            if (hasRow)
                current = stored(stmt);
        }
        sqlite3_finalize(stmt);
        if (hasRow && sameStored(current, write.value)) {
            ++same;
            continue;
        }
        differences.append(write);
        BusJson::printAfterLog("{\"replay\":{\"table\":" + StoredJson::text(QJsonValue(write.table))
                               + ",\"key\":" + StoredJson::text(QJsonValue(write.key))
                               + ",\"database\":" + StoredJson::text(current)
                               + ",\"journal\":" + StoredJson::text(write.value) + "}}");
    }

    if (apply && !differences.isEmpty()) {
        auto exec = [&](const char *sql) {
            return sqlite3_exec(db, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
        };
        bool ok = exec("BEGIN IMMEDIATE");
        for (int i = 0; ok && i < differences.size(); ++i) {
            const Write &write = differences.at(i);
            const QByteArray sql = QStringLiteral("insert into \"%1\" (key, value) values (?1, ?2) "
                                                  "on conflict(key) do update set value = excluded.value")
                                           .arg(write.table)
                                           .toUtf8();
            ok = sqlite3_prepare_v2(db, sql.constData(), -1, &stmt, nullptr) == SQLITE_OK;
            if (ok) {
                bind(stmt, 1, write.key);
                bind(stmt, 2, write.value);
                ok = sqlite3_step(stmt) == SQLITE_DONE;
            }
            sqlite3_finalize(stmt);
        }
        if (ok)
            ok = exec("COMMIT");
        if (!ok) {
            const QString why = QString::fromUtf8(sqlite3_errmsg(db));
            exec("ROLLBACK");
            return fail(1,
                        QStringLiteral("replay into %1 failed, nothing written: %2").arg(databaseFile, why));
        }
    }
    std::fprintf(stderr, "vorahost: replay of %s into %s: %d difference(s), %d equal; %s\n",
                 qUtf8Printable(journalFile), qUtf8Printable(databaseFile), int(differences.size()), same,
                 apply ? "written" : "dry run, nothing written (--apply writes them)");
    return 0;
}

} // namespace JournalReplay
