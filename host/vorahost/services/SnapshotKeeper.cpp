#include "SnapshotKeeper.h"

#include "HostLogging.h"
#include "SettingsStore.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <utility>

namespace {

bool developerModeStored()
{
    return SettingsStore::read(QStringLiteral("config"), QStringLiteral("developerModeEnabled")).toBool();
}

QString canonical(const QString &file)
{
    const QFileInfo info(file);
    return info.exists() ? info.canonicalFilePath() : info.absoluteFilePath();
}

bool writeWhole(const QString &file, const QByteArray &bytes)
{
    QSaveFile out(file);
    if (!out.open(QIODevice::WriteOnly) || out.write(bytes) != bytes.size() || !out.flush()) {
        out.cancelWriting();
        return false;
    }
    return out.commit();
}

} // namespace

SnapshotKeeper::SnapshotKeeper(const QString &databaseFile) : m_database(canonical(databaseFile))
{ }

QString SnapshotKeeper::snapshotFile()
{
    return QDir::cleanPath(QCoreApplication::applicationDirPath()
                           + QStringLiteral("/../Resources/ScanSets/developer_mode_temp.json"));
}

QString SnapshotKeeper::ownerFile()
{
    QString file = snapshotFile();
    file.chop(int(qstrlen(".json")));
    return file + QStringLiteral(".database");
}

bool SnapshotKeeper::checkAtStart(bool setAside, QString *error, QString *notice)
{
    if (!exists()) {
        QFile::remove(ownerFile());
        if (setAside)
            *notice = QStringLiteral("no developer-mode snapshot to set aside");
        return true;
    }
    QFile record(ownerFile());
    const QString owner = record.open(QIODevice::ReadOnly) ? QString::fromUtf8(record.readAll()).trimmed()
                                                           : QString();
    const bool foreign = !owner.isEmpty() && canonical(owner) != m_database;
    if (foreign && !setAside) {
        *error = QStringLiteral("the developer-mode snapshot %1 belongs to the configuration database %2, "
                                "not to %3; run with --db %2 to leave the developer mode there, or with "
                                "--set-aside-snapshot to move the snapshot to a backup")
                         .arg(snapshotFile(), owner, m_database);
        return false;
    }
    QString why;
    if (setAside) {
        why = QStringLiteral("as asked");
    } else {
        if (owner.isEmpty())
            bind(); // from a host that kept no record: taken as this database's
        if (developerModeStored())
            return true; // the developer mode comes back and resumes from it
        why = QStringLiteral("the developer mode was left, but the host ended before the snapshot was "
                             "removed; its old values must not come back");
    }
    const QString aside = setAsideNow(error);
    if (aside.isEmpty())
        return false;
    *notice = QStringLiteral("set the developer-mode snapshot of %1 aside as %2 (%3)")
                      .arg(foreign ? owner : m_database, aside, why);
    return true;
}

QString SnapshotKeeper::setAsideNow(QString *error)
{
    const QString stamp = QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss"));
    const QString dir = QFileInfo(snapshotFile()).absolutePath();
    QString base = dir + QStringLiteral("/developer_mode_temp-") + stamp;
    for (int n = 2; QFile::exists(base + QStringLiteral(".json")); ++n)
        base = dir + QStringLiteral("/developer_mode_temp-%1-%2").arg(stamp).arg(n);
    if (!QFile::rename(snapshotFile(), base + QStringLiteral(".json"))) {
        *error = QStringLiteral("cannot move the developer-mode snapshot %1 to %2.json")
                         .arg(snapshotFile(), base);
        return QString();
    }
    QFile::rename(ownerFile(), base + QStringLiteral(".database"));
    return base + QStringLiteral(".json");
}

void SnapshotKeeper::restoreAnnounced(int unstoredWrites)
{
    m_kept = unstoredWrites > 0 ? read() : QByteArray();
}

bool SnapshotKeeper::developerModeSwitched(bool on)
{
    const QByteArray kept = std::exchange(m_kept, QByteArray());
    // Put back only when the leave's own "false" did not land either: then
    // none of its restore did (it is stored as a whole or not at all).
    if (!on && !kept.isEmpty() && !exists() && developerModeStored() && restore(kept)) {
        qCWarning(lcHostBus,
                  "the developer mode was left but its restore was not stored; its snapshot %s "
                  "is kept, and the developer mode comes back at the next start",
                  qUtf8Printable(snapshotFile()));
        return true;
    }
    if (on)
        bind();
    else
        release();
    return on;
}

void SnapshotKeeper::bind()
{
    QDir().mkpath(QFileInfo(ownerFile()).absolutePath());
    if (!writeWhole(ownerFile(), m_database.toUtf8() + '\n'))
        qCWarning(lcHostBus, "cannot record the database of the developer-mode snapshot in %s",
                  qUtf8Printable(ownerFile()));
}

void SnapshotKeeper::release()
{
    if (!exists())
        QFile::remove(ownerFile());
}

bool SnapshotKeeper::exists() const
{
    return QFileInfo(snapshotFile()).isFile();
}

QByteArray SnapshotKeeper::read() const
{
    QFile file(snapshotFile());
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool SnapshotKeeper::restore(const QByteArray &bytes)
{
    return writeWhole(snapshotFile(), bytes);
}
