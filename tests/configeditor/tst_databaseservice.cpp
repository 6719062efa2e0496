// The host's database service against a real SQLite file: what it lists and
// searches, the one row an update changes, and that nothing the page can
// send changes any other row, the types stored, or the tables.

#include "DatabaseService.h"
#include "LogCollector.h"
#include "PluginHarness.h"

#include <QtTest>

#include <sqlite3.h>

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
const QList<Row> &fixtureRows()
{
    static const QList<Row> rows = {
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
    return rows;
}

QString fixtureSql()
{
    QString sql = VoraTest::TempDatabase::tableSql(DatabaseService::configurationTables());
    sql += QStringLiteral("CREATE TABLE other (key TEXT PRIMARY KEY, value, comment TEXT);\n"
                          "INSERT INTO other VALUES ('secret', 'kept', '');\n");
    for (const Row &row : fixtureRows())
        sql += QStringLiteral("INSERT INTO \"%1\" VALUES ('%2', %3, '%4');\n")
                       .arg(row.table, row.key, row.valueSql, QString(row.comment).replace("'", "''"));
    return sql;
}

QString line(const Row &row)
{
    return QStringList{row.table, row.key, row.valueText, row.comment}.join('#');
}

QString lines(const std::function<bool(const Row &)> &wanted)
{
    QStringList result;
    for (const Row &row : fixtureRows()) {
        if (wanted(row))
            result.append(line(row));
    }
    return result.join('\n');
}

// Every row of every table in the file, with its stored type, plus the
// schema: anything a statement could have changed.
QStringList dump(const QString &file)
{
    QStringList result;
    sqlite3 *db = nullptr;
    sqlite3_open_v2(QFile::encodeName(file).constData(), &db, SQLITE_OPEN_READONLY, nullptr);
    auto query = [&](const QString &sql) {
        sqlite3_stmt *stmt = nullptr;
        sqlite3_prepare_v2(db, sql.toUtf8().constData(), -1, &stmt, nullptr);
        QStringList out;
        while (stmt && sqlite3_step(stmt) == SQLITE_ROW) {
            QStringList fields;
            for (int i = 0; i < sqlite3_column_count(stmt); ++i)
                fields.append(
                        QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(stmt, i))));
            out.append(fields.join('|'));
        }
        sqlite3_finalize(stmt);
        return out;
    };
    const QStringList schema = query("select type, name, sql from sqlite_master order by name");
    result += schema;
    for (const QString &entry : schema) {
        const QString name = entry.section('|', 1, 1);
        if (entry.startsWith("table|"))
            result += query(
                    QStringLiteral("select '%1', key, quote(value), typeof(value), comment from \"%1\" "
                                   "order by key")
                            .arg(name));
    }
    sqlite3_close(db);
    return result;
}

QStringList dbWarnings(const VoraTest::LogCollector &log)
{
    QStringList result;
    const QList<VoraTest::LogLine> lines = log.all();
    for (const VoraTest::LogLine &entry : lines) {
        if (entry.category == QLatin1String("vora.host.db") && entry.type == QtWarningMsg)
            result.append(entry.text);
    }
    return result;
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

} // namespace

class tst_DatabaseService : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void listing_data();
    void listing();
    void updateOneRow_data();
    void updateOneRow();
    void hostileInput_data();
    void hostileInput();
    void harmlessReadsOfHostileWords_data();
    void harmlessReadsOfHostileWords();
    void missingFileIsNotCreated();
    void longQueryIsStopped();
    void emptyTableNameMeansEveryTable();

private:
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
    QVERIFY2(m_db->isValid(), qPrintable(m_db->errorString()));
    QCOMPARE(m_db->value("scan", "IRSpeckle.gain").second, QStringLiteral("real"));
    m_log->clear();
}

void tst_DatabaseService::cleanup()
{
    m_db.reset();
}

void tst_DatabaseService::listing_data()
{
    QTest::addColumn<QVariant>("dbName");
    QTest::addColumn<QString>("sql");
    QTest::addColumn<QString>("expected");

    const auto all = [](const Row &) { return true; };
    QTest::newRow("every table") << QVariant() << "select * from $table$" << lines(all);
    for (const QString &table : DatabaseService::configurationTables())
        QTest::addRow("table %s", qPrintable(table))
                << QVariant(table) << "select * from $table$"
                << lines([table](const Row &row) { return row.table == table; });
    QTest::newRow("search every table") << QVariant() << kSearch.arg("gain")
                                        << lines([](const Row &row) { return row.key.contains("gain"); });
    QTest::newRow("search one table") << QVariant("scan") << kSearch.arg("gain") << line(fixtureRows().at(5));
    QTest::newRow("search comments") << QVariant() << kSearch.arg("实时设置") << lines([](const Row &row) {
        return row.comment.contains("实时设置");
    });
    QTest::newRow("search values") << QVariant("config") << kSearch.arg("fals") << line(fixtureRows().at(0));
    QTest::newRow("no match") << QVariant("alg") << kSearch.arg("nothing like it") << QString();
    QTest::newRow("search for undefined in a table")
            << QVariant("scan") << kSearch.arg("undefined") << QString();
}

void tst_DatabaseService::listing()
{
    QFETCH(QVariant, dbName);
    QFETCH(QString, sql);
    QFETCH(QString, expected);

    DatabaseService service(m_db->fileName());
    const QStringList before = dump(m_db->fileName());
    const QVariantMap answer = service.answer(query(sql, dbName));
    QCOMPARE(answer.value("cmd").toString(), QStringLiteral("dataBaseResponseCmd"));
    QCOMPARE(answer.value("dataBaseResponse").toString(), expected);
    QCOMPARE(dump(m_db->fileName()), before);
    QCOMPARE(dbWarnings(*m_log), QStringList());
}

void tst_DatabaseService::updateOneRow_data()
{
    QTest::addColumn<QVariant>("dbName");
    QTest::addColumn<QString>("table");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("value");

    QTest::newRow("integer row, all tables listed") << QVariant() << "scan"
                                                    << "IRSpeckle.If_Save_Pic"
                                                    << "1";
    QTest::newRow("real row, its table listed") << QVariant("scan") << "scan"
                                                << "IRSpeckle.gain"
                                                << "2.5";
    QTest::newRow("a table not listed") << QVariant("alg") << "config"
                                        << "developerModeEnabled"
                                        << "true";
    QTest::newRow("clouddisk") << QVariant("clouddisk") << "clouddisk"
                               << "server"
                               << "https://b.invalid";
    QTest::newRow("null row") << QVariant() << "scan"
                              << "IRSpeckle.note"
                              << "now set";
    QTest::newRow("percent and hash") << QVariant() << "project"
                                      << "defaultName"
                                      << "50% #1";
}

void tst_DatabaseService::updateOneRow()
{
    QFETCH(QVariant, dbName);
    QFETCH(QString, table);
    QFETCH(QString, key);
    QFETCH(QString, value);

    QStringList expected = dump(m_db->fileName());
    DatabaseService service(m_db->fileName());
    // The page's own statement, table name in single quotes.
    const QString sql = QStringLiteral("update '%1' set value = '%2' where key = '%3'")
                                .arg(table, value, key);
    const QVariantMap answer = service.answer(query(sql, dbName));
    QCOMPARE(answer.value("cmd").toString(), QStringLiteral("dataBaseResponseCmd"));
    QVERIFY(answer.contains("dataBaseResponse"));
    QCOMPARE(answer.value("dataBaseResponse").toString(), QString());

    // The text the page wrote is stored as text; nothing else moved.
    QCOMPARE(m_db->value(table, key), qMakePair(QVariant(value), QStringLiteral("text")));
    const QStringList after = dump(m_db->fileName());
    QStringList changed;
    for (const QString &entry : after) {
        if (!expected.removeOne(entry))
            changed.append(entry);
    }
    QCOMPARE(changed.size(), 1);
    QVERIFY(changed.first().startsWith(table + '|' + key + '|'));
    QCOMPARE(expected.size(), 1);
    QVERIFY(expected.first().startsWith(table + '|' + key + '|'));
    QCOMPARE(dbWarnings(*m_log), QStringList());
}

void tst_DatabaseService::hostileInput_data()
{
    QTest::addColumn<QVariant>("dbName");
    QTest::addColumn<QString>("sql");

    const QString update = QStringLiteral("update '%1' set value = '%2' where key = '%3'");
    // What the page builds from a value or keyword typed into it.
    QTest::newRow("value ending the statement early")
            << QVariant() << update.arg("scan", "x' where 1=1 --", "IRSpeckle.gain");
    QTest::newRow("value with a quote") << QVariant("scan") << update.arg("scan", "it's", "IRSpeckle.gain");
    QTest::newRow("value with a second statement")
            << QVariant("scan") << update.arg("scan", "1'; drop table scan; --", "IRSpeckle.gain");
    QTest::newRow("value deleting rows")
            << QVariant()
            << update.arg("scan", "1' where key = 'IRSpeckle.gain'; delete from config; --", "k");
    QTest::newRow("keyword with a second statement")
            << QVariant("scan") << kSearch.arg("'; drop table scan; --");
    QTest::newRow("keyword with a quote") << QVariant() << kSearch.arg("it's");
    QTest::newRow("keyword reading another table")
            << QVariant("scan") << kSearch.arg("' union select key, value, comment, 1 from other --");
    QTest::newRow("keyword reading the schema")
            << QVariant() << kSearch.arg("' union select name, sql, 1, 1 from sqlite_master --");
    // Statements the page never sends, in case another one does.
    QTest::newRow("update without where") << QVariant() << "update 'scan' set value = '1'";
    QTest::newRow("update matching no row") << QVariant() << update.arg("scan", "1", "no such key");
    QTest::newRow("update of a key") << QVariant()
                                     << "update scan set key = 'x' where key = 'IRSpeckle.gain'";
    QTest::newRow("update of another table")
            << QVariant() << "update other set value = 'x' where key = 'secret'";
    QTest::newRow("two updates") << QVariant()
                                 << update.arg("scan", "1", "IRSpeckle.gain") + "; "
                    + update.arg("alg", "1", "gain");
    QTest::newRow("drop") << QVariant() << "drop table scan";
    QTest::newRow("delete") << QVariant() << "delete from scan where key = 'IRSpeckle.gain'";
    QTest::newRow("insert") << QVariant() << "insert into scan values ('new', 1, '')";
    QTest::newRow("replace") << QVariant() << "replace into scan values ('IRSpeckle.gain', 1, '')";
    QTest::newRow("create") << QVariant() << "create table evil (x)";
    QTest::newRow("pragma") << QVariant() << "pragma writable_schema = 1";
    QTest::newRow("attach") << QVariant() << "attach database ':memory:' as evil";
    QTest::newRow("transaction of its own")
            << QVariant() << "begin; " + update.arg("scan", "1", "IRSpeckle.gain");
    QTest::newRow("vacuum") << QVariant() << "vacuum";
    QTest::newRow("extension") << QVariant() << "select load_extension('evil')";
    QTest::newRow("empty") << QVariant() << "";
    QTest::newRow("comment only") << QVariant() << "-- nothing";
    QTest::newRow("not a table") << QVariant("other") << "select * from $table$";
    QTest::newRow("schema as a table") << QVariant("sqlite_master") << "select * from $table$";
    QTest::newRow("table name with a statement")
            << QVariant("scan\"; drop table scan; --") << "select * from $table$";
    QTest::newRow("VoraCloudDisk is not a table") << QVariant("VoraCloudDisk") << "select * from $table$";
}

void tst_DatabaseService::hostileInput()
{
    QFETCH(QVariant, dbName);
    QFETCH(QString, sql);

    const QStringList before = dump(m_db->fileName());
    QVERIFY(before.size() > fixtureRows().size());
    DatabaseService service(m_db->fileName());
    const QVariantMap answer = service.answer(query(sql, dbName));
    QCOMPARE(answer.value("cmd").toString(), QStringLiteral("dataBaseResponseCmd"));
    QVERIFY(answer.contains("dataBaseResponse"));
    QCOMPARE(answer.value("dataBaseResponse").toString(), QString());
    QCOMPARE(dump(m_db->fileName()), before);
    // Refused in one line of the host's database log.
    const QStringList warnings = dbWarnings(*m_log);
    QCOMPARE(warnings.size(), 1);
    QVERIFY2(warnings.first().startsWith("refused"), qPrintable(warnings.first()));
    QVERIFY(!warnings.first().contains('\n'));
    // The connection was left usable: the next ordinary update still works.
    const QVariantMap next = service.answer(
            query("update 'alg' set value = '5' where key = 'gain'", QVariant("alg")));
    QCOMPARE(next.value("dataBaseResponse").toString(), QString());
    QCOMPARE(m_db->value("alg", "gain"), qMakePair(QVariant("5"), QStringLiteral("text")));
}

// Words that look dangerous but only make a broader or narrower search: they
// are answered, and leave the file as it was.
void tst_DatabaseService::harmlessReadsOfHostileWords_data()
{
    QTest::addColumn<QVariant>("dbName");
    QTest::addColumn<QString>("keyword");
    QTest::addColumn<QString>("expected");

    const auto all = [](const Row &) { return true; };
    QTest::newRow("or 1=1 comments the rest out")
            << QVariant("scan") << "' or 1=1 --" << lines([](const Row &r) { return r.table == "scan"; });
    QTest::newRow("or 1=1 over every table") << QVariant() << "' or 1=1 --" << lines(all);
    QTest::newRow("percent matches everything") << QVariant() << "%" << lines(all);
    QTest::newRow("hash") << QVariant() << "#" << line(fixtureRows().at(7));
    QTest::newRow("underscore wildcard") << QVariant("project") << "50_" << line(fixtureRows().at(8));
}

void tst_DatabaseService::harmlessReadsOfHostileWords()
{
    QFETCH(QVariant, dbName);
    QFETCH(QString, keyword);
    QFETCH(QString, expected);

    const QStringList before = dump(m_db->fileName());
    DatabaseService service(m_db->fileName());
    const QVariantMap answer = service.answer(query(kSearch.arg(keyword), dbName));
    QCOMPARE(answer.value("dataBaseResponse").toString(), expected);
    QCOMPARE(dump(m_db->fileName()), before);
}

void tst_DatabaseService::missingFileIsNotCreated()
{
    QTemporaryDir dir;
    QVERIFY2(dir.isValid(), qPrintable(dir.errorString()));
    const QString file = dir.filePath("missing.db");
    DatabaseService service(file);
    const QVariantMap answer = service.answer(query("select * from $table$"));
    QCOMPARE(answer.value("dataBaseResponse").toString(), QString());
    QVERIFY(!QFile::exists(file));
    QCOMPARE(dbWarnings(*m_log).size(), 1);
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
    const QVariantMap answer = service.answer(query(kSearch.arg(keyword), QVariant("scan")));
    QVERIFY2(clock.elapsed() < 5000, "the statement was not stopped");
    QCOMPARE(answer.value("dataBaseResponse").toString(), QString());
    const QStringList warnings = dbWarnings(*m_log);
    QCOMPARE(warnings.size(), 1);
    QVERIFY2(warnings.first().contains("longer than 50 ms"), qPrintable(warnings.first()));
    // An ordinary listing still runs within the limit.
    QCOMPARE(service.answer(query("select * from $table$", QVariant("alg")))
                     .value("dataBaseResponse")
                     .toString(),
             line(fixtureRows().at(9)));
}

void tst_DatabaseService::emptyTableNameMeansEveryTable()
{
    DatabaseService service(m_db->fileName());
    QCOMPARE(service.answer(query("select * from $table$", QVariant(QString()))).value("dataBaseResponse"),
             service.answer(query("select * from $table$")).value("dataBaseResponse"));
    QCOMPARE(dbWarnings(*m_log), QStringList());
}

QTEST_GUILESS_MAIN(tst_DatabaseService)
#include "tst_databaseservice.moc"
