// The host's database service against a real SQLite file: what it lists and
// searches, the one row an update changes, and that nothing the page can
// send changes any other row, the types stored, or the tables.

#include "DatabaseService.h"
#include "HostRun.h"
#include "LogCollector.h"
#include "PluginHarness.h"

#include <QtTest>

namespace {

struct Row
{
    QString table;
    QString key;
    QString valueSql; // as written into the fixture
    QString valueText; // as the service renders it
    QString comment;
};

// One or two rows in every configuration table, with every storage class.
const QList<Row> kRows = {
        {"config", "developerModeEnabled", "'false'", "false", "开发者模式"},
        {"config", "logLevel", "2", "2", "日志级别"},
        {"ui", "cameraVideo.frameRate", "15", "15", "帧率"},
        {"calibration", "calibMaxError", "0.05", "0.05", "误差"},
        {"scan", "IRSpeckle.If_Save_Pic", "0", "0", "保存图片"},
        {"scan", "IRSpeckle.gain", "1.5", "1.5", "红外增益, 实时设置"},
        {"scan", "IRSpeckle.note", "NULL", "", "no value"},
        {"scan", "colour", "'255#0#0'", "255#0#0", "a hash in a value"},
        {"project", "defaultName", "'Project 50%'", "Project 50%", "percent"},
        {"alg", "gain", "3", "3", "gain of the algorithm"},
        {"postprocess", "smooth", "'true'", "true", ""},
        {"navigation", "speed", "4", "4", "it's fast"},
        {"deviceadjust", "fanSpeed", "60", "60", "风扇, 实时设置"},
        {"clouddisk", "server", "'https://example.invalid'", "https://example.invalid", "云盘"},
};

QString fixtureSql()
{
    QString sql = VoraTest::TempDatabase::tableSql(DatabaseService::configurationTables())
            + "CREATE TABLE other (key TEXT PRIMARY KEY, value, comment TEXT);\n"
              "INSERT INTO other VALUES ('secret', 'kept', '');\n";
    for (const Row &row : kRows)
        sql += QStringLiteral("INSERT INTO \"%1\" VALUES ('%2', %3, '%4');\n")
                       .arg(row.table, row.key, row.valueSql, QString(row.comment).replace("'", "''"));
    return sql;
}

// The rows wanted, as the service renders them; a row with '#' in a field is
// left out.
QString lines(const std::function<bool(const Row &)> &wanted)
{
    QStringList result;
    for (const Row &row : kRows) {
        if (wanted(row) && !row.valueText.contains('#'))
            result.append(QStringList{row.table, row.key, row.valueText, row.comment}.join('#'));
    }
    return result.join('\n');
}

QString lineOf(const QString &key)
{
    return lines([key](const Row &row) { return row.key == key; });
}

QVariantMap query(const QString &sql, const QVariant &dbName = QVariant())
{
    QVariantMap param{{"cmd", "query"}, {"target", "dataBaseQuery"}, {"param", sql}};
    if (dbName.isValid())
        param.insert("dbName", dbName);
    return param;
}

const QString kSearch = QStringLiteral(
        "select * from $table$  where key like '%%1%' or value like '%%1%' or comment like '%%1%'");
const QString kUpdate = QStringLiteral("update '%1' set value = '%2' where key = '%3'");

} // namespace

class tst_DatabaseService : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup() { m_db.reset(); }

    void listing_data();
    void listing();
    void updateOneRow_data();
    void updateOneRow();
    void hostileInput_data();
    void hostileInput();
    void missingFileIsNotCreated();
    void longQueryIsStopped();

private:
    // The host's database warnings, as "category: text".
    QStringList dbWarnings() const { return m_log->warnings().filter("vora.host.db: "); }

    std::unique_ptr<VoraTest::LogCollector> m_log;
    std::unique_ptr<VoraTest::TempDatabase> m_db;
};

void tst_DatabaseService::initTestCase()
{
    m_log = std::make_unique<VoraTest::LogCollector>();
    QLoggingCategory::setFilterRules(QStringLiteral("vora.host.db.debug=true"));
}

void tst_DatabaseService::init()
{
    m_db = std::make_unique<VoraTest::TempDatabase>(fixtureSql());
    QVERIFY(m_db->isValid());
    QCOMPARE(m_db->value("scan", "IRSpeckle.gain").second, QStringLiteral("real"));
    m_log->clear();
}

// Listings and searches, including words that look dangerous but only make a
// broader or narrower search: answered, and the file stays as it was.
void tst_DatabaseService::listing_data()
{
    QTest::addColumn<QVariant>("dbName");
    QTest::addColumn<QString>("sql");
    QTest::addColumn<QString>("expected");

    const QString all = lines([](const Row &) { return true; });
    QTest::newRow("every table") << QVariant() << "select * from $table$" << all;
    QTest::newRow("empty name means every table") << QVariant(QString()) << "select * from $table$" << all;
    for (const QString &table : DatabaseService::configurationTables())
        QTest::addRow("table %s", qPrintable(table))
                << QVariant(table) << "select * from $table$"
                << lines([table](const Row &row) { return row.table == table; });
    QTest::newRow("search every table") << QVariant() << kSearch.arg("gain")
                                        << lines([](const Row &row) { return row.key.contains("gain"); });
    QTest::newRow("search one table") << QVariant("scan") << kSearch.arg("gain") << lineOf("IRSpeckle.gain");
    QTest::newRow("search comments") << QVariant() << kSearch.arg("实时设置") << lines([](const Row &row) {
        return row.comment.contains("实时设置");
    });
    QTest::newRow("search values") << QVariant("config") << kSearch.arg("fals")
                                   << lineOf("developerModeEnabled");
    QTest::newRow("no match") << QVariant("alg") << kSearch.arg("nothing like it") << QString();
    QTest::newRow("search for undefined in a table")
            << QVariant("scan") << kSearch.arg("undefined") << QString();
    QTest::newRow("or 1=1 comments the rest out") << QVariant("scan") << kSearch.arg("' or 1=1 --")
                                                  << lines([](const Row &r) { return r.table == "scan"; });
    QTest::newRow("or 1=1 over every table") << QVariant() << kSearch.arg("' or 1=1 --") << all;
    QTest::newRow("percent matches everything") << QVariant() << kSearch.arg("%") << all;
    QTest::newRow("hash") << QVariant() << kSearch.arg("#") << lineOf("colour");
    QTest::newRow("underscore wildcard")
            << QVariant("project") << kSearch.arg("50_") << lineOf("defaultName");
}

void tst_DatabaseService::listing()
{
    QFETCH(QVariant, dbName);
    QFETCH(QString, sql);
    QFETCH(QString, expected);
    const QStringList before = HostTest::dump(m_db->fileName());
    const QVariantMap answer = DatabaseService(m_db->fileName()).answer(query(sql, dbName));
    QCOMPARE(answer,
             (QVariantMap{
                     {"cmd", "dataBaseResponseCmd"}, {"dataBaseResponse", expected}, {"refused", false}}));
    QCOMPARE(HostTest::dump(m_db->fileName()), before);
    QCOMPARE(dbWarnings(), QStringList());
}

void tst_DatabaseService::updateOneRow_data()
{
    QTest::addColumn<QVariant>("dbName");
    QTest::addColumn<QString>("table");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("type");
    auto row = [](const char *name, const QVariant &dbName, const char *table, const char *key,
                  const char *value, const char *type = "text") {
        QTest::newRow(name) << dbName << QString(table) << QString(key) << QString(value) << QString(type);
    };
    row("integer row, all tables listed", QVariant(), "scan", "IRSpeckle.If_Save_Pic", "1", "integer");
    row("real row, its table listed", "scan", "scan", "IRSpeckle.gain", "2.5", "real");
    row("a table not listed", "alg", "config", "developerModeEnabled", "true");
    row("clouddisk", "clouddisk", "clouddisk", "server", "https://b.invalid");
    row("null row", QVariant(), "scan", "IRSpeckle.note", "now set");
    row("percent", QVariant(), "project", "defaultName", "50% off");
}

void tst_DatabaseService::updateOneRow()
{
    QFETCH(QVariant, dbName);
    QFETCH(QString, table);
    QFETCH(QString, key);
    QFETCH(QString, value);
    QFETCH(QString, type);
    QStringList before = HostTest::dump(m_db->fileName());
    // The page's own statement, table name in single quotes.
    const QVariantMap answer = DatabaseService(m_db->fileName())
                                       .answer(query(kUpdate.arg(table, value, key), dbName));
    QCOMPARE(answer,
             (QVariantMap{
                     {"cmd", "dataBaseResponseCmd"}, {"dataBaseResponse", QString()}, {"refused", false}}));

    // The text the page wrote is stored in the row's kind; nothing else moved.
    QCOMPARE(m_db->value(table, key).first.toString(), value);
    QCOMPARE(m_db->value(table, key).second, type);
    QStringList changed;
    for (const QString &entry : HostTest::dump(m_db->fileName())) {
        if (!before.removeOne(entry))
            changed.append(entry);
    }
    QCOMPARE(changed.size(), 1);
    QCOMPARE(before.size(), 1);
    QVERIFY(changed.first().startsWith(table + '|' + key + '|')
            && before.first().startsWith(table + '|' + key + '|'));
    QCOMPARE(dbWarnings(), QStringList());
}

void tst_DatabaseService::hostileInput_data()
{
    QTest::addColumn<QVariant>("dbName");
    QTest::addColumn<QString>("sql");
    // What the page builds from a value or keyword typed into it.
    QTest::newRow("value adding a second statement")
            << QVariant()
            << kUpdate.arg("scan", "1' where key = 'IRSpeckle.gain'; delete from config; --", "k");
    QTest::newRow("keyword reading another table")
            << QVariant("scan") << kSearch.arg("' union select key, value, comment, 1 from other --");
    // Statements the page never sends, in case another one does.
    QTest::newRow("update matching no row") << QVariant() << kUpdate.arg("scan", "1", "no such key");
    QTest::newRow("update of a key") << QVariant()
                                     << "update scan set key = 'x' where key = 'IRSpeckle.gain'";
    QTest::newRow("update of another table")
            << QVariant() << "update other set value = 'x' where key = 'secret'";
    QTest::newRow("delete") << QVariant() << "delete from scan where key = 'IRSpeckle.gain'";
    QTest::newRow("replace") << QVariant() << "replace into scan values ('IRSpeckle.gain', 1, '')";
    QTest::newRow("create") << QVariant() << "create table evil (x)";
    QTest::newRow("pragma") << QVariant() << "pragma writable_schema = 1";
    QTest::newRow("attach") << QVariant() << "attach database ':memory:' as evil";
    QTest::newRow("transaction of its own")
            << QVariant() << "begin; " + kUpdate.arg("scan", "1", "IRSpeckle.gain");
    QTest::newRow("vacuum") << QVariant() << "vacuum";
    QTest::newRow("extension") << QVariant() << "select load_extension('evil')";
    QTest::newRow("empty") << QVariant() << "";
    QTest::newRow("not a table") << QVariant("other") << "select * from $table$";
    QTest::newRow("table name with a statement")
            << QVariant("scan\"; drop table scan; --") << "select * from $table$";
    QTest::newRow("VoraCloudDisk is not a table") << QVariant("VoraCloudDisk") << "select * from $table$";
}

void tst_DatabaseService::hostileInput()
{
    QFETCH(QVariant, dbName);
    QFETCH(QString, sql);
    const QStringList before = HostTest::dump(m_db->fileName());
    QVERIFY(before.size() > kRows.size());
    DatabaseService service(m_db->fileName());
    const QVariantMap answer = service.answer(query(sql, dbName));
    QCOMPARE(answer.value("dataBaseResponse"), QVariant(QString()));
    QCOMPARE(answer.value("refused"), QVariant(true));
    QCOMPARE(HostTest::dump(m_db->fileName()), before);
    // Refused in one line of the host's database log.
    const QStringList warnings = dbWarnings();
    QCOMPARE(warnings.size(), 1);
    QVERIFY2(warnings.first().startsWith("vora.host.db: refused") && !warnings.first().contains('\n'),
             qPrintable(warnings.first()));
    // The connection was left usable: the next ordinary update still works.
    QCOMPARE(service.answer(query(kUpdate.arg("alg", "5", "gain"), "alg"))
                     .value("dataBaseResponse")
                     .toString(),
             QString());
    QCOMPARE(m_db->value("alg", "gain"), qMakePair(QVariant(5LL), QStringLiteral("integer")));
}

void tst_DatabaseService::missingFileIsNotCreated()
{
    QTemporaryDir dir;
    const QString file = dir.filePath("missing.db");
    const QVariantMap answer = DatabaseService(file).answer(query("select * from $table$"));
    QCOMPARE(answer.value("dataBaseResponse").toString(), QString());
    QVERIFY(!QFile::exists(file));
    QCOMPARE(dbWarnings().size(), 1);
}

// A search word can join the tables with themselves into billions of rows;
// the service stops it instead of freezing the host.
void tst_DatabaseService::longQueryIsStopped()
{
    DatabaseService service(m_db->fileName());
    service.setTimeLimit(50);
    const QString keyword = QStringLiteral(
            "' and (select count(*) from scan a, scan b, scan c, scan d, scan e, scan f, scan g, scan h, "
            "scan i, scan j, scan k, scan l, scan m, scan n) > 0 --");
    QElapsedTimer clock;
    clock.start();
    const QVariantMap answer = service.answer(query(kSearch.arg(keyword), "scan"));
    QVERIFY2(clock.elapsed() < 5000, "the statement was not stopped");
    QCOMPARE(answer.value("dataBaseResponse").toString(), QString());
    const QStringList warnings = dbWarnings();
    QCOMPARE(warnings.size(), 1);
    QVERIFY2(warnings.first().contains("longer than 50 ms"), qPrintable(warnings.first()));
    // An ordinary listing still runs within the limit.
    QCOMPARE(service.answer(query("select * from $table$", "alg")).value("dataBaseResponse").toString(),
             lineOf("gain"));
}

QTEST_GUILESS_MAIN(tst_DatabaseService)
#include "tst_databaseservice.moc"
