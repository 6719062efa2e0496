#include "JournalReplay.h"

#include "BusJson.h"
#include "StoredJson.h"
#include "VoraSqlite.h"

#include <VoraConfigSQLite.h>

#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>
#include <QVector>

#include <cstdio>

namespace JournalReplay {

namespace {

constexpr qint64 kMaxJournal = 256 * 1024 * 1024;
constexpr qint64 kMaxLine = 16 * 1024 * 1024;
// A replay runs by hand, beside a host that may hold the file's write lock
// for a moment: it waits longer for it than the host itself would.
constexpr int kBusyTimeoutMs = 10000;

using VoraSqlite::Connection;
using VoraSqlite::Statement;

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

bool sameStored(const QVariant &a, const QVariant &b)
{
    const bool aInteger = a.userType() == QMetaType::Int || a.userType() == QMetaType::LongLong;
    const bool bInteger = b.userType() == QMetaType::Int || b.userType() == QMetaType::LongLong;
    if (aInteger || bInteger)
        return aInteger && bInteger && a.toLongLong() == b.toLongLong();
    return a.userType() == b.userType() && a == b;
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

    Connection db;
    if (!db.open(databaseFile, apply ? Connection::ReadWrite : Connection::ReadOnly))
        return fail(1, QStringLiteral("cannot open %1: %2").arg(databaseFile, db.errorText()));
    db.setBusyTimeout(kBusyTimeoutMs);
    const QStringList tableNames = db.tableNames();
    const QSet<QString> tables(tableNames.begin(), tableNames.end());

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
        Statement select(db, sql);
        if (select.isValid()) {
            select.bind(1, write.key);
            hasRow = select.step() == SQLITE_ROW;
            if (hasRow)
                current = VoraSqlite::shownForm(select.value(0));
        }
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
        bool ok = db.exec("BEGIN IMMEDIATE");
        for (int i = 0; ok && i < differences.size(); ++i) {
            const Write &write = differences.at(i);
            const QByteArray sql = QStringLiteral("insert into \"%1\" (key, value) values (?1, ?2) "
                                                  "on conflict(key) do update set value = excluded.value")
                                           .arg(write.table)
                                           .toUtf8();
            Statement upsert;
            ok = upsert.prepare(db, sql.constData());
            if (ok) {
                upsert.bind(1, write.key);
                upsert.bind(2, write.value);
                ok = upsert.step() == SQLITE_DONE;
            }
        }
        if (ok)
            ok = db.exec("COMMIT");
        if (!ok) {
            const QString why = db.errorText();
            db.exec("ROLLBACK");
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
