#include "PluginHarness.h"

#include <sqlite3.h>

namespace VoraTest {

void TempDatabase::create(const QString &sql)
{
    sqlite3 *db = nullptr;
    if (sqlite3_open(QFile::encodeName(m_file).constData(), &db) == SQLITE_OK && !sql.isEmpty())
        sqlite3_exec(db, sql.toUtf8().constData(), nullptr, nullptr, nullptr);
    sqlite3_close(db);
}

bool TempDatabase::exec(const QString &sql) const
{
    sqlite3 *db = nullptr;
    bool ok = sqlite3_open_v2(QFile::encodeName(m_file).constData(), &db, SQLITE_OPEN_READWRITE, nullptr)
            == SQLITE_OK;
    if (ok) {
        sqlite3_busy_timeout(db, 10000);
        ok = sqlite3_exec(db, sql.toUtf8().constData(), nullptr, nullptr, nullptr) == SQLITE_OK;
    }
    sqlite3_close(db);
    return ok;
}

QPair<QVariant, QString> TempDatabase::value(const QString &table, const QString &key) const
{
    QPair<QVariant, QString> result;
    sqlite3 *db = nullptr;
    if (sqlite3_open_v2(QFile::encodeName(m_file).constData(), &db, SQLITE_OPEN_READONLY, nullptr)
        != SQLITE_OK) {
        sqlite3_close(db);
        return result;
    }
    sqlite3_busy_timeout(db, 10000);
    const QByteArray sql =
            QStringLiteral("SELECT value, typeof(value) FROM \"%1\" WHERE key = ?1").arg(table).toUtf8();
    sqlite3_stmt *stmt = nullptr;
    if (sqlite3_prepare_v2(db, sql.constData(), -1, &stmt, nullptr) == SQLITE_OK) {
        const QByteArray k = key.toUtf8();
        sqlite3_bind_text(stmt, 1, k.constData(), k.size(), SQLITE_TRANSIENT);
        if (sqlite3_step(stmt) == SQLITE_ROW) {
            result.second = QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(stmt, 1)));
            switch (sqlite3_column_type(stmt, 0)) {
            case SQLITE_INTEGER:
                result.first = qlonglong(sqlite3_column_int64(stmt, 0));
                break;
            case SQLITE_FLOAT:
                result.first = sqlite3_column_double(stmt, 0);
                break;
            case SQLITE_NULL:
                break;
            default:
                result.first = QString::fromUtf8(
                        reinterpret_cast<const char *>(sqlite3_column_text(stmt, 0)));
            }
        }
    }
    sqlite3_finalize(stmt);
    sqlite3_close(db);
    return result;
}

} // namespace VoraTest
