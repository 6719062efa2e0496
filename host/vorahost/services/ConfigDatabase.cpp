#include "ConfigDatabase.h"

#include "HostLogging.h"
#include "VoraSqlite.h"

#include <VoraConfigSQLite.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringList>

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
    VoraSqlite::Connection db;
    const bool made = db.open(partial, VoraSqlite::Connection::Create) && db.execScript(sql.toUtf8());
    const QString reason = db.errorText();
    db.close();
    if (!made) {
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
    VoraSqlite::Connection db;
    QStringList problems;
    int tables = 0;
    QString journal;
    if (db.open(m_file, VoraSqlite::Connection::ReadWrite)) {
        db.setBusyTimeout(VoraConfigSQLite::LockTimeoutMs);
        const auto rows = [&](const char *sql, QStringList *out) {
            VoraSqlite::Statement stmt(db, sql);
            int rc = stmt.isValid() ? SQLITE_OK : SQLITE_ERROR;
            if (rc == SQLITE_OK) {
                while ((rc = stmt.step()) == SQLITE_ROW)
                    out->append(stmt.value(0).toString());
            }
            if (rc != SQLITE_DONE)
                out->append(db.errorText());
        };
        // A handful of pages: quick, and it catches random bytes and cut files.
        rows("PRAGMA quick_check", &problems);
        problems.removeAll(QStringLiteral("ok"));
        QStringList count;
        if (problems.isEmpty())
            rows("SELECT count(*) FROM sqlite_master WHERE type = 'table'", &count);
        tables = count.value(0).toInt();
        if (problems.isEmpty() && tables > 0)
            journal = db.setJournalMode("WAL");
    } else {
        problems.append(db.errorText());
    }
    db.close();
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
