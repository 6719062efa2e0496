#include "ConfigDatabase.h"

#include "HostLogging.h"

#include <VoraConfigSQLite.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringList>

#include <sqlite3.h>

QString ConfigDatabase::defaultFile()
{
    return QDir::cleanPath(QCoreApplication::applicationDirPath()
                           + QStringLiteral("/../Resources/res/config.db"));
}

QString ConfigDatabase::sampleSql()
{
    QFile sample(QStringLiteral(":/vorahost/config_sample.sql"));
    if (!sample.open(QIODevice::ReadOnly))
        return QString();
    return QString::fromUtf8(sample.readAll());
}

bool ConfigDatabase::prepare(const QString &file, QString *error)
{
    m_file = QFileInfo(file).absoluteFilePath();
    m_created = false;
    const QFileInfo info(m_file);
    if (info.exists() && !info.isFile()) {
        *error = QStringLiteral("configuration database %1 is not a file").arg(m_file);
        return false;
    }
    if (!info.exists() && !createFromSample(error))
        return false;
    if (!checkAndUseWal(error))
        return false;
    VoraConfigSQLite::setDatabaseFileOverride(m_file);
    qCDebug(lcHostDb, "configuration database %s", qUtf8Printable(m_file));
    return true;
}

bool ConfigDatabase::createFromSample(QString *error)
{
    const QString sql = sampleSql();
    if (sql.isEmpty()) {
        *error = QStringLiteral("the sample configuration database is missing from the host");
        return false;
    }
    const QFileInfo info(m_file);
    if (!QDir().mkpath(info.absolutePath())) {
        *error = QStringLiteral("cannot create the folder %1").arg(info.absolutePath());
        return false;
    }
    // Built under a temporary name and renamed at the end: a failed creation
    // never leaves a half-filled database that a later run would take as real.
    const QString partial = m_file + QStringLiteral(".part");
    QFile::remove(partial);
    sqlite3 *db = nullptr;
    int rc = sqlite3_open_v2(QFile::encodeName(partial).constData(), &db,
                             SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
    char *message = nullptr;
    if (rc == SQLITE_OK)
        rc = sqlite3_exec(db, sql.toUtf8().constData(), nullptr, nullptr, &message);
    const QString reason = message ? QString::fromUtf8(message)
                                   : QString::fromUtf8(db ? sqlite3_errmsg(db) : "out of memory");
    sqlite3_free(message);
    sqlite3_close(db);
    if (rc != SQLITE_OK) {
        QFile::remove(partial);
        *error = QStringLiteral("cannot create the configuration database %1: %2").arg(m_file, reason);
        return false;
    }
    if (!QFile::rename(partial, m_file)) {
        QFile::remove(partial);
        *error = QStringLiteral("cannot create the configuration database %1: rename failed").arg(m_file);
        return false;
    }
    m_created = true;
    return true;
}

bool ConfigDatabase::checkAndUseWal(QString *error)
{
    sqlite3 *db = nullptr;
    QStringList problems;
    int tables = 0;
    QString journal;
    if (sqlite3_open_v2(QFile::encodeName(m_file).constData(), &db, SQLITE_OPEN_READWRITE, nullptr)
        == SQLITE_OK) {
        sqlite3_busy_timeout(db, VoraConfigSQLite::LockTimeoutMs);
        const auto rows = [&](const char *sql, QStringList *out) {
            sqlite3_stmt *stmt = nullptr;
            int rc = sqlite3_prepare_v2(db, sql, -1, &stmt, nullptr);
            if (rc == SQLITE_OK) {
                while ((rc = sqlite3_step(stmt)) == SQLITE_ROW)
                    out->append(
                            QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(stmt, 0))));
            }
            sqlite3_finalize(stmt);
            if (rc != SQLITE_DONE)
                out->append(QString::fromUtf8(sqlite3_errmsg(db)));
        };
        // A handful of pages: quick, and it catches random bytes and cut files.
        rows("PRAGMA quick_check", &problems);
        problems.removeAll(QStringLiteral("ok"));
        QStringList count;
        if (problems.isEmpty())
            rows("SELECT count(*) FROM sqlite_master WHERE type = 'table'", &count);
        tables = count.value(0).toInt();
        QStringList mode;
        if (problems.isEmpty() && tables > 0)
            rows("PRAGMA journal_mode = WAL", &mode);
        journal = mode.value(0);
    } else {
        problems.append(QString::fromUtf8(db ? sqlite3_errmsg(db) : "out of memory"));
    }
    sqlite3_close(db);
    if (!problems.isEmpty()) {
        *error = QStringLiteral("the configuration database %1 is damaged: %2").arg(m_file, problems.first());
        return false;
    }
    if (tables == 0) {
        *error = QStringLiteral("the configuration database %1 holds no tables").arg(m_file);
        return false;
    }
    if (journal != QLatin1String("wal"))
        qCWarning(lcHostDb, "cannot switch %s to write-ahead logging (%s): readers may wait for writers",
                  qUtf8Printable(m_file), qUtf8Printable(journal));
    return true;
}
