#include "PluginHarness.h"

#include <QFile>

#include <sqlite3.h>

namespace VoraTest {

namespace {

// Runs sql on file; true when every statement succeeded.
bool run(const QString &file, const QString &sql, int flags, QStringList *rows = nullptr)
{
    sqlite3 *db = nullptr;
    bool ok = sqlite3_open_v2(QFile::encodeName(file).constData(), &db, flags, nullptr) == SQLITE_OK;
    sqlite3_busy_timeout(db, 10000);
    const auto collect = [](void *out, int count, char **fields, char **) {
        QStringList row;
        for (int i = 0; i < count; ++i)
            row.append(QString::fromUtf8(fields[i]));
        if (out)
            static_cast<QStringList *>(out)->append(row.join('|'));
        return 0;
    };
    ok = ok && sqlite3_exec(db, sql.toUtf8().constData(), collect, rows, nullptr) == SQLITE_OK;
    sqlite3_close(db);
    return ok;
}

} // namespace

QStringList query(const QString &file, const QString &sql, bool write)
{
    QStringList rows;
    run(file, sql, write ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY, &rows);
    return rows;
}

QString value(const QString &file, const QString &table, const QString &key)
{
    return query(file,
                 QStringLiteral("SELECT value, typeof(value) FROM \"%1\" WHERE key = '%2'")
                         .arg(table, QString(key).replace('\'', "''")))
            .value(0);
}

QStringList dump(const QString &file)
{
    QStringList result = query(file, "SELECT 'schema', name, sql FROM sqlite_master ORDER BY name");
    for (const QString &table : query(file, "SELECT name FROM sqlite_master WHERE type = 'table'"))
        result += query(
                file,
                QStringLiteral("SELECT '%1', key, value, typeof(value), comment FROM \"%1\"").arg(table));
    result.sort();
    return result;
}

void setRow(QStringList &dump, const QString &tableKey, const QString &valueType)
{
    QString comment;
    for (int i = 0; i < dump.size(); ++i) {
        if (dump.at(i).startsWith(tableKey + '|'))
            comment = dump.takeAt(i).section('|', 4);
    }
    dump.append(tableKey + '|' + valueType + '|' + comment);
    dump.sort();
}

TempDatabase::TempDatabase(const QString &sql)
{
    m_file = m_dir.filePath(QStringLiteral("config.db"));
    VoraConfigSQLite::setDatabaseFileOverride(m_file);
    if (m_dir.isValid())
        run(m_file, sql, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
}

bool TempDatabase::isValid() const
{
    return m_dir.isValid() && QFile::exists(m_file);
}

bool TempDatabase::exec(const QString &sql) const
{
    return run(m_file, sql, SQLITE_OPEN_READWRITE);
}

QString TempDatabase::tableSql(const QStringList &tables)
{
    QString sql;
    for (const QString &table : tables)
        sql += QStringLiteral("CREATE TABLE \"%1\" (key TEXT PRIMARY KEY NOT NULL, value, "
                              "comment TEXT NOT NULL DEFAULT '');\n")
                       .arg(table);
    return sql;
}

} // namespace VoraTest
