#pragma once

// What the developer-mode tests share: the four configuration tables, the
// snapshot file beside the running executable, and entering the developer
// mode through the real plug-in.

#include "LogCollector.h"
#include "PluginHarness.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

namespace DevModeTest {

inline QString schema()
{
    return VoraTest::TempDatabase::tableSql({"config", "ui", "calibration", "scan"});
}

inline QString row(const QString &table, const QString &key, const QString &sqlValue)
{
    return QStringLiteral("INSERT INTO %1 (key, value) VALUES ('%2', %3);\n").arg(table, key, sqlValue);
}

// Switches the developer mode on once the controller has started, and waits
// for its full settings announcement (a second later).
inline QObject *enterDeveloperMode(VoraTest::Controller &controller)
{
    if (!controller.waitUntilStarted())
        return nullptr;
    controller.deliver({{"cmd", "enableDeveloperMode"}, {"enabled", true}});
    const bool loaded = QTest::qWaitFor(
            [&] { return controller.publishedCommands().contains("developerModeSettingChanged:all"); },
            VoraTest::PatienceMs);
    return loaded ? controller.child("DeveloperModeController") : nullptr;
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
    if (QFileInfo(snapshotDir()).isDir())
        QDir(snapshotDir()).removeRecursively();
    else
        QFile::remove(snapshotDir());
}

using VoraTest::LogCollector;

} // namespace DevModeTest
