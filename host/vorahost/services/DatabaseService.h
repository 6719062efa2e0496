#pragma once

#include <VoraConfigSQLite.h>

#include <QString>
#include <QStringList>
#include <QVariantMap>

namespace VoraSqlite {
class Connection;
}

// The host's database service: answers the config editor's "dataBaseQuery"
// messages on the configuration database. The page's SQL text is untrusted:
// only one read-only SELECT over the configuration tables (under an
// authorizer, SQLite limits and a time limit) or the page's own one-row
// update (run with its value and key bound) is run; anything else is refused
// with one line on vora.host.db and the file is left as it was. Every answer
// carries "refused" and, when refused, "reason". The rules in full:
// docs/protocol.md ("Database queries").
class DatabaseService
{
public:
    static constexpr int MaxValueBytes = 64 * 1024;
    static constexpr int MaxResponseRows = 100000;
    static constexpr int MaxResponseBytes = 16 * 1024 * 1024;

    explicit DatabaseService(const QString &databaseFile);
    ~DatabaseService();

    // Answers the parameter map of one "dataBaseQuery" message with the
    // parameter map of its "dataBaseResponseCmd" reply.
    QVariantMap answer(const QVariantMap &query);

    // A statement still running after this many milliseconds is stopped and
    // refused: the page's search runs on the host's GUI thread. The same
    // bound is the longest wait for another connection's lock.
    void setTimeLimit(int milliseconds) { m_timeLimitMs = milliseconds; }
    int timeLimit() const { return m_timeLimitMs; }

    // Told of every UPDATE of a value that the page asks for, run or refused,
    // with the row's table and key, the stored value before and the value
    // stored (or asked for), in their stored forms (vorahost's write
    // journal). For an UPDATE text that is not the page's form, table and key
    // are empty and error says why.
    void setWriteObserver(VoraConfigWriteObserver observer) { m_writeObserver = std::move(observer); }

    // The tables the page may read and update, in listing order.
    static const QStringList &configurationTables();

    // What "$table$" stands for: one table (dbName) or, for an empty name,
    // every configuration table present in the file. Each row starts with its
    // table's name, so both render as table#key#value#comment.
    static QString tableSource(const QString &dbName, const QStringList &presentTables);

    // Replaces every "$table$" that stands outside quoted text.
    static QString fillInTable(const QString &sql, const QString &source);

private:
    struct Outcome;
    Outcome runQuery(VoraSqlite::Connection &db, const QString &sql);
    Outcome runUpdate(VoraSqlite::Connection &db, const QString &sql, const QStringList &present);
    QStringList presentTables(VoraSqlite::Connection &db) const;

    QString m_databaseFile;
    int m_timeLimitMs = VoraConfigSQLite::LockTimeoutMs;
    VoraConfigWriteObserver m_writeObserver;
};
