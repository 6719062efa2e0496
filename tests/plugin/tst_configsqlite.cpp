// VoraConfigSQLite against a real SQLite file: what the plug-in writes must
// be what the host reads, with the storage class intact.

#include "LogCollector.h"
#include "PluginHarness.h"

#include <VoraConfigSQLite.h>
#include <VoraConfigStrategy.h>

#include <QColor>
#include <QtTest>

#include <sqlite3.h>

#include <chrono>
#include <thread>

namespace {

class TableStrategy : public VoraConfigStrategy
{
public:
    explicit TableStrategy(const QString &table, const QString &prefix = QString(),
                           const QString &file = QStringLiteral("../Resources/res/config.db"))
        : table(table), prefix(prefix), file(file)
    { }
    int getDBFile(QString &f, QString &password) override
    {
        f = file;
        password = QStringLiteral("secret");
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
    QString table;
    QString prefix;
    QString file;
};

const QString Schema = VoraTest::TempDatabase::tableSql(
        {QStringLiteral("scan"), QStringLiteral("config"), QStringLiteral("vora_ui")});

} // namespace

class tst_ConfigSQLite : public QObject
{
    Q_OBJECT

private slots:
    void roundTrip_data();
    void roundTrip();
    void missingKeyTableAndFile();
    void badTableName_data();
    void badTableName();
    void strategyIsAskedAtEachCall();
    void explicitStrategyWins();
    void relativeFileResolvesAgainstExecutable();
    void twoConnectionsAtOnce();
};

void tst_ConfigSQLite::roundTrip_data()
{
    QTest::addColumn<QVariant>("written");
    QTest::addColumn<QString>("stored"); // "value|SQLite type"
    QTest::addColumn<QVariant>("readBack");
    QTest::newRow("bool true") << QVariant(true) << "true|text" << QVariant("true");
    QTest::newRow("bool false") << QVariant(false) << "false|text" << QVariant("false");
    QTest::newRow("int 1") << QVariant(1) << "1|integer" << QVariant(1);
    QTest::newRow("negative int") << QVariant(-37) << "-37|integer" << QVariant(-37);
    QTest::newRow("qlonglong beyond int")
            << QVariant(qlonglong(1) << 40) << "1099511627776|integer" << QVariant(qlonglong(1) << 40);
    QTest::newRow("uint") << QVariant(7u) << "7|integer" << QVariant(7);
    QTest::newRow("double") << QVariant(0.25) << "0.25|real" << QVariant(0.25);
    QTest::newRow("float") << QVariant(1.5f) << "1.5|real" << QVariant(1.5);
    QTest::newRow("text") << QVariant("255,128,0") << "255,128,0|text" << QVariant("255,128,0");
    QTest::newRow("chinese text") << QVariant("实时设置") << "实时设置|text" << QVariant("实时设置");
    QTest::newRow("quote in text") << QVariant("a'b\"c") << "a'b\"c|text" << QVariant("a'b\"c");
    QTest::newRow("empty text") << QVariant(QString()) << "|text" << QVariant("");
    QTest::newRow("invalid is null") << QVariant() << "|null" << QVariant("dflt");
    QTest::newRow("colour as its name")
            << QVariant(QColor(255, 0, 0)) << "#ff0000|text" << QVariant("#ff0000");
}

void tst_ConfigSQLite::roundTrip()
{
    QFETCH(QVariant, written);
    QFETCH(QString, stored);
    QFETCH(QVariant, readBack);
    VoraTest::TempDatabase database(Schema + "INSERT INTO scan VALUES ('k', 0, '保存图片 实时设置');");
    QVERIFY2(database.isValid(), qPrintable(database.errorString()));
    TableStrategy strategy(QStringLiteral("scan"));
    VoraConfigSQLite db;
    QCOMPARE(db.open(&strategy), int(VoraConfigOk));
    const QStringList before = database.dump();
    QCOMPARE(db.setConfig(QStringLiteral("k"), written, &strategy), int(VoraConfigOk));
    // The value changed in place; its comment and every other row stayed.
    QStringList expected = before;
    VoraTest::setRow(expected, "scan|k", stored);
    QCOMPARE(database.dump(), expected);
    QVERIFY(expected.contains("scan|k|" + stored + "|保存图片 实时设置"));
    const QVariant read = db.getConfig(QStringLiteral("k"), QVariant(QStringLiteral("dflt")), &strategy);
    QCOMPARE(read.userType(), readBack.userType());
    QCOMPARE(read, readBack);
}

void tst_ConfigSQLite::missingKeyTableAndFile()
{
    VoraTest::TempDatabase database(Schema);
    QVERIFY2(database.isValid(), qPrintable(database.errorString()));

    TableStrategy scan(QStringLiteral("scan"));
    TableStrategy missingTable(QStringLiteral("nosuchtable"));
    VoraConfigSQLite db;
    QCOMPARE(db.open(&scan), int(VoraConfigOk));
    QCOMPARE(db.getConfig(QStringLiteral("absent"), QVariant(true), &scan), QVariant(true));
    QCOMPARE(db.getConfig(QStringLiteral("absent"), QVariant(), &scan), QVariant());
    QCOMPARE(db.getConfig(QStringLiteral("k"), QVariant(42), &missingTable), QVariant(42));
    {
        VoraTest::LogCollector warnings;
        QCOMPARE(db.setConfig(QStringLiteral("k"), 1, &missingTable), int(VoraConfigNoSuchTable));
        QCOMPARE(warnings.warnings().size(), 1);
        QVERIFY(warnings.warnings().first().startsWith(QLatin1String("vora.host.db: ")));
    }

    // A missing file is not created; reads give defaults and writes are
    // dropped with a warning.
    const QString missingFile = QFileInfo(database.fileName()).dir().filePath(QStringLiteral("missing.db"));
    VoraConfigSQLite::setDatabaseFileOverride(missingFile);
    VoraConfigSQLite noFile;
    {
        VoraTest::LogCollector warnings;
        QCOMPARE(noFile.open(&scan), int(VoraConfigNotOpen));
        QCOMPARE(noFile.getConfig(QStringLiteral("k"), QVariant(QStringLiteral("d")), &scan),
                 QVariant(QStringLiteral("d")));
        QCOMPARE(noFile.setConfig(QStringLiteral("k"), 1, &scan), int(VoraConfigNotOpen));
        QCOMPARE(warnings.warnings().size(), 2);
        QVERIFY(warnings.warnings().at(0).contains(missingFile));
    }
    QVERIFY(!QFile::exists(missingFile));
}

void tst_ConfigSQLite::badTableName_data()
{
    QTest::addColumn<QString>("prefix");
    QTest::addColumn<QString>("table");
    QTest::newRow("injection") << QString() << QStringLiteral("scan; DROP TABLE config");
    QTest::newRow("quote") << QString() << QStringLiteral("scan\"");
    QTest::newRow("space") << QString() << QStringLiteral("sc an");
    QTest::newRow("empty") << QString() << QString();
    QTest::newRow("leading digit") << QString() << QStringLiteral("1scan");
    QTest::newRow("bad prefix") << QStringLiteral("x.") << QStringLiteral("scan");
}

void tst_ConfigSQLite::badTableName()
{
    QFETCH(QString, prefix);
    QFETCH(QString, table);
    VoraTest::TempDatabase database(Schema + QStringLiteral("INSERT INTO config VALUES ('a', 1, '');"));
    QVERIFY2(database.isValid(), qPrintable(database.errorString()));

    TableStrategy bad(table, prefix);
    VoraConfigSQLite db;
    QCOMPARE(db.open(&bad), int(VoraConfigOk));
    VoraTest::LogCollector warnings;
    QCOMPARE(db.getConfig(QStringLiteral("a"), QVariant(5), &bad), QVariant(5));
    QCOMPARE(db.setConfig(QStringLiteral("a"), 2, &bad), int(VoraConfigBadTable));
    QCOMPARE(warnings.warnings().size(), 2);
    QVERIFY(warnings.warnings().at(1).contains(QLatin1String("refused table name")));
    // Nothing of it reached SQL.
    QCOMPARE(database.value("config", "a"), QString("1|integer"));
}

void tst_ConfigSQLite::strategyIsAskedAtEachCall()
{
    VoraTest::TempDatabase database(Schema);
    QVERIFY2(database.isValid(), qPrintable(database.errorString()));
    auto strategy = QSharedPointer<TableStrategy>::create(QStringLiteral("ui"), QStringLiteral("vora_"));
    VoraConfigSQLite db;
    db.open(strategy.data());
    db.setConfigStrategy(strategy);
    QCOMPARE(db.setConfig(QStringLiteral("k"), true), int(VoraConfigOk));
    strategy->prefix.clear();
    strategy->table = QStringLiteral("scan");
    QCOMPARE(db.setConfig(QStringLiteral("k"), 3), int(VoraConfigOk));

    QCOMPARE(database.value("vora_ui", "k"), QString("true|text"));
    QCOMPARE(database.value("scan", "k"), QString("3|integer"));
    QCOMPARE(db.getConfig(QStringLiteral("k")), QVariant(3));
    strategy->table = QStringLiteral("ui");
    strategy->prefix = QStringLiteral("vora_");
    QCOMPARE(db.getConfig(QStringLiteral("k")), QVariant(QStringLiteral("true")));
}

void tst_ConfigSQLite::explicitStrategyWins()
{
    VoraTest::TempDatabase database(Schema);
    QVERIFY2(database.isValid(), qPrintable(database.errorString()));
    auto fallback = QSharedPointer<TableStrategy>::create(QStringLiteral("scan"));
    TableStrategy config(QStringLiteral("config"));
    VoraConfigSQLite db;
    db.open(fallback.data());
    db.setConfigStrategy(fallback);
    db.setConfig(QStringLiteral("k"), 9, &config);
    QCOMPARE(database.value("config", "k"), QString("9|integer"));
    QCOMPARE(database.value("scan", "k"), QString());

    // Without any strategy nothing is read or written.
    VoraConfigSQLite bare;
    bare.open(&config);
    VoraTest::LogCollector warnings;
    QCOMPARE(bare.setConfig(QStringLiteral("k"), 1), int(VoraConfigNoStrategy));
    QCOMPARE(bare.getConfig(QStringLiteral("k"), QVariant(8)), QVariant(8));
}

void tst_ConfigSQLite::relativeFileResolvesAgainstExecutable()
{
    const QString expected = QDir::cleanPath(QCoreApplication::applicationDirPath()
                                             + QStringLiteral("/../Resources/res/config.db"));
    QCOMPARE(VoraConfigSQLite::resolveDatabaseFile(QStringLiteral("../Resources/res/config.db")), expected);
    QCOMPARE(VoraConfigSQLite::resolveDatabaseFile(QStringLiteral("/tmp/x/../y.db")),
             QStringLiteral("/tmp/y.db"));

    // Without an override, open() really uses that file.
    QVERIFY(QDir().mkpath(QFileInfo(expected).path()));
    {
        VoraTest::TempDatabase scratch(Schema); // only to build the file
        QVERIFY(scratch.isValid());
        QFile::remove(expected);
        QVERIFY(QFile::copy(scratch.fileName(), expected));
    }
    VoraConfigSQLite::setDatabaseFileOverride(QString());
    TableStrategy strategy(QStringLiteral("scan"));
    VoraConfigSQLite db;
    QCOMPARE(db.open(&strategy), int(VoraConfigOk));
    QCOMPARE(db.fileName(), expected);
    db.close();
    QVERIFY(QDir(QFileInfo(expected).path() + QStringLiteral("/..")).removeRecursively());
}

void tst_ConfigSQLite::twoConnectionsAtOnce()
{
    VoraTest::TempDatabase database(Schema);
    QVERIFY2(database.isValid(), qPrintable(database.errorString()));
    TableStrategy strategy(QStringLiteral("scan"));
    VoraConfigSQLite first;
    VoraConfigSQLite second;
    QCOMPARE(first.open(&strategy), int(VoraConfigOk));
    QCOMPARE(second.open(&strategy), int(VoraConfigOk));

    // Interleaved reads and writes through both, the way the plug-in's
    // query object and its developer mode share one file.
    for (int i = 0; i < 50; ++i) {
        QCOMPARE(first.setConfig(QStringLiteral("a"), i, &strategy), int(VoraConfigOk));
        QCOMPARE(second.getConfig(QStringLiteral("a"), QVariant(), &strategy), QVariant(i));
        QCOMPARE(second.setConfig(QStringLiteral("b"), i * 2, &strategy), int(VoraConfigOk));
        QCOMPARE(first.getConfig(QStringLiteral("b"), QVariant(), &strategy), QVariant(i * 2));
    }

    // A writer in another connection that holds the lock for a moment makes
    // this one wait, not fail.
    sqlite3 *raw = nullptr;
    QCOMPARE(sqlite3_open(QFile::encodeName(database.fileName()).constData(), &raw), SQLITE_OK);
    QCOMPARE(sqlite3_exec(raw, "BEGIN IMMEDIATE; UPDATE scan SET value = 100 WHERE key = 'a';", nullptr,
                          nullptr, nullptr),
             SQLITE_OK);
    std::thread committer([raw] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        sqlite3_exec(raw, "COMMIT", nullptr, nullptr, nullptr);
    });
    QCOMPARE(first.setConfig(QStringLiteral("c"), 1, &strategy), int(VoraConfigOk));
    committer.join();
    sqlite3_close(raw);
    QCOMPARE(second.getConfig(QStringLiteral("a"), QVariant(), &strategy), QVariant(100));
    QCOMPARE(second.getConfig(QStringLiteral("c"), QVariant(), &strategy), QVariant(1));
}

QTEST_GUILESS_MAIN(tst_ConfigSQLite)
#include "tst_configsqlite.moc"
