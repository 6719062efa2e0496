#pragma once

#include <VoraConfigSQLite.h>

#include <QString>
#include <QStringList>
#include <QVariantMap>

struct sqlite3;

// The host's database service: answers the config editor's "dataBaseQuery"
// messages on the configuration database.
//
// The page sends SQL text with its search word and edited value pasted in
// unescaped, so the text is untrusted. Only two shapes are ever run: one
// read-only SELECT over the configuration tables, or one UPDATE of the
// "value" column that changes exactly one row, inside a transaction that is
// rolled back otherwise. Anything else is refused with one line on
// vora.host.db and an empty answer, and the file is left as it was.
class DatabaseService
{
public:
    explicit DatabaseService(const QString &databaseFile);
    ~DatabaseService();

    // Answers the parameter map of one "dataBaseQuery" message with the
    // parameter map of its "dataBaseResponseCmd" reply.
    QVariantMap answer(const QVariantMap &query);

    // A statement still running after this many milliseconds is stopped and
    // refused: the page's search runs on the host's GUI thread.
    void setTimeLimit(int milliseconds) { m_timeLimitMs = milliseconds; }
    int timeLimit() const { return m_timeLimitMs; }

    // Told of every UPDATE of a value that the page asks for, run or refused,
    // with the row's table and key, the stored value before and the value
    // asked for (vorahost's write journal).
    void setWriteObserver(VoraConfigWriteObserver observer) { m_writeObserver = std::move(observer); }

    // The tables the page may read and update, in listing order.
    static const QStringList &configurationTables();

    // What "$table$" stands for: one table (dbName) or, for an empty name,
    // every configuration table present in the file. Each row starts with its
    // table's name, so both render as table#key#value#comment.
    static QString tableSource(const QString &dbName, const QStringList &presentTables);

private:
    // Runs sql (the page's text with "$table$" filled in); pageSql is what
    // the page sent, for the log.
    QString run(sqlite3 *db, const QString &sql, const QString &pageSql, bool *ok);
    QStringList presentTables(sqlite3 *db) const;

    QString m_databaseFile;
    int m_timeLimitMs = 2000;
    VoraConfigWriteObserver m_writeObserver;
};
