// End-to-end: vorahost as the developer's bench, through its script on a
// copied bundle with the real plug-in: the settings inspector and its revert,
// the write journal (read after the host is killed), and its replay into
// another database.

#include "HostRun.h"

#include <QJsonArray>
#include <QRegularExpression>
#include <QtTest>

using namespace HostTest;

class tst_VoraHostInspector : public QObject
{
    Q_OBJECT

private slots:
    void inspectRevertAndJournal();
    void replayIntoAnotherDatabase();
};

void tst_VoraHostInspector::inspectRevertAndJournal()
{
    Bundle bundle;
    QVERIFY(bundle.isValid());
    const QString journal = bundle.root() + "/journal.jsonl";
    // inspectorjournal.json: "scenario", each step (a script step, or the
    // main window's button to click) with the bus message
    // (side, command) that shows it has been done; the config editor's edits
    // go behind the plug-in's back, the second one refused by the service.
    // "inspected", per inspect: the changed settings, those the database
    // disagrees with, and the stored value of the scan switch. "journal": what
    // it holds, less the restore's writes.
    const auto table = [](const char *name) {
        return VoraTest::dataTable("vorahost/workbench/inspectorjournal.json", name).toArray();
    };
    auto keysWhere = [](const QJsonArray &rows, const char *flag) {
        QStringList keys;
        for (const QJsonValue &row : rows)
            keys += row[flag].toBool() ? row["key"].toString() : QString();
        return keys.join(' ').simplified();
    };

    QList<QJsonObject> inspects;
    {
        Run run(bundle);
        run.start({"--journal", journal, "--script", "-"});
        for (const QJsonValue s : table("scenario")) {
            int seen = 0;
            const QString from = s[1].toString(), cmd = s[2].toString();
            const int before = run.messages(from, cmd).size();
            const QList<QJsonObject> said = s[0].isString() ? run.click("vorahost", s[0].toString())
                                                            : run.perform(s[0].toObject(), "vorahost");
            if (!cmd.isEmpty())
                QVERIFY(run.waitForLine([&](const QJsonObject &l) {
                    return isCmd(l, from, cmd) && ++seen > before;
                }) >= 0);
            for (const QJsonObject &line : said) {
                if (line.contains("inspect"))
                    inspects.append(line);
            }
        }
        QCOMPARE(run.eval("vorahost",
                          "[$host.inspector.mode, modeText(), showDeveloperModeViewButton.blocker, "
                          "tabs.itemAt(1).text, paths.itemAt(0).text, paths.itemAt(1).text]"),
                 QJsonValue(QJsonArray{"off", "Developer mode: off", "switch the developer mode on first",
                                       "Settings inspector", "plug-in: …/plugins/libApplicationTools.so",
                                       "database: …/Resources/res/config.db"}));
        // A refusal stands out in the bus log.
        QCOMPARE(run.eval("vorahost",
                          "tabs.currentIndex = 0; busLogPane.log.filter = '\"refused\":true'; "
                          "busLogPane.view.forceLayout(); "
                          "busLogPane.view.itemAtIndex(0).children[0].children[2].text")
                         .toString()
                         .section("  {", 0, 0),
                 QString("REFUSED: the update would change 0 rows, not one"));
        QVERIFY(run.errorOutput().contains(
                "\nvora.host.db: warning: refused: the update would change 0 rows"));
        // The run ends here with SIGKILL: the journal must already hold every
        // write, whole.
    }
    QCOMPARE(inspects.size(), 3);
    for (int i = 0; i < 3; ++i) {
        const QJsonArray rows = inspects[i]["inspect"].toArray();
        QCOMPARE(rows.size(), 24);
        // Each row names a setting the snapshot holds and a stored row.
        for (const QJsonValue row : rows)
            QVERIFY2(!row["entry"].isNull() && (row["table"].isNull() || !row["database"].isNull()),
                     qPrintable(row["key"].toString()));
        const QJsonValue inspected = table("inspected")[i];
        QCOMPARE(keysWhere(rows, "changed"), inspected[0].toString());
        QCOMPARE(keysWhere(rows, "mismatch"), inspected[1].toString());
        QCOMPARE(rows[5]["database"], inspected[2]);
    }

    QFile file(journal);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QStringList written;
    const QRegularExpression shape(
            R"re(^\{"time":"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z","by":"(\w+)","table":"(\w+)",)re"
            R"re("key":"([^"]+)","old":(.+),"new":(.+),"ok":(true|false)(,"error":".+")?\}$)re");
    for (const QByteArray &line : file.readAll().split('\n')) {
        const QRegularExpressionMatch m = shape.match(QString::fromUtf8(line));
        if (!line.isEmpty())
            written.append(m.hasMatch() ? QStringList(m.capturedTexts().mid(1, 6)).join(' ')
                                        : "bad: " + line);
    }
    QStringList expected;
    for (const QJsonValue line : table("journal"))
        expected << line.toString();
    QCOMPARE(written.mid(0, 12) + written.mid(31), expected);
    const QStringList leaving = written.mid(12, 19);
    QCOMPARE(leaving.filter(QRegularExpression("^plugin ")).size(), 19);
    QVERIFY(leaving.contains(R"(plugin calibration calibSavePic "true" "false" true)"));
    QVERIFY(leaving.contains(R"(plugin scan IRSpeckle.pseudo_color_bound_2 "255,128,0" "0,255,255" true)"));
}

void tst_VoraHostInspector::replayIntoAnotherDatabase()
{
    Bundle bundle;
    QVERIFY(bundle.isValid());
    const QString db = bundle.root() + "/other.db";
    const QString journal = bundle.root() + "/journal.jsonl";
    // What a run printed, then its exit code.
    auto runHost = [&](const QStringList &arguments) {
        Run run(bundle);
        run.start(arguments);
        const int code = run.finish();
        return run.rawLines() << QString::number(code);
    };
    QCOMPARE(runHost({"--db", db, "--no-plugin", "--script", "-"}), QStringList("0"));
    QFile file(journal);
    QVERIFY(file.open(QIODevice::WriteOnly));
    // The last successful value of each key counts, in its stored type.
    file.write(R"({"by":"plugin","table":"scan","key":"rollbackFrame","old":5,"new":6,"ok":true}
{"by":"page","table":"scan","key":"IRSpeckle.exposure","old":8000,"new":"9000","ok":true}
{"by":"page","table":"scan","key":"IRSpeckle.gain","old":1.5,"new":"2","ok":false,"error":"refused"}

{"by":"plugin","table":"scan","key":"rollbackFrame","old":6,"new":7.0,"ok":true}
{"by":"host","table":"scan","key":"newKey","old":null,"new":6000000000,"ok":true}
{"by":"page","table":"scan","key":"IRSpeckle.pointDistance","old":0.2,"new":0.2,"ok":true}
{"by":"page","table":"scan","key":"trackingLostBeep","old":"true","new":"true","ok":true}
)");
    file.close();
    const QStringList before = dump(db);
    QCOMPARE(
            runHost({"--replay", journal, "--db", db}),
            QStringList({
                    R"({"replay":{"table":"scan","key":"rollbackFrame","database":5,"journal":7.0}})",
                    R"({"replay":{"table":"scan","key":"IRSpeckle.exposure","database":8000,"journal":"9000"}})",
                    R"({"replay":{"table":"scan","key":"newKey","database":null,"journal":6000000000}})",
                    "0",
            }));
    QCOMPARE(dump(db), before);

    QCOMPARE(runHost({"--replay", journal, "--db", db, "--apply"}).last(), QString("0"));
    QCOMPARE(value(db, "scan", "rollbackFrame"), QString("7.0|real"));
    QCOMPARE(value(db, "scan", "IRSpeckle.exposure"), QString("9000|text"));
    QCOMPARE(value(db, "scan", "newKey"), QString("6000000000|integer"));

    // A journal naming a table the database lacks changes nothing.
    QVERIFY(file.open(QIODevice::Append));
    file.write(R"({"by":"host","table":"nothere","key":"k","old":null,"new":1,"ok":true})");
    file.close();
    sql(db, "update scan set value = 1 where key = 'rollbackFrame'");
    const QStringList applied = dump(db);
    Run bad(bundle);
    bad.start({"--replay", journal, "--db", db, "--apply"});
    QCOMPARE(bad.finish(), 2);
    QVERIFY2(bad.errorOutput().contains("vorahost: journal " + journal
                                        + " line 9: table \"nothere\" is not in " + db + "\n"),
             qPrintable(bad.errorOutput()));
    QCOMPARE(dump(db), applied);
    // Without --db, the bundle's own database.
    Run own(bundle);
    own.start({"--replay", journal});
    QCOMPARE(own.finish(), 1);
    QCOMPARE(own.errorOutput(), "vorahost: no configuration database " + bundle.database() + "\n");
    // Nor does one with a line that is no journal line.
    for (const auto &[line, why] :
         {std::pair{"{\"table\":\"scan\"", "not a JSON object"},
          {R"({"table":"scan","key":"k","ok":true})", "no \"new\" value for scan/k"}}) {
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray("\n") + line + "\n");
        file.close();
        Run broken(bundle);
        broken.start({"--replay", journal, "--db", db, "--apply"});
        QCOMPARE(broken.finish(), 2);
        QCOMPARE(broken.errorOutput(), "vorahost: journal " + journal + " line 2: " + why + "\n");
        QCOMPARE(dump(db), applied);
    }
    // A journal over 256 MiB is refused before a line is read.
    QVERIFY(file.resize((qint64(256) << 20) + 1));
    Run huge(bundle);
    huge.start({"--replay", journal, "--db", db});
    QCOMPARE(huge.finish(), 2);
    QCOMPARE(huge.errorOutput(), "vorahost: journal " + journal + " is over 256 MiB; split it first\n");
}

QTEST_GUILESS_MAIN(tst_VoraHostInspector)
#include "tst_inspectorjournal.moc"
