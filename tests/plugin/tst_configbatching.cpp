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
    void writesOfATurnAreStoredTogether();
    void failedCommitReportsWritesAgain();

private:
    VoraTest::TempDatabase m_db{VoraTest::TempDatabase::tableSql({"scan"})
                                + "INSERT INTO scan VALUES ('a', 1, '');"};
    HostConfigStrategy m_scan{QStringLiteral("scan")};
};

void tst_ConfigBatching::writesOfATurnAreStoredTogether()
{
    VoraConfigSQLite::setDatabaseFileOverride(m_db.fileName());
    VoraConfigSQLite config;
    QCOMPARE(config.open(&m_scan), int(VoraConfigOk));
    QStringList seen; // a and b, as another connection sees them
    const auto look = [&] {
        seen << m_db.value("scan", "a").first.toString() + m_db.value("scan", "b").second;
    };
    CommonLib::VoraBox box;
    inTurn([&] {
        config.setConfig("a", 2, &m_scan);
        config.setConfig("b", 3, &m_scan);
        look();
        box.publish(nullptr, {}, {}, {}, {}, false, nullptr); // the bus carries a message
        look();
        config.setConfig("a", 4, &m_scan);
        look();
    });
    QCOMPARE(seen, (QStringList{"1", "2integer", "2integer"}));
    QTRY_COMPARE(m_db.value("scan", "a").first, QVariant(4LL)); // the end of the turn
}

// Without write-ahead logging a reader keeps the commit from happening.
void tst_ConfigBatching::failedCommitReportsWritesAgain()
{
    VoraConfigSQLite::setDatabaseFileOverride(m_db.fileName());
    VoraConfigSQLite config;
    QCOMPARE(config.open(&m_scan), int(VoraConfigOk));
    sqlite3 *reader = nullptr;
    QCOMPARE(sqlite3_open(QFile::encodeName(m_db.fileName()).constData(), &reader), SQLITE_OK);
    QCOMPARE(sqlite3_exec(reader, "BEGIN; SELECT * FROM scan", nullptr, nullptr, nullptr), SQLITE_OK);
    QList<VoraConfigWrite> reports;
    VoraConfigSQLite::setWriteObserver([&](const VoraConfigWrite &w) { reports.append(w); });
    const quint64 unstored = VoraConfigSQLite::unstoredWriteCount();
    const QVariant before = m_db.value("scan", "a").first;
    bool committed = true;
    inTurn([&] {
        config.setConfig("a", 5, &m_scan);
        committed = VoraConfigSQLite::commitPending();
    });
    VoraConfigSQLite::setWriteObserver(nullptr);
    sqlite3_close(reader);
    QVERIFY(!committed);
    QCOMPARE(reports.size(), 2);
    QVERIFY(reports[0].ok && !reports[1].ok);
    QVERIFY2(reports[1].error.startsWith("not committed to " + m_db.fileName()),
             qPrintable(reports[1].error));
    QCOMPARE(VoraConfigSQLite::unstoredWriteCount(), unstored + 1);
    QCOMPARE(m_db.value("scan", "a").first, before);
}

QTEST_GUILESS_MAIN(tst_ConfigBatching)
#include "tst_configbatching.moc"
