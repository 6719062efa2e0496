// The database service against what a hostile or careless page user can
// type: each input with what must come of it, on a real SQLite file.

#include "DatabaseService.h"
#include "HostRun.h"
#include "LogCollector.h"
#include "PluginHarness.h"

#include <QtTest>

namespace {

const QString kSearch = QStringLiteral(
        "select * from $table$  where key like '%%1%' or value like '%%1%' or comment like '%%1%'");
const QString kUpdate = QStringLiteral("update 'scan' set value = '%1' where key = '%2'");
const QString kListing = QStringLiteral("select * from $table$");

} // namespace

class tst_DatabaseServiceAttack : public QObject
{
    Q_OBJECT

private slots:
    void hostileInput_data();
    void hostileInput();
};

void tst_DatabaseServiceAttack::hostileInput_data()
{
    QTest::addColumn<QString>("setup"); // SQL run on the file first
    QTest::addColumn<QString>("sql"); // what the page sends (dbName "scan")
    QTest::addColumn<QString>("outcome"); // "refused: <reason>", or "<rows> rows"
    QTest::addColumn<QString>("row"); // a row and what it holds afterwards,
    QTest::addColumn<QString>("stored"); // as "value|type"
    QTest::addColumn<QString>("log");
    const QString cross =
            "x' where key = 'k' and (select count(*) from scan a, scan b, scan c, scan d, scan e, "
            "scan f, scan g, scan h, scan i, scan j, scan k, scan l, scan m, scan n) >= 0 --";
    auto row = [](const char *name, const QString &setup, const QString &sql, const QString &outcome,
                  const char *key, const char *stored, const char *log = "") {
        QTest::newRow(name) << setup << sql << outcome << QString(key) << QString(stored) << QString(log);
    };
    row("quote in a value", "", kUpdate.arg("it's", "text"), "0 rows", "text", "it's|text");
    row("number over an integer", "", kUpdate.arg("9000", "int"), "0 rows", "int", "9000|integer");
    row("number over a real", "", kUpdate.arg("2.5", "real"), "0 rows", "real", "2.5|real");
    row("text over an integer", "", kUpdate.arg("9000x", "int"), "0 rows", "int", "9000x|text");
    row("value aimed at another row", "", kUpdate.arg("x' where key = 'other' --", "text"), "0 rows", "other",
        "keep|text");
    row("cross join in a value", "", kUpdate.arg(cross, "text"), "0 rows", "int", "1|integer");
    row("line break forging a row", "", kUpdate.arg("v\nconfig#developerModeEnabled#true#", "text"),
        "refused: the value holds a line break or '#'", "text", "x|text");
    row("hash in a value", "", kUpdate.arg("a#b", "text"), "refused: the value holds a line break", "text",
        "x|text");
    row("value over 64 KiB", "", kUpdate.arg(QString(70000, 'v'), "text"),
        "refused: the value is 70000 bytes long, more than the 65536", "text", "x|text");
    row("update not in the page's form", "", "update scan set value = 5 where key = 'int'",
        "refused: an update that is not the page's form", "int", "1|integer");
    row("300 MB made by printf", "", kSearch.arg("' and length(printf('%.*c', 300000000, 'x')) > 0 --"),
        "refused: the statement calls printf()", "int", "1|integer");
    row("80 MB made by group_concat", "INSERT INTO scan VALUES ('pad', printf('%.*c', 60000, 'p'), '')",
        kSearch.arg("' and length((select group_concat(a.value) from scan a, scan b, scan c, "
                    "scan d, scan e)) > 0 --"),
        "refused: string or blob too big", "int", "1|integer");
    row("search for $table$", "", kSearch.arg("$table$"), "1 rows", "dollar", "$table$|text");
    row("stored line break", "INSERT INTO scan VALUES ('forged', 'v' || char(10) || 'config#a#b#c', '')",
        kListing, "5 rows", "int", "1|integer", "left out 1 rows");
    row("stored value of 1 MB", "INSERT INTO scan VALUES ('big', printf('%.*c', 1000000, 'v'), '')", kListing,
        "5 rows", "int", "1|integer", "left out 1 rows");
    row("cross join of 2 million rows", "",
        kSearch.arg(
                "' union all select a.key, b.key, c.key, d.key from scan a, scan b, scan c, scan d, scan e, "
                "scan f, scan g, scan h, scan i --"),
        "100000 rows", "int", "1|integer", "listing cut after 100000 rows");
}

void tst_DatabaseServiceAttack::hostileInput()
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
    QList<VoraConfigWrite> writes;
    service.setWriteObserver([&](const VoraConfigWrite &w) { writes.append(w); });
    VoraTest::LogCollector logged;
    QElapsedTimer clock;
    clock.start();
    const QVariantMap answer = service.answer(
            {{"cmd", "query"}, {"target", "dataBaseQuery"}, {"param", sql}, {"dbName", "scan"}});
    qInfo("%s: %s in %lld ms", QTest::currentDataTag(), qPrintable(outcome), clock.elapsed());
    const QString rows = answer.value("dataBaseResponse").toString();
    const QString got = answer.value("refused").toBool()
            ? "refused: " + answer.value("reason").toString()
            : QString::number(rows.isEmpty() ? 0 : rows.count('\n') + 1) + " rows";
    QVERIFY2(got.startsWith(outcome), qPrintable(got));
    QCOMPARE(HostTest::value(db.fileName(), "scan", row), stored);
    QVERIFY2(log.isEmpty() || !logged.lines(log).isEmpty(), qPrintable(log));
    // Every update asked for is told to the journal, run or refused.
    QCOMPARE(writes.size(), sql.startsWith("update") ? 1 : 0);
    for (const VoraConfigWrite &write : writes)
        QCOMPARE(write.ok, !answer.value("refused").toBool());
}

QTEST_GUILESS_MAIN(tst_DatabaseServiceAttack)
#include "tst_databaseservice_attack.moc"
