// VoraConfigSQLite inside a running event loop: the writes of one turn are
// stored together, and writes that a failed commit lost are reported again.
// (A lock held by another process: tst_hostsafety.)

#include "HostConfigStrategy.h"
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
