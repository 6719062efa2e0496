#pragma once

// What the developer-mode tests share: the four configuration tables, a full
// dump of the database with the stored SQLite types, the snapshot file of the
// running executable, and a collector of log lines with their context.

#include "LogCollector.h"
#include "PluginHarness.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QPair>
#include <QString>
#include <QVariant>

#include <sqlite3.h>

namespace DevModeTest {

inline QString schema()
{
    return VoraTest::TempDatabase::tableSql({QStringLiteral("config"), QStringLiteral("ui"),
                                             QStringLiteral("calibration"), QStringLiteral("scan")});
}

// A stored value and its SQLite type ("integer", "real", "text", "null").
using Stored = QPair<QVariant, QString>;
// Every row of the four tables, keyed "table|key".
using Dump = QMap<QString, Stored>;

inline Stored stored(const QVariant &value, const char *type)
{
    return Stored(value, QString::fromLatin1(type));
}

inline Dump dump(const QString &file)
{
    Dump result;
    sqlite3 *db = nullptr;
    if (sqlite3_open_v2(QFile::encodeName(file).constData(), &db, SQLITE_OPEN_READONLY, nullptr)
        != SQLITE_OK) {
        sqlite3_close(db);
        return result;
    }
    sqlite3_busy_timeout(db, 10000);
    for (const char *table : {"config", "ui", "calibration", "scan"}) {
        const QByteArray sql = QByteArray("SELECT key, value, typeof(value) FROM ") + table;
        sqlite3_stmt *stmt = nullptr;
        if (sqlite3_prepare_v2(db, sql.constData(), -1, &stmt, nullptr) != SQLITE_OK) {
            sqlite3_finalize(stmt);
            continue;
        }
        while (sqlite3_step(stmt) == SQLITE_ROW) {
            const QString key = QString::fromUtf8(
                    reinterpret_cast<const char *>(sqlite3_column_text(stmt, 0)));
            QVariant value;
            switch (sqlite3_column_type(stmt, 1)) {
            case SQLITE_INTEGER:
                value = qlonglong(sqlite3_column_int64(stmt, 1));
                break;
            case SQLITE_FLOAT:
                value = sqlite3_column_double(stmt, 1);
                break;
            case SQLITE_NULL:
                break;
            default:
                value = QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(stmt, 1)));
            }
            result.insert(
                    QString::fromLatin1(table) + QLatin1Char('|') + key,
                    Stored(value,
                           QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(stmt, 2)))));
        }
        sqlite3_finalize(stmt);
    }
    sqlite3_close(db);
    return result;
}

// Describes the differences between two dumps, one line per row; empty when
// they are equal (values compared as text so that 1 and 1.0 differ by type).
inline QString diff(const Dump &actual, const Dump &expected)
{
    QString out;
    auto describe = [](const Dump &d, const QString &key) {
        if (!d.contains(key))
            return QStringLiteral("<no row>");
        const Stored s = d.value(key);
        return QStringLiteral("%1 (%2)").arg(s.first.toString(), s.second);
    };
    QStringList keys = actual.keys() + expected.keys();
    keys.removeDuplicates();
    keys.sort();
    for (const QString &key : qAsConst(keys)) {
        const bool same = actual.contains(key) == expected.contains(key)
                && actual.value(key).second == expected.value(key).second
                && actual.value(key).first.toString() == expected.value(key).first.toString();
        if (!same)
            out += QStringLiteral("\n  %1: got %2, want %3")
                           .arg(key, describe(actual, key), describe(expected, key));
    }
    return out;
}

inline QString snapshotDir()
{
    return QCoreApplication::applicationDirPath() + QStringLiteral("/../Resources/ScanSets");
}

inline QString snapshotFile()
{
    return snapshotDir() + QStringLiteral("/developer_mode_temp.json");
}

inline QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline bool writeFile(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size();
}

inline QJsonObject readSnapshot()
{
    return QJsonDocument::fromJson(readFile(snapshotFile())).object();
}

// Removes whatever stands at the snapshot folder's place: a folder, or the
// regular file some cases put there.
inline void removeSnapshotDir()
{
    const QString path = snapshotDir();
    if (QFileInfo(path).isDir())
        QDir(path).removeRecursively();
    else
        QFile::remove(path);
}

using VoraTest::LogCollector;
using VoraTest::LogLine;

} // namespace DevModeTest
