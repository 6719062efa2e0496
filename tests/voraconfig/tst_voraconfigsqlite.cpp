// VoraConfigSQLite against a real SQLite file: what the plug-in writes is what
// the host reads, with the storage class intact; the table of each call comes
// from the strategy at that moment; what cannot be done is refused with a
// warning and leaves the file as it was.

#include "LogCollector.h"
#include "PluginHarness.h"

#include <VoraBox.h>
#include <VoraConfigStrategy.h>

#include <QColor>
#include <QtTest>

#include <sqlite3.h>

namespace {

class TableStrategy : public VoraConfigStrategy
{
public:
    explicit TableStrategy(const QString &table, const QString &prefix = QString())
        : table(table), prefix(prefix)
    { }
    int getDBFile(QString &file, QString &password) override
    {
        file = QStringLiteral("../Resources/res/config.db");
        password.clear();
        return VoraConfigOk;
    }
    int getDBTableName(QString &name) override
    {
        name = table;
        return VoraConfigOk;
    }
    int getDBTablePrefix(QString &p) override
    {
        p = prefix;
        return VoraConfigOk;
    }
    QString table, prefix;
};

const QString Schema = VoraTest::TempDatabase::tableSql({"scan", "config", "vora_ui"})
        + "INSERT INTO scan VALUES ('k', 0, '保存图片 实时设置');";

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

class tst_ConfigSQLite : public QObject
{
    Q_OBJECT

private slots:
    void roundTrip_data()
    {
        QTest::addColumn<QVariant>("written");
        QTest::addColumn<QString>("stored"); // "value|SQLite type"
        QTest::addColumn<QVariant>("readBack");
        QTest::newRow("bool true") << QVariant(true) << "true|text" << QVariant("true");
        QTest::newRow("bool false") << QVariant(false) << "false|text" << QVariant("false");
        QTest::newRow("int 1") << QVariant(1) << "1|integer" << QVariant(1);
        QTest::newRow("negative int") << QVariant(-37) << "-37|integer" << QVariant(-37);
        QTest::newRow("int min") << QVariant(INT_MIN) << "-2147483648|integer" << QVariant(INT_MIN);
        QTest::newRow("beyond int") << QVariant(qlonglong(1) << 40) << "1099511627776|integer"
                                    << QVariant(qlonglong(1) << 40);
        QTest::newRow("uint") << QVariant(7u) << "7|integer" << QVariant(7);
        QTest::newRow("double") << QVariant(0.25) << "0.25|real" << QVariant(0.25);
        QTest::newRow("float") << QVariant(1.5f) << "1.5|real" << QVariant(1.5);
        QTest::newRow("text") << QVariant("255,128,0") << "255,128,0|text" << QVariant("255,128,0");
        QTest::newRow("chinese text") << QVariant("实时设置") << "实时设置|text" << QVariant("实时设置");
        QTest::newRow("quotes") << QVariant("a'b\"c") << "a'b\"c|text" << QVariant("a'b\"c");
        QTest::newRow("empty text") << QVariant(QString()) << "|text" << QVariant("");
        QTest::newRow("invalid is null") << QVariant() << "|null" << QVariant("dflt");
        QTest::newRow("colour as its name")
                << QVariant(QColor(255, 0, 0)) << "#ff0000|text" << QVariant("#ff0000");
    }
    void roundTrip()
    {
        QFETCH(QVariant, written);
        QFETCH(QString, stored);
        QFETCH(QVariant, readBack);
        VoraTest::TempDatabase database(Schema);
        QVERIFY2(database.isValid(), qPrintable(database.errorString()));
        TableStrategy strategy("scan");
        VoraConfigSQLite db;
        QCOMPARE(db.open(&strategy), int(VoraConfigOk));
        QStringList expected = database.dump();
        QCOMPARE(db.setConfig("k", written, &strategy), int(VoraConfigOk));
        // The value changed in place; its comment and every other row stayed.
        VoraTest::setRow(expected, "scan|k", stored);
        QVERIFY(expected.contains("scan|k|" + stored + "|保存图片 实时设置"));
        QTRY_COMPARE(database.dump(), expected);
        const QVariant read = db.getConfig("k", QVariant("dflt"), &strategy);
        QCOMPARE(read.userType(), readBack.userType());
        QCOMPARE(read, readBack);
    }
    void refused_data()
    {
        QTest::addColumn<QString>("table");
        QTest::addColumn<QString>("prefix");
        QTest::addColumn<bool>("fileExists");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("warning");
        QTest::newRow("missing table") << "nosuchtable"
                                       << "" << true << int(VoraConfigNoSuchTable) << "nosuchtable";
        QTest::newRow("missing file") << "scan"
                                      << "" << false << int(VoraConfigNotOpen) << "missing.db";
        QTest::newRow("no strategy") << "-"
                                     << "" << true << int(VoraConfigNoStrategy)
                                     << "no configuration strategy";
        const char *badNames[] = {"scan; DROP TABLE config", "scan\"", "sc an", "", "1scan"};
        for (const char *name : badNames)
            QTest::addRow("table %s", name)
                    << name << "" << true << int(VoraConfigBadTable) << "refused table name";
        QTest::newRow("bad prefix") << "scan"
                                    << "x." << true << int(VoraConfigBadTable) << "refused table name";
    }
    // Reads give the default, writes are refused, with a warning on
    // vora.host.db naming what was wrong; a missing file is not created.
    void refused()
    {
        QFETCH(QString, table);
        QFETCH(QString, prefix);
        QFETCH(bool, fileExists);
        QFETCH(int, status);
        QFETCH(QString, warning);
        VoraTest::TempDatabase database(Schema);
        QVERIFY2(database.isValid(), qPrintable(database.errorString()));
        const QStringList before = database.dump();
        const QString missing = QFileInfo(database.fileName()).dir().filePath("missing.db");
        if (!fileExists)
            VoraConfigSQLite::setDatabaseFileOverride(missing);
        TableStrategy strategy(table, prefix);
        VoraTest::LogCollector log;
        VoraConfigSQLite db;
        db.open(&strategy);
        VoraConfigStrategy *used = table == "-" ? nullptr : &strategy;
        QCOMPARE(db.getConfig("k", QVariant(5), used), QVariant(5));
        QCOMPARE(db.setConfig("k", 2, used), status);
        const QStringList warnings = log.lines("warning vora.host.db");
        QVERIFY2(!warnings.filter(warning).isEmpty(), qPrintable(warnings.join(QLatin1Char(10))));
        QCOMPARE(database.dump(), before);
        QVERIFY(!QFile::exists(missing));
    }
    // The table of a call is the strategy passed, else the one set, asked at the
    // moment of the call: one strategy whose table changes serves several.
    void tableOfEachCall()
    {
        VoraTest::TempDatabase database(Schema);
        QVERIFY2(database.isValid(), qPrintable(database.errorString()));
        auto strategy = QSharedPointer<TableStrategy>::create("ui", "vora_");
        VoraConfigSQLite db;
        db.open(strategy.data());
        db.setConfigStrategy(strategy);
        QCOMPARE(db.setConfig("k", true), int(VoraConfigOk));
        strategy->prefix.clear();
        strategy->table = "scan";
        QCOMPARE(db.setConfig("k", 3), int(VoraConfigOk));
        TableStrategy config("config");
        QCOMPARE(db.setConfig("k", 9, &config), int(VoraConfigOk));
        QTRY_COMPARE(database.stored("vora_ui", "k"), QString("true|text"));
        QCOMPARE(database.stored("scan", "k"), QString("3|integer"));
        QCOMPARE(database.stored("config", "k"), QString("9|integer"));
        QCOMPARE(db.getConfig("k"), QVariant(3));
        strategy->table = "ui";
        strategy->prefix = "vora_";
        QCOMPARE(db.getConfig("k"), QVariant("true"));
    }
    void twoConnectionsAtOnce()
    {
        VoraTest::TempDatabase database(Schema);
        QVERIFY2(database.isValid(), qPrintable(database.errorString()));
        TableStrategy strategy("scan");
        // The connections made from here on wait for a lock through this file
        // system: SQLite sleeps between its tries, and once a waiter has asked
        // for half its time limit of sleep, the lock holder commits.
        static sqlite3_vfs plain = *sqlite3_vfs_find(nullptr), vfs = plain;
        static sqlite3 *holder = nullptr;
        static int slept = 0;
        vfs.zName = "commitOnWait";
        vfs.xSleep = [](sqlite3_vfs *self, int us) {
            if (holder && (slept += us) >= VoraConfigSQLite::LockTimeoutMs * 500)
                sqlite3_exec(std::exchange(holder, nullptr), "COMMIT", nullptr, nullptr, nullptr);
            return plain.xSleep(self, us);
        };
        QCOMPARE(sqlite3_vfs_register(&vfs, 1), SQLITE_OK);
        const auto unregister = qScopeGuard([] { sqlite3_vfs_unregister(&vfs); });
        VoraConfigSQLite first;
        VoraConfigSQLite second;
        QCOMPARE(first.open(&strategy), int(VoraConfigOk));
        QCOMPARE(second.open(&strategy), int(VoraConfigOk));
        // Interleaved reads and writes through both, the way the plug-in's
        // query object and its developer mode share one file.
        for (int i = 0; i < 50; ++i) {
            QCOMPARE(first.setConfig("a", i, &strategy), int(VoraConfigOk));
            QCOMPARE(second.getConfig("a", QVariant(), &strategy), QVariant(i));
        }
        // A read holds no lock once it has returned: another connection gets the
        // file for itself at once.
        QVERIFY(VoraTest::query(database.fileName(), "BEGIN EXCLUSIVE; COMMIT; SELECT 1", true)
                == QStringList{"1"});
        // A writer in another connection that holds the lock for a second makes
        // this one wait, not fail.
        sqlite3 *raw = nullptr;
        QCOMPARE(sqlite3_open(QFile::encodeName(database.fileName()).constData(), &raw), SQLITE_OK);
        QCOMPARE(sqlite3_exec(raw, "BEGIN IMMEDIATE; UPDATE scan SET value = 100 WHERE key = 'a';", {}, {},
                              {}),
                 SQLITE_OK);
        holder = raw;
        QCOMPARE(first.setConfig("c", 1, &strategy), int(VoraConfigOk));
        sqlite3_close(raw);
        QCOMPARE(second.getConfig("a", QVariant(), &strategy), QVariant(100));
        QCOMPARE(second.getConfig("c", QVariant(), &strategy), QVariant(1));
    }
    // Inside a running event loop: the writes of one turn are stored together,
    // and writes that a failed commit lost are reported again.
    void writesOfATurnAreStoredTogether()
    {
        VoraTest::TempDatabase db(Schema);
        TableStrategy scan("scan");
        VoraConfigSQLite config;
        QCOMPARE(config.open(&scan), int(VoraConfigOk));
        QStringList seen; // a and b, as another connection sees them
        const auto look = [&] { seen << db.stored("scan", "k") + ' ' + db.stored("scan", "b"); };
        CommonLib::VoraBox box;
        inTurn([&] {
            config.setConfig("k", 2, &scan);
            config.setConfig("b", 3, &scan);
            look();
            box.publish(nullptr, {}, {}, {}, {}, false, nullptr); // the bus carries a message
            look();
            config.setConfig("k", 4, &scan);
            look();
        });
        QCOMPARE(seen, (QStringList{"0|integer ", "2|integer 3|integer", "2|integer 3|integer"}));
        QTRY_COMPARE(db.stored("scan", "k"), QString("4|integer")); // the end of the turn
    }
    void pendingWritesGoFirst_data()
    {
        QTest::addColumn<QString>("action");
        QTest::addColumn<int>("result");
        QTest::newRow("another object reads") << "read" << 2;
        QTest::newRow("another object writes") << "write" << int(VoraConfigOk);
        QTest::newRow("the writer closes") << "close" << int(VoraConfigOk);
        QTest::newRow("the writer opens again") << "open" << int(VoraConfigOk);
    }
    // A write pending in one object reaches the file before another object reads
    // or writes (which would otherwise read around it, or wait for its lock), and
    // when its own object is closed or opened again.
    void pendingWritesGoFirst()
    {
        QFETCH(QString, action);
        QFETCH(int, result);
        VoraTest::TempDatabase db(Schema);
        TableStrategy scan("scan");
        VoraConfigSQLite writer, other;
        QCOMPARE(writer.open(&scan) + other.open(&scan), 2 * int(VoraConfigOk));
        QString before, after; // k as another connection sees it
        int got = 0;
        inTurn([&] {
            writer.setConfig("k", 2, &scan);
            before = db.stored("scan", "k");
            got = action == "read"      ? other.getConfig("k", QVariant(), &scan).toInt()
                    : action == "write" ? other.setConfig("b", 3, &scan)
                    : action == "close" ? writer.close()
                                        : writer.open(&scan);
            after = db.stored("scan", "k");
        });
        QCOMPARE(before, QString("0|integer"));
        QCOMPARE(got, result);
        QCOMPARE(after, QString("2|integer"));
    }
    // Without write-ahead logging a reader keeps the commit from happening.
    void failedCommitReportsWritesAgain()
    {
        VoraTest::TempDatabase db(Schema);
        TableStrategy scan("scan");
        VoraConfigSQLite config;
        QCOMPARE(config.open(&scan), int(VoraConfigOk));
        sqlite3 *reader = nullptr;
        QCOMPARE(sqlite3_open(QFile::encodeName(db.fileName()).constData(), &reader), SQLITE_OK);
        QCOMPARE(sqlite3_exec(reader, "BEGIN; SELECT * FROM scan", nullptr, nullptr, nullptr), SQLITE_OK);
        QList<VoraConfigWrite> reports;
        VoraConfigSQLite::setWriteObserver([&](const VoraConfigWrite &w) { reports.append(w); });
        const quint64 unstored = VoraConfigSQLite::unstoredWriteCount();
        const QString before = db.stored("scan", "k");
        bool committed = true;
        inTurn([&] {
            config.setConfig("k", 5, &scan);
            committed = VoraConfigSQLite::commitPending();
        });
        VoraConfigSQLite::setWriteObserver(nullptr);
        sqlite3_close(reader);
        QVERIFY(!committed);
        QCOMPARE(reports.size(), 2);
        QVERIFY(reports[0].ok && !reports[1].ok);
        QVERIFY2(reports[1].error.startsWith("not committed to " + db.fileName()),
                 qPrintable(reports[1].error));
        QCOMPARE(VoraConfigSQLite::unstoredWriteCount(), unstored + 1);
        QCOMPARE(db.stored("scan", "k"), before);
    }
};

QTEST_GUILESS_MAIN(tst_ConfigSQLite)
#include "tst_voraconfigsqlite.moc"
