// vorahost under faults, end to end: killed at each write of leaving the
// developer mode, another process holding the database's lock, a snapshot of
// another database, and a switch-off before the plug-in opened its database.
// (Damaged databases: tst_vorahost's start options.)

#include "DeveloperModeFixture.h"
#include "HostRun.h"

#include <QtTest>

using namespace HostTest;
using DevModeTest::readFile;
using DevModeTest::writeFile;

namespace {

const QByteArray kEnable = R"({"deliver": {"cmd": "enableDeveloperMode", "enabled": true}})";
const QByteArray kDisable = R"({"deliver": {"cmd": "enableDeveloperMode", "enabled": false}})";

bool isSettingsAll(const QJsonObject &line)
{
    return isCmd(line, "plugin", "developerModeSettingChanged") && line["param"]["changedKey"] == "all";
}

// Waits for the developer mode to load, then switches it off.
bool leaveOnceLoaded(Run &run)
{
    const bool loaded = run.waitForLine(isSettingsAll) >= 0;
    run.send(kDisable);
    return loaded;
}

} // namespace

class tst_HostSafety : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        // Every host run carries the kill shim; it acts only when told to.
        qputenv("LD_PRELOAD", KILL_SHIM_FILE);
        qputenv("ASAN_OPTIONS", qgetenv("ASAN_OPTIONS") + ":verify_asan_link_order=0");
        QVERIFY(m_bundle.isValid());
        Run make(m_bundle);
        make.start();
        QCOMPARE(make.finish(), 0);
        m_original = dump(m_bundle.database());
        m_fresh = readFile(m_bundle.database());
        QCOMPARE(sql(m_bundle.database(), "PRAGMA journal_mode"), QStringList{"wal"});

        {
            Run inside(m_bundle); // killed with SIGKILL at the end of this block
            inside.start();
            inside.click("vorahost", "developerModeOn"); // the main window's switch
            QVERIFY(inside.waitForLine([](const QJsonObject &l) {
                return isCmd(l, "host", "developerModeQuerySettingResp");
            }) >= 0);
            inside.send(R"({"deliver": {"module": "DeveloperMode", "cmd": "showDeveloperModeView"}})");
            QCOMPARE(inside.eval("开发者模式",
                                 "$developerModeController.updateValue('enableSaveScanImage', true); "
                                 "$developerModeController.updateValue('pseudo_color_section_2', 99); 'ok'"),
                     QJsonValue("ok"));
            QCOMPARE(m_bundle.value("scan", "IRSpeckle.If_Save_Pic"), QString("1|integer"));
        }
        sql(m_bundle.database(), "PRAGMA wal_checkpoint(TRUNCATE)");
        m_changed = readFile(m_bundle.database());
        m_snapshot = readFile(m_bundle.snapshot());
        m_owner = readFile(QString(m_bundle.snapshot()).replace(".json", ".database"));
    }
    // Leaving makes 20 writes and commits them (write 21); 22 and 23 are the
    // host's own store of rollbackFrame, before the plug-in removes its snapshot.
    // VORA_KILL_EVERY_WRITE=1 tries every one.
    void killedWhileLeaving_data()
    {
        QTest::addColumn<int>("killAfter");
        const QList<int> points = qEnvironmentVariableIsSet("VORA_KILL_EVERY_WRITE")
                ? QList<int>{1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12,
                             13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23}
                : QList<int>{1, 2, 10, 20, 21};
        for (int k : points)
            QTest::addRow("after write %d", k) << k;
    }
    void killedWhileLeaving()
    {
        QFETCH(int, killAfter);
        restore(m_changed, m_snapshot, m_owner);
        {
            qputenv("VORA_KILL_AFTER_LEAVE_WRITE", QByteArray::number(killAfter));
            Run killed(m_bundle);
            qunsetenv("VORA_KILL_AFTER_LEAVE_WRITE");
            killed.start();
            QVERIFY(leaveOnceLoaded(killed));
            QCOMPARE(killed.waitForExit(), -1);
        }
        // Stored as a whole or not at all: the mode comes back and leaves again,
        // or the leave is complete and its stale snapshot is set aside.
        const bool comesBack = m_bundle.value("config", "developerModeEnabled") == "true|text";
        QCOMPARE(comesBack, killAfter < 21);
        Run again(m_bundle);
        again.start();
        QVERIFY(!comesBack || leaveOnceLoaded(again));
        QCOMPARE(again.finish(), 0);
        QCOMPARE(again.errorOutput().contains("aside"), !comesBack);
        QCOMPARE(dump(m_bundle.database()), m_original);
        QVERIFY(!QFile::exists(m_bundle.snapshot()));
    }
    // Readers are never blocked (write-ahead log); a write waits for the lock
    // once per turn, and a leave that could not be stored keeps its snapshot.
    void lockHeldWhileLoadingAndLeaving()
    {
        restore(m_fresh);
        Run run(m_bundle);
        run.start();
        run.send(kEnable);
        QTRY_COMPARE_WITH_TIMEOUT(m_bundle.value("config", "developerModeEnabled"), QString("true|text"),
                                  VoraTest::PatienceMs);
        sqlite3 *other = nullptr;
        QCOMPARE(sqlite3_open(QFile::encodeName(m_bundle.database()).constData(), &other), SQLITE_OK);
        QCOMPARE(sqlite3_exec(other,
                              "BEGIN EXCLUSIVE; UPDATE scan SET value = 999 "
                              "WHERE key = 'IRSpeckle.pseudo_color_section_1'",
                              nullptr, nullptr, nullptr),
                 SQLITE_OK);
        QVERIFY(run.waitForLine(isSettingsAll) >= 0);
        // The entry values are the stored ones, not defaults nor uncommitted ones.
        QCOMPARE(m_bundle.readSnapshot()["init"]["pseudo_color_section_1"], QJsonValue(10));

        QTRY_COMPARE(m_bundle.readSnapshot()["init"]["rollbackFrame"], QJsonValue(5)); // the host answered
        const QByteArray snapshot = readFile(m_bundle.snapshot());
        run.send(kDisable);
        QVERIFY(run.waitForLine([](const QJsonObject &l) {
            return isCmd(l, "plugin", "developerModeEnabledChanged") && l["param"]["enabled"] == false;
        }) >= 0);
        sqlite3_exec(other, "ROLLBACK", nullptr, nullptr, nullptr);
        sqlite3_close(other);
        QCOMPARE(run.finish(), 0);
        const QString log = run.errorOutput();
        QVERIFY2(log.contains("\"IRSpeckle.If_Save_Pic\" to table scan dropped: " + m_bundle.database()
                              + " is locked by another connection\n"),
                 qPrintable(log));
        // The leave's writes, all dropped in one turn: only the first waited.
        QCOMPARE(log.count(" is locked by another connection (waited "), 1);
        // Kept for the next start, which comes back in the developer mode.
        QVERIFY2(log.contains("restore was not stored"), qPrintable(log));
        QCOMPARE(readFile(m_bundle.snapshot()), snapshot);
        QCOMPARE(m_bundle.value("config", "developerModeEnabled"), QString("true|text"));
    }
    void snapshotOfAnotherDatabase()
    {
        restore(m_changed, m_snapshot, m_owner);
        QTemporaryDir dir;
        const QString other = dir.filePath("b.db");
        Run refused(m_bundle);
        refused.start({"--db", other, "--script", "-"});
        QCOMPARE(refused.finish(), 1);
        QVERIFY2(refused.errorOutput().contains(
                         m_bundle.snapshot() + " belongs to the configuration database " + m_owner.trimmed()),
                 qPrintable(refused.errorOutput()));

        // Set aside, the snapshot is kept whole, and the developer mode on b.db
        // enters and leaves with b.db's own values.
        Run aside(m_bundle);
        aside.start({"--db", other, "--set-aside-snapshot", "--script", "-"});
        aside.send(kEnable);
        QVERIFY(leaveOnceLoaded(aside));
        QCOMPARE(aside.finish(), 0);
        const QString backup = aside.errorOutput().section(" aside as ", 1).section(" (", 0, 0);
        QCOMPARE(readFile(backup), m_snapshot);
        QCOMPARE(readFile(QString(backup).replace(".json", ".database")), m_owner);
        QVERIFY(!QFile::exists(m_bundle.snapshot()));
        QCOMPARE(dump(other), m_original);
        QCOMPARE(readFile(m_bundle.database()), m_changed);
    }
    void offWithinTheFirstSecond()
    {
        restore(m_fresh);
        Run run(m_bundle);
        run.start();
        run.send(kEnable);
        run.send(kDisable);
        // Closing the main window ends the host, which standard error says.
        run.send(R"({"close": "vorahost"})");
        QCOMPARE(run.finish(), 0);
        QVERIFY(run.errorOutput().contains(
                "script line 3 closes the main window: the host ends, and any steps "
                "after this line are not run"));
        QCOMPARE(m_bundle.value("config", "developerModeEnabled"), QString("false|text"));
        QVERIFY(!run.errorOutput().contains("could not store"));
    }

private:
    // Puts the database (and the snapshot with its record, or none) back.
    void restore(const QByteArray &db, const QByteArray &snapshot = {}, const QByteArray &owner = {});

    Bundle m_bundle;
    QStringList m_original; // the fresh database, as a full dump
    QByteArray m_fresh;
    // A host killed inside the developer mode after two changes.
    QByteArray m_changed, m_snapshot, m_owner;
};

void tst_HostSafety::restore(const QByteArray &db, const QByteArray &snapshot, const QByteArray &owner)
{
    for (const char *suffix : {"-wal", "-shm"})
        QFile::remove(m_bundle.database() + suffix);
    QDir(QFileInfo(m_bundle.snapshot()).path()).removeRecursively();
    QDir().mkpath(QFileInfo(m_bundle.snapshot()).path());
    QVERIFY(writeFile(m_bundle.database(), db));
    if (!snapshot.isEmpty())
        QVERIFY(writeFile(m_bundle.snapshot(), snapshot)
                && writeFile(QString(m_bundle.snapshot()).replace(".json", ".database"), owner));
}

QTEST_GUILESS_MAIN(tst_HostSafety)
#include "tst_hostsafety.moc"
