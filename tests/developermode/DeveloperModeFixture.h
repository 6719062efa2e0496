#pragma once

// What the developer-mode tests share: the four configuration tables, a full
// dump of the database with the stored SQLite types, the snapshot file of the
// running executable, entering the developer mode through the real plug-in,
// and a collector of log lines with their context.

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
#include <QTest>
#include <QVariant>

#include <sqlite3.h>

namespace DevModeTest {

inline QString schema()
{
    return VoraTest::TempDatabase::tableSql({QStringLiteral("config"), QStringLiteral("ui"),
                                             QStringLiteral("calibration"), QStringLiteral("scan")});
}

inline QString insert(const char *table, const QString &key, const QString &sqlValue)
{
    return QStringLiteral("INSERT INTO %1 (key, value) VALUES ('%2', %3);\n")
            .arg(QLatin1String(table), key, sqlValue);
}

// INSERTs for "key=sql value" items; in table "scan" the keys are written
// without their "IRSpeckle." prefix.
inline QString rows(const char *table, const QStringList &items)
{
    QString sql;
    const QString prefix = qstrcmp(table, "scan") == 0 ? QStringLiteral("IRSpeckle.") : QString();
    for (const QString &item : items)
        sql += insert(table, prefix + item.section('=', 0, 0), item.section('=', 1));
    return sql;
}

// Switches the developer mode on as the host does once the controller has
// registered its commands (10 ms after it was made), and waits for the full
// settings announcement (a second later).
inline QObject *enterDeveloperMode(VoraTest::Controller &controller)
{
    const auto devMode = [&] { return controller.child("DeveloperModeController"); };
    const bool made = QTest::qWaitFor(
            [&] {
                if (!devMode())
                    controller.deliver({{"cmd", "enableDeveloperMode"}, {"enabled", true}});
                return devMode() != nullptr;
            },
            2000);
    const auto announced = [&] {
        for (const QVariantMap &param : controller.published()) {
            if (param.value("changedKey") == QLatin1String("all"))
                return true;
        }
        return false;
    };
    return made && QTest::qWaitFor(announced, 5000) ? devMode() : nullptr;
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
    sqlite3_open_v2(QFile::encodeName(file).constData(), &db, SQLITE_OPEN_READONLY, nullptr);
    sqlite3_busy_timeout(db, 10000);
    for (const char *table : {"config", "ui", "calibration", "scan"}) {
        const QByteArray sql = QByteArray("SELECT key, value, typeof(value) FROM ") + table;
        sqlite3_stmt *stmt = nullptr;
        const auto text = [&](int column) {
            return QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(stmt, column)));
        };
        // Values as text with their type beside them, so that 1 and 1.0 differ.
        if (sqlite3_prepare_v2(db, sql.constData(), -1, &stmt, nullptr) == SQLITE_OK) {
            while (sqlite3_step(stmt) == SQLITE_ROW)
                result.insert(
                        QLatin1String(table) + QLatin1Char('|') + text(0),
                        Stored(sqlite3_column_type(stmt, 1) == SQLITE_NULL ? QVariant() : text(1), text(2)));
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
    const auto describe = [](const Dump &d, const QString &key) {
        return d.contains(key) ? QStringLiteral("%1 (%2)").arg(d[key].first.toString(), d[key].second)
                               : QStringLiteral("<no row>");
    };
    Dump all = actual;
    all.insert(expected);
    QString out;
    for (const QString &key : all.keys()) {
        if (describe(actual, key) != describe(expected, key))
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
