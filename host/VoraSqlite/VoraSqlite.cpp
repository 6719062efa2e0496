#include "VoraSqlite.h"

#include <QFile>

#include <limits>

Q_LOGGING_CATEGORY(lcHostDb, "vora.host.db")

namespace VoraSqlite {

bool Connection::open(const QString &file, Mode mode, int extraFlags)
{
    close();
    m_openError.clear();
    const int flags = mode == ReadOnly ? SQLITE_OPEN_READONLY
            : mode == ReadWrite        ? SQLITE_OPEN_READWRITE
                                       : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    const int rc = sqlite3_open_v2(QFile::encodeName(file).constData(), &m_db, flags | extraFlags, nullptr);
    if (rc == SQLITE_OK)
        return true;
    // Without a handle SQLite could not even allocate one.
    m_openError = QString::fromUtf8(m_db ? sqlite3_errmsg(m_db) : sqlite3_errstr(rc));
    close();
    return false;
}

void Connection::close()
{
    sqlite3_close(m_db);
    m_db = nullptr;
}

void Connection::setBusyTimeout(int milliseconds)
{
    sqlite3_busy_timeout(m_db, milliseconds);
}

bool Connection::exec(const char *sql)
{
    Statement stmt;
    return stmt.prepare(*this, sql) && stmt.isValid() && stmt.step() == SQLITE_DONE;
}

bool Connection::execScript(const QByteArray &sql)
{
    return sqlite3_exec(m_db, sql.constData(), nullptr, nullptr, nullptr) == SQLITE_OK;
}

QString Connection::setJournalMode(const char *mode)
{
    Statement stmt(*this, QByteArray("PRAGMA journal_mode = ") + mode);
    const int rc = stmt.isValid() ? stmt.step() : SQLITE_ERROR;
    if (rc == SQLITE_ROW)
        return stmt.value(0).toString();
    return rc == SQLITE_DONE ? QString() : errorText();
}

QStringList Connection::tableNames()
{
    QStringList names;
    Statement stmt(*this, "select name from sqlite_master where type = 'table'");
    while (stmt.isValid() && stmt.step() == SQLITE_ROW)
        names.append(stmt.value(0).toString());
    return names;
}

QString Connection::errorText() const
{
    return m_db ? QString::fromUtf8(sqlite3_errmsg(m_db)) : m_openError;
}

Statement &Statement::operator=(Statement &&other) noexcept
{
    std::swap(m_stmt, other.m_stmt);
    return *this;
}

bool Statement::prepare(Connection &db, const char *sql, int bytes, const char **tail)
{
    sqlite3_finalize(m_stmt);
    m_stmt = nullptr;
    return sqlite3_prepare_v2(db.handle(), sql, bytes, &m_stmt, tail) == SQLITE_OK;
}

void Statement::bind(int index, const QVariant &value)
{
    switch (value.userType()) {
    case QMetaType::UnknownType:
        sqlite3_bind_null(m_stmt, index);
        break;
    case QMetaType::Int:
    case QMetaType::LongLong:
        sqlite3_bind_int64(m_stmt, index, value.toLongLong());
        break;
    case QMetaType::Double:
        sqlite3_bind_double(m_stmt, index, value.toDouble());
        break;
    case QMetaType::QByteArray: {
        const QByteArray bytes = value.toByteArray();
        sqlite3_bind_blob(m_stmt, index, bytes.constData(), bytes.size(), SQLITE_TRANSIENT);
        break;
    }
    default: {
        const QByteArray text = value.toString().toUtf8();
        sqlite3_bind_text(m_stmt, index, text.constData(), text.size(), SQLITE_TRANSIENT);
    }
    }
}

void Statement::reset()
{
    sqlite3_reset(m_stmt);
    sqlite3_clear_bindings(m_stmt);
}

QStringList Statement::columnNames() const
{
    QStringList names;
    for (int i = 0; i < columnCount(); ++i)
        names.append(QString::fromUtf8(sqlite3_column_name(m_stmt, i)));
    return names;
}

QVariant Statement::value(int column) const
{
    switch (sqlite3_column_type(m_stmt, column)) {
    case SQLITE_INTEGER:
        return qlonglong(sqlite3_column_int64(m_stmt, column));
    case SQLITE_FLOAT:
        return sqlite3_column_double(m_stmt, column);
    case SQLITE_TEXT:
        return QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(m_stmt, column)),
                                 sqlite3_column_bytes(m_stmt, column));
    case SQLITE_BLOB:
        return QByteArray(static_cast<const char *>(sqlite3_column_blob(m_stmt, column)),
                          sqlite3_column_bytes(m_stmt, column));
    default: // NULL: nothing stored
        return QVariant();
    }
}

QVariant shownForm(const QVariant &stored)
{
    if (stored.userType() == QMetaType::QByteArray)
        return QString::fromUtf8(stored.toByteArray());
    if (stored.userType() != QMetaType::LongLong)
        return stored;
    const qlonglong v = stored.toLongLong();
    if (v >= std::numeric_limits<int>::min() && v <= std::numeric_limits<int>::max())
        return int(v);
    return stored;
}

} // namespace VoraSqlite
