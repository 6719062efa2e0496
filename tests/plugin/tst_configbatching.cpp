// VoraConfigSQLite inside a running event loop: the writes of one turn are
// stored together, a lock is waited for once per turn, and writes that a
// failed commit lost are reported again.

#include "HostConfigStrategy.h"
#include "LogCollector.h"
#include "PluginHarness.h"

#include <VoraBox.h>

#include <QtTest>

#include <sqlite3.h>

namespace {

// Runs f as one turn of a running event loop; what the turn leaves pending
// is still pending when this returns.
template<typename F>
void inTurn(F f)
{
    QEventLoop loop;
    QTimer::singleShot(0, &loop, [&] {
        f();
        loop.quit();
    });
    loop.exec();
}

} // namespace

class tst_ConfigBatching : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void writesOfATurnAreStoredTogether();
    void lockIsWaitedForOncePerTurn();
    void failedCommitReportsWritesAgain();

private:
    std::unique_ptr<VoraTest::TempDatabase> m_db;
    sqlite3 *m_other = nullptr; // another process's connection
    HostConfigStrategy m_scan{QStringLiteral("scan")};
    VoraConfigSQLite m_config;
    QList<VoraConfigWrite> m_reports;
};

void tst_ConfigBatching::init()
{
    m_db = std::make_unique<VoraTest::TempDatabase>(VoraTest::TempDatabase::tableSql({"scan"})
                                                    + "INSERT INTO scan VALUES ('a', 1, '');");
    QVERIFY(m_db->isValid());
    VoraConfigSQLite::setDatabaseFileOverride(m_db->fileName());
    QCOMPARE(m_config.open(&m_scan), int(VoraConfigOk));
    QCOMPARE(sqlite3_open(QFile::encodeName(m_db->fileName()).constData(), &m_other), SQLITE_OK);
    m_reports.clear();
    VoraConfigSQLite::setWriteObserver([this](const VoraConfigWrite &w) { m_reports.append(w); });
}

void tst_ConfigBatching::cleanup()
{
    VoraConfigSQLite::setWriteObserver(nullptr);
    m_config.close();
    sqlite3_close(m_other);
}

void tst_ConfigBatching::writesOfATurnAreStoredTogether()
{
    QStringList seen; // as another connection sees a and b
    const auto look = [&] {
        seen << m_db->value("scan", "a").first.toString() + m_db->value("scan", "b").second;
    };
    CommonLib::VoraBox box;
    inTurn([&] {
        m_config.setConfig("a", 2, &m_scan);
        m_config.setConfig("b", 3, &m_scan);
        look();
        box.publish(nullptr, {}, {}, {}, {}, false, nullptr); // the bus carries a message
        look();
        m_config.setConfig("a", 4, &m_scan);
        look();
    });
    QCOMPARE(seen, (QStringList{"1", "2integer", "2integer"}));
    QTRY_COMPARE(m_db->value("scan", "a").first, QVariant(4LL)); // the end of the turn
}

void tst_ConfigBatching::lockIsWaitedForOncePerTurn()
{
    QVERIFY(m_db->exec("PRAGMA journal_mode = WAL"));
    QCOMPARE(sqlite3_exec(m_other, "BEGIN EXCLUSIVE; UPDATE scan SET value = 9", nullptr, nullptr, nullptr),
             SQLITE_OK);
    VoraTest::LogCollector log;
    QVariant read;
    qint64 waits[2];
    inTurn([&] {
        read = m_config.getConfig("a", QVariant(), &m_scan);
        QElapsedTimer clock;
        clock.start();
        m_config.setConfig("a", 2, &m_scan);
        waits[0] = clock.restart();
        m_config.setConfig("b", 3, &m_scan);
        waits[1] = clock.elapsed();
    });
    QCOMPARE(read, QVariant(1)); // the stored value, at once
    QVERIFY2(waits[0] > 1500 && waits[0] < 6000 && waits[1] < 1000, qPrintable(QString::number(waits[0])));
    const QString dropped = "vora.host.db: write of \"%1\" to table scan dropped: " + m_db->fileName()
            + " is locked by another connection";
    QCOMPARE(log.warnings(), (QStringList{dropped.arg("a") + " (waited 2000 ms)", dropped.arg("b")}));
    QCOMPARE(m_reports.size(), 2);
    QVERIFY(!m_reports[0].ok && !m_reports[1].ok);
}

// Without write-ahead logging a reader keeps the commit from happening.
void tst_ConfigBatching::failedCommitReportsWritesAgain()
{
    QCOMPARE(sqlite3_exec(m_other, "BEGIN; SELECT * FROM scan", nullptr, nullptr, nullptr), SQLITE_OK);
    const quint64 unstored = VoraConfigSQLite::unstoredWriteCount();
    bool committed = true;
    inTurn([&] {
        m_config.setConfig("a", 2, &m_scan);
        committed = VoraConfigSQLite::commitPending();
    });
    QVERIFY(!committed);
    QCOMPARE(m_reports.size(), 2);
    QVERIFY(m_reports[0].ok && !m_reports[1].ok);
    QVERIFY2(m_reports[1].error.startsWith("not committed to " + m_db->fileName()),
             qPrintable(m_reports[1].error));
    QCOMPARE(VoraConfigSQLite::unstoredWriteCount(), unstored + 1);
    sqlite3_exec(m_other, "COMMIT", nullptr, nullptr, nullptr);
    QCOMPARE(m_db->value("scan", "a").first, QVariant(1LL));
}

QTEST_GUILESS_MAIN(tst_ConfigBatching)
#include "tst_configbatching.moc"
