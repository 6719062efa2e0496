#pragma once

#include <QByteArray>
#include <QLoggingCategory>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <sqlite3.h>

// "vora.host.db": what the host does with its configuration database, from
// the configuration library and vorahost alike.
Q_DECLARE_LOGGING_CATEGORY(lcHostDb)

// The host's own code reaches SQLite only through these two classes, which
// release what they hold when they go. Internal to the host, not part of the
// SDK. Storage classes and SQL policy: docs/protocol.md; where the layer
// sits: docs/design.md.
namespace VoraSqlite {

class Connection
{
public:
    enum Mode { ReadOnly, ReadWrite, Create };

    Connection() = default;
    ~Connection() { close(); }
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;

    // Create also opens read-write. extraFlags adds SQLITE_OPEN_* flags. A
    // failed open leaves the connection closed with the reason in
    // errorText().
    bool open(const QString &file, Mode mode, int extraFlags = 0);
    void close();
    bool isOpen() const { return m_db != nullptr; }
    sqlite3 *handle() const { return m_db; }

    // How long a statement waits for another connection's lock.
    void setBusyTimeout(int milliseconds);

    // Runs one statement to its end, through sqlite3_step like every other
    // statement so that fault injection sees it.
    bool exec(const char *sql);
    // Runs SQL text of any number of statements.
    bool execScript(const QByteArray &sql);
    // The journal mode SQLite reports after the switch, or why it failed.
    QString setJournalMode(const char *mode);
    // The file's tables, names as stored.
    QStringList tableNames();

    // The message of the last failure (or of the failed open).
    QString errorText() const;
    int errorCode() const { return sqlite3_errcode(m_db); }

private:
    sqlite3 *m_db = nullptr;
    QString m_openError;
};

// One prepared statement. Columns read in their storage class: INTEGER as
// qlonglong, REAL as double, TEXT as QString, BLOB as QByteArray, NULL as an
// invalid QVariant.
class Statement
{
public:
    Statement() = default;
    Statement(Connection &db, const QByteArray &sql) { prepare(db, sql.constData(), sql.size()); }
    ~Statement() { sqlite3_finalize(m_stmt); }
    Statement(Statement &&other) noexcept : m_stmt(other.m_stmt) { other.m_stmt = nullptr; }
    Statement &operator=(Statement &&other) noexcept;
    Statement(const Statement &) = delete;
    Statement &operator=(const Statement &) = delete;

    // Prepares the first statement of sql (bytes < 0: up to its NUL); *tail
    // tells where the rest begins. SQL holding no statement prepares fine
    // and leaves the statement invalid.
    bool prepare(Connection &db, const char *sql, int bytes = -1, const char **tail = nullptr);
    bool isValid() const { return m_stmt != nullptr; }
    sqlite3_stmt *handle() const { return m_stmt; }

    // An int or qlonglong binds as INTEGER, a double as REAL, a QByteArray
    // as BLOB, an invalid QVariant as NULL, anything else as its text.
    void bind(int index, const QVariant &value);
    // SQLITE_ROW, SQLITE_DONE or the error.
    int step() { return sqlite3_step(m_stmt); }
    // Ready to run again with new bindings; holds no lock until it runs.
    void reset();

    int columnCount() const { return sqlite3_column_count(m_stmt); }
    QStringList columnNames() const;
    QVariant value(int column) const;

private:
    sqlite3_stmt *m_stmt = nullptr;
};

// A stored value as the host's tools compare and print it: an INTEGER that
// fits in an int as int, a BLOB as its UTF-8 text, anything else as read.
QVariant shownForm(const QVariant &stored);

} // namespace VoraSqlite
