// The host's database service against a real SQLite file: what it lists and
// searches, the one row an update changes, and that nothing the page can
// send changes any other row, the types stored, or the tables.

#include "DatabaseService.h"
#include "HostRun.h"
#include "LogCollector.h"
#include "PluginHarness.h"

#include <QtTest>

namespace {

// One or two rows in every configuration table, with every storage class,
// as "table#key#SQL value#comment".
const QStringList Rows = {"config#developerModeEnabled#'false'#开发者模式",
                          "config#logLevel#2#日志级别",
                          "ui#cameraVideo.frameRate#15#帧率",
                          "calibration#calibMaxError#0.05#误差",
                          "scan#IRSpeckle.If_Save_Pic#0#保存图片",
                          "scan#IRSpeckle.gain#1.5#红外增益, 实时设置",
                          "scan#IRSpeckle.note#NULL#no value",
                          "scan#colour#'255#0#0'#a hash in a value",
                          "project#defaultName#'Project 50%'#percent",
                          "alg#gain#3#gain of the algorithm",
                          "postprocess#smooth#'true'#",
                          "navigation#speed#4#it''s fast",
                          "deviceadjust#fanSpeed#60#风扇, 实时设置",
                          "clouddisk#server#'https://example.invalid'#云盘"};

QString fixtureSql()
{
    QString sql = VoraTest::TempDatabase::tableSql(DatabaseService::configurationTables())
            + "CREATE TABLE other (key TEXT PRIMARY KEY, value, comment TEXT);\n"
              "INSERT INTO other VALUES ('secret', 'kept', '');\n";
    for (const QString &row : Rows)
        sql += QStringLiteral("INSERT INTO \"%1\" VALUES ('%2', %3, '%4');\n")
                       .arg(row.section('#', 0, 0), row.section('#', 1, 1), row.section('#', 2, -2),
                            row.section('#', -1));
    return sql;
}

// The rows that match pattern, as the service renders them: values as text,
// a row with '#' in a field left out.
QString lines(const QString &pattern)
{
    QStringList result;
    for (QString row : Rows) {
        const QString value = row.section('#', 2, -2);
        if (!value.contains('#'))
            result << row.replace(value, value == "NULL" ? "" : QString(value).remove('\''))
                              .replace("''", "'");
    }
    return result.filter(QRegularExpression(pattern)).join('\n');
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
    void initTestCase() { QLoggingCategory::setFilterRules(QStringLiteral("vora.host.db.debug=true")); }
    void init()
    {
        m_db = std::make_unique<VoraTest::TempDatabase>(fixtureSql());
        QVERIFY(m_db->isValid());
        QCOMPARE(m_db->stored("scan", "IRSpeckle.gain"), QStringLiteral("1.5|real"));
        m_log.reset();
        m_log = std::make_unique<VoraTest::LogCollector>();
    }
    void cleanup() { m_db.reset(); }

    // Listings and searches, including words that look dangerous but only make a
    // broader or narrower search: answered, and the file stays as it was.
    void listing_data()
    {
        QTest::addColumn<QVariant>("dbName");
        QTest::addColumn<QString>("sql");
        QTest::addColumn<QString>("expected");

        // databaseservice.json "listing": [tag, dbName, search word (none: the
        // plain listing), the rows expected, as a pattern (none: no row)].
        for (const QJsonValue row :
             VoraTest::dataTable("vorahost/services/databaseservice.json", "listing").toArray())
            QTest::newRow(qPrintable(row[0].toString()))
                    << (row[1].isNull() ? QVariant() : row[1].toVariant())
                    << (row[2].isNull() ? QString("select * from $table$") : kSearch.arg(row[2].toString()))
                    << (row[3].isNull() ? QString() : lines(row[3].toString()));
        for (const QString &table : DatabaseService::configurationTables())
            QTest::addRow("table %s", qPrintable(table))
                    << QVariant(table) << "select * from $table$" << lines("^" + table + "#");
    }
    void listing()
    {
        QFETCH(QVariant, dbName);
        QFETCH(QString, sql);
        QFETCH(QString, expected);
        const QStringList before = HostTest::dump(m_db->fileName());
        const QVariantMap answer = DatabaseService(m_db->fileName()).answer(query(sql, dbName));
        QCOMPARE(answer,
                 (QVariantMap{{"cmd", "dataBaseResponseCmd"},
                              {"dataBaseResponse", expected},
                              {"refused", false}}));
        QCOMPARE(HostTest::dump(m_db->fileName()), before);
        QCOMPARE(dbWarnings(), QStringList());
    }
    void updateOneRow_data()
    {
        QTest::addColumn<QVariant>("dbName");
        QTest::addColumn<QString>("table");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("type");
        auto row = [](const char *name, const QVariant &dbName, const char *table, const char *key,
                      const char *value, const char *type = "text") {
            QTest::newRow(name) << dbName << QString(table) << QString(key) << QString(value)
                                << QString(type);
        };
        row("integer row, all tables listed", QVariant(), "scan", "IRSpeckle.If_Save_Pic", "1", "integer");
        row("real row, its table listed", "scan", "scan", "IRSpeckle.gain", "2.5", "real");
        row("a table not listed", "alg", "config", "developerModeEnabled", "true");
        row("clouddisk", "clouddisk", "clouddisk", "server", "https://b.invalid");
        row("null row", QVariant(), "scan", "IRSpeckle.note", "now set");
        row("percent", QVariant(), "project", "defaultName", "50% off");
    }
    void updateOneRow()
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
                 (QVariantMap{{"cmd", "dataBaseResponseCmd"},
                              {"dataBaseResponse", QString()},
                              {"refused", false}}));

        // The text the page wrote is stored in the row's kind; nothing else moved.
        QCOMPARE(m_db->stored(table, key), value + '|' + type);
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
    // databaseservice.json "hostileInput": [tag, dbName, SQL, the refusal as
    // logged, before " in: " and the statement]. What the page builds from a
    // value or keyword typed into it, then statements the page never sends, in
    // case another one does.
    void hostileInput_data()
    {
        QTest::addColumn<QVariant>("dbName");
        QTest::addColumn<QString>("sql");
        QTest::addColumn<QString>("why");
        for (const QJsonValue row :
             VoraTest::dataTable("vorahost/services/databaseservice.json", "hostileInput").toArray())
            QTest::newRow(qPrintable(row[0].toString()))
                    << (row[1].isNull() ? QVariant() : row[1].toVariant()) << row[2].toString()
                    << row[3].toString();
    }
    void hostileInput()
    {
        QFETCH(QVariant, dbName);
        QFETCH(QString, sql);
        QFETCH(QString, why);
        const QStringList before = HostTest::dump(m_db->fileName());
        QVERIFY(before.size() > Rows.size());
        DatabaseService service(m_db->fileName());
        const QVariantMap answer = service.answer(query(sql, dbName));
        QCOMPARE(answer.value("dataBaseResponse"), QVariant(QString()));
        QCOMPARE(answer.value("refused"), QVariant(true));
        QCOMPARE(HostTest::dump(m_db->fileName()), before);
        // Refused in one line of the host's database log that says why.
        const QStringList warnings = dbWarnings();
        QCOMPARE(warnings.size(), 1);
        QVERIFY2(warnings.first().endsWith(": refused: " + why + " in: " + sql),
                 qPrintable(warnings.first()));
        // The connection was left usable: the next ordinary update still works.
        QCOMPARE(service.answer(query(kUpdate.arg("alg", "5", "gain"), "alg"))
                         .value("dataBaseResponse")
                         .toString(),
                 QString());
        QCOMPARE(m_db->stored("alg", "gain"), QStringLiteral("5|integer"));
    }
    // What a hostile or careless page user can type, each input with what
    // must come of it, on a file of its own.
    // databaseservice.json "typedInput": [tag, SQL run on the file first, what
    // the page sends (dbName "scan"), "refused: <reason>" or "<rows> rows", a
    // row and what it holds afterwards as "value|type", a log line to expect].
    void typedInput_data()
    {
        for (const char *column : {"setup", "sql", "outcome", "row", "stored", "log"})
            QTest::addColumn<QString>(column);
        for (const QJsonValue r :
             VoraTest::dataTable("vorahost/services/databaseservice.json", "typedInput").toArray())
            QTest::newRow(qPrintable(r[0].toString()))
                    << r[1].toString() << r[2].toString() << r[3].toString() << r[4].toString()
                    << r[5].toString() << r[6].toString();
        // Made here: too long to write out.
        const QString cross =
                "x' where key = 'k' and (select count(*) from scan a, scan b, scan c, scan d, scan e, "
                "scan f, scan g, scan h, scan i, scan j, scan k, scan l, scan m, scan n) >= 0 --";
        QTest::newRow("cross join in a value") << "" << kUpdate.arg("scan", cross, "text") << "0 rows"
                                               << "int"
                                               << "1|integer"
                                               << "";
        QTest::newRow("value over 64 KiB") << "" << kUpdate.arg("scan", QString(70000, 'v'), "text")
                                           << "refused: the value is 70000 bytes long, more than the 65536"
                                           << "text"
                                           << "x|text"
                                           << "";
    }
    void typedInput()
    {
        QFETCH(QString, setup);
        QFETCH(QString, sql);
        QFETCH(QString, outcome);
        QFETCH(QString, row);
        QFETCH(QString, stored);
        QFETCH(QString, log);
        VoraTest::TempDatabase db(
                VoraTest::TempDatabase::tableSql(DatabaseService::configurationTables())
                + "INSERT INTO scan VALUES ('int', 1, ''), ('real', 1.5, ''), ('text', 'x', ''), "
                  "('other', 'keep', ''), ('dollar', '$table$', '');"
                + setup);
        QVERIFY(db.isValid());
        DatabaseService service(db.fileName());
        // No row is about the time limit: out of reach, the limit under test decides.
        service.setTimeLimit(VoraTest::PatienceMs);
        QList<VoraConfigWrite> writes;
        service.setWriteObserver([&](const VoraConfigWrite &w) { writes.append(w); });
        const QVariantMap answer = service.answer(
                {{"cmd", "query"}, {"target", "dataBaseQuery"}, {"param", sql}, {"dbName", "scan"}});
        const QString rows = answer.value("dataBaseResponse").toString();
        const QString got = answer.value("refused").toBool()
                ? "refused: " + answer.value("reason").toString()
                : QString::number(rows.isEmpty() ? 0 : rows.count('\n') + 1) + " rows";
        QVERIFY2(got.startsWith(outcome), qPrintable(got));
        QCOMPARE(HostTest::value(db.fileName(), "scan", row), stored);
        QVERIFY2(log.isEmpty() || !m_log->lines(log).isEmpty(), qPrintable(log));
        // Every update asked for is told to the journal, run or refused.
        QCOMPARE(writes.size(), sql.startsWith("update") ? 1 : 0);
        for (const VoraConfigWrite &write : writes)
            QCOMPARE(write.ok, !answer.value("refused").toBool());
    }
    void missingFileIsNotCreated()
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
    void longQueryIsStopped()
    {
        DatabaseService service(m_db->fileName());
        service.setTimeLimit(50);
        const QString keyword = QStringLiteral(
                "' and (select count(*) from scan a, scan b, scan c, scan d, scan e, scan f, scan g, scan h, "
                "scan i, scan j, scan k, scan l, scan m, scan n) > 0 --");
        const QVariantMap answer = service.answer(query(kSearch.arg(keyword), "scan"));
        QCOMPARE(answer.value("dataBaseResponse").toString(), QString());
        const QStringList warnings = dbWarnings();
        QCOMPARE(warnings.size(), 1);
        QVERIFY2(warnings.first().contains("longer than 50 ms"), qPrintable(warnings.first()));
        // Nothing of the stopped statement stays behind: the next listing runs.
        service.setTimeLimit(VoraTest::PatienceMs);
        QCOMPARE(service.answer(query("select * from $table$", "alg")).value("dataBaseResponse").toString(),
                 lines("^alg#gain#"));
    }

private:
    // The host's database warnings, as "category: text".
    QStringList dbWarnings() const { return m_log->lines("warning vora.host.db "); }

    std::unique_ptr<VoraTest::LogCollector> m_log;
    std::unique_ptr<VoraTest::TempDatabase> m_db;
};

QTEST_GUILESS_MAIN(tst_DatabaseService)
#include "tst_databaseservice.moc"
