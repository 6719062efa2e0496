// End-to-end: the real vorahost, from a copied bundle, with the real plug-in
// and a real configuration database, driven by its script interface.

#include "HostRun.h"

#include <QtTest>

using namespace HostTest;

namespace {

const QByteArray kEnable = R"({"deliver": {"cmd": "enableDeveloperMode", "enabled": true}})";
const QByteArray kDisable = R"({"deliver": {"cmd": "enableDeveloperMode", "enabled": false}})";
const QByteArray kShowView = R"({"deliver": {"module": "DeveloperMode", "cmd": "showDeveloperModeView"}})";

QByteArray setInDeveloperMode(const QString &key, const QString &value)
{
    return step(evalStep("开发者模式",
                         QString("$developerModeController.updateValue('%1', %2)").arg(key, value)));
}

bool isSettingsAll(const QJsonObject &line)
{
    return isCmd(line, "plugin", "developerModeSettingChanged") && line["param"]["changedKey"] == "all";
}

bool isRollbackAnswer(const QJsonObject &line)
{
    return isCmd(line, "host", "developerModeQuerySettingResp");
}

} // namespace

class tst_VoraHost : public QObject
{
    Q_OBJECT

private slots:
    void enterChangeAndLeave();
    void badScriptLine_data();
    void badScriptLine();
    void pluginThatFailsToLoad_data();
    void pluginThatFailsToLoad();
    void databaseOption_data();
    void databaseOption();
    void noDisplayExplainsHowToRun();
    void logLinesWholeAndPrompt();
};

void tst_VoraHost::enterChangeAndLeave()
{
    Bundle bundle;
    QVERIFY(bundle.isValid());
    {
        // A first run makes the database from the sample.
        Run make(bundle);
        make.start();
        QCOMPARE(make.finish(), 0);
        QVERIFY(make.errorOutput().contains("created the configuration database"));
    }
    sql(bundle.database(), "UPDATE scan SET value = 7 WHERE key = 'rollbackFrame'");
    QCOMPARE(bundle.value("scan", "rollbackFrame"), QString("7|integer"));

    Run run(bundle);
    run.start();
    run.send(kEnable);
    // The developer mode loads its settings a second after it is switched on;
    // the host answers its query on a later turn: after the full settings
    // that the plug-in publishes in the same turn as its query.
    const int answer = run.waitForLine(isRollbackAnswer);
    QVERIFY(answer >= 0);
    QCOMPARE(run.lines().at(answer)["param"].toObject(),
             (QJsonObject{{"cmd", "developerModeQuerySettingResp"},
                          {"module", "DeveloperMode"},
                          {"key", "rollbackFrame"},
                          {"value", 7}}));
    const int query = run.waitForLine(
            [](const QJsonObject &l) { return isCmd(l, "plugin", "developerModeQuerySetting"); });
    const int all = run.waitForLine(isSettingsAll);
    QVERIFY(query >= 0 && query < all && all < answer);
    // The host remembers the developer mode for the next start, as a bool.
    QCOMPARE(bundle.value("config", "developerModeEnabled"), QString("true|text"));
    QTRY_COMPARE(bundle.readSnapshot()["last"]["rollbackFrame"].toInt(), 7);
    QCOMPARE(bundle.readSnapshot()["init"]["rollbackFrame"].toInt(), 7);

    run.send(kShowView);
    run.send(R"({"wait": 200})");
    run.send(setInDeveloperMode("enableSaveScanImage", "true"));
    run.send(setInDeveloperMode("rollbackFrame", "12"));
    run.send(step(evalStep("开发者模式", "$developerModeController.config.enableSaveScanImage")));
    QVERIFY(run.waitForLine([](const QJsonObject &line) { return line["eval"] == true; }) >= 0);
    QCOMPARE(bundle.value("scan", "IRSpeckle.If_Save_Pic"), QString("1|integer"));
    QTRY_COMPARE(bundle.value("scan", "rollbackFrame"), QString("12|integer"));
    QCOMPARE(bundle.readSnapshot()["last"]["enableSaveScanImage"], QJsonValue(true));
    QCOMPARE(bundle.readSnapshot()["init"]["enableSaveScanImage"], QJsonValue(false));

    run.send(kDisable);
    QCOMPARE(run.finish(), 0);
    // Standard output is JSON lines only.
    for (int i = 0; i < run.rawLines().size(); ++i)
        QVERIFY2(!run.lines().at(i).isEmpty(), qPrintable(run.rawLines().at(i)));

    // Leaving: the values from before are back, announced, and the snapshot
    // is gone.
    QCOMPARE(bundle.value("scan", "IRSpeckle.If_Save_Pic"), QString("0|integer"));
    QCOMPARE(bundle.value("scan", "rollbackFrame"), QString("7|integer"));
    QCOMPARE(bundle.value("config", "developerModeEnabled"), QString("false|text"));
    QVERIFY(!QFile::exists(bundle.snapshot()));
    const QList<QJsonObject> fromPlugin = run.messages("plugin");
    QVERIFY(fromPlugin.size() >= 2);
    const QJsonObject restored = fromPlugin.at(fromPlugin.size() - 2);
    QVERIFY(isSettingsAll({{"from", "plugin"}, {"param", restored}}));
    QCOMPARE(restored["settings"]["enableSaveScanImage"], QJsonValue(false));
    // Colours travel as text names.
    QCOMPARE(restored["settings"]["pseudo_color_bound_1"], QJsonValue("#0000ff"));
    QCOMPARE(fromPlugin.last(), (QJsonObject{{"cmd", "developerModeEnabledChanged"}, {"enabled", false}}));
}

void tst_VoraHost::badScriptLine_data()
{
    QTest::addColumn<QByteArray>("badLine");
    QTest::addColumn<QString>("reason");
    QTest::newRow("not JSON") << QByteArray("{\"deliver\": ") << "not valid JSON";
    QTest::newRow("array") << QByteArray("[1, 2]") << "JSON object";
    QTest::newRow("unknown step") << QByteArray(R"({"jump": 3})") << "unknown step";
    QTest::newRow("two steps in one") << QByteArray(R"({"wait": 1, "close": "x"})") << "exactly one";
    QTest::newRow("wait not a number") << QByteArray(R"({"wait": "1000"})") << "wait";
    QTest::newRow("deliver not a map") << QByteArray(R"({"deliver": "enableDeveloperMode"})") << "deliver";
    QTest::newRow("eval without js") << QByteArray(R"({"eval": {"window": "vorahost"}})") << "\"js\"";
    QTest::newRow("click without y") << QByteArray(R"({"click": {"window": "vorahost", "x": 3}})") << "\"y\"";
    QTest::newRow("window not open") << QByteArray(R"({"close": "配置工具"})") << "no open window";
    QTest::newRow("screenshot of closed window")
            << QByteArray(R"({"screenshot": {"window": "开发者模式", "file": "x.png"}})") << "no open window";
    QTest::newRow("eval that throws")
            << QByteArray(R"({"eval": {"window": "vorahost", "js": "noSuchName.x"}})") << "eval failed";
    QTest::newRow("eval that never ends")
            << QByteArray(R"({"eval": {"window": "vorahost", "js": "while (1) {}"}})")
            << "the JavaScript ran longer than 5000 ms and was stopped";
    QTest::newRow("line without an end") << QByteArray(1100000, 'x') << "longer than 1048576 bytes";
}

void tst_VoraHost::badScriptLine()
{
    QFETCH(QByteArray, badLine);
    QFETCH(QString, reason);
    Bundle bundle;
    QVERIFY(bundle.isValid());
    QFile script(bundle.root() + "/script.jsonl");
    QVERIFY(script.open(QIODevice::WriteOnly));
    script.write("# switch on, then a bad line\n\n" + kEnable + "\n" + badLine + "\n"
                 + R"({"deliver": {"cmd": "showConfigEditor", "visible": true}})" + "\n");
    script.close();

    Run run(bundle);
    run.start({"--script", script.fileName()});
    QCOMPARE(run.waitForExit(), 2);
    const QString error = run.errorOutput();
    QVERIFY2(error.contains("script line 4: ") && error.contains(reason), qPrintable(error));
    // The step before the bad line was done and stays done; the one after
    // never ran.
    QCOMPARE(run.messages("plugin", "developerModeEnabledChanged").size(), 1);
    QCOMPARE(bundle.value("config", "developerModeEnabled"), QString("true|text"));
    QVERIFY(run.messages("host", "showConfigEditor").isEmpty());
}

void tst_VoraHost::pluginThatFailsToLoad_data()
{
    QTest::addColumn<QString>("plugin");
    QTest::addColumn<QString>("reason");
    QTest::newRow("missing file") << QString("plugins/libNothing.so") << QString("no such file");
    QTest::newRow("not a plug-in") << QString("lib/libVoraConfig.so") << QString();
    QTest::newRow("foreign interface") << QStringLiteral(FOREIGN_PLUGIN_FILE) << "interface";
    QTest::newRow("factory makes nothing") << QStringLiteral(NULL_FACTORY_PLUGIN_FILE) << "made no";
}

void tst_VoraHost::pluginThatFailsToLoad()
{
    QFETCH(QString, plugin);
    QFETCH(QString, reason);
    Bundle bundle;
    QVERIFY(bundle.isValid());
    const QString file = QDir(bundle.root()).absoluteFilePath(plugin);

    Run run(bundle);
    run.start({"--plugin", file, "--script", "-"});
    QCOMPARE(run.finish(), 1);
    QVERIFY(run.rawLines().isEmpty());
    const QStringList lines = run.errorOutput().split('\n').filter(
            QRegularExpression("^vorahost: (?!created)"));
    QCOMPARE(lines.size(), 1);
    QVERIFY2(lines.first().contains(file) && lines.first().contains(reason), qPrintable(lines.first()));
}

void tst_VoraHost::databaseOption_data()
{
    QTest::addColumn<QString>("db");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("message");
    QTest::newRow("new file in a new folder")
            << "elsewhere/deeper/my.db" << 0 << "created the configuration database";
    QTest::newRow("a folder") << "Resources" << 1 << "is not a file";
}

void tst_VoraHost::databaseOption()
{
    QFETCH(QString, db);
    QFETCH(int, exitCode);
    QFETCH(QString, message);
    Bundle bundle;
    QVERIFY(bundle.isValid());
    const QString file = QDir(bundle.root()).absoluteFilePath(db);

    Run run(bundle);
    run.start({"--db", db, "--script", "-"});
    run.send(kEnable);
    QCOMPARE(run.finish(), exitCode);
    const QStringList lines = run.errorOutput().split('\n').filter(QRegularExpression("^vorahost: "));
    QCOMPARE(lines.size(), 1);
    QVERIFY2(lines.first().contains(file) && lines.first().contains(message), qPrintable(lines.first()));
    // The bundle's own database is not touched by a run on another one.
    QVERIFY(!QFile::exists(bundle.database()));
    // The plug-in worked on the same file: the host's store of the developer
    // mode landed there.
    if (exitCode == 0)
        QCOMPARE(value(file, "config", "developerModeEnabled"), QString("true|text"));
}

void tst_VoraHost::noDisplayExplainsHowToRun()
{
    Bundle bundle;
    QVERIFY(bundle.isValid());
    QProcess process;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const char *name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
        env.remove(name);
    process.setProcessEnvironment(env);
    process.start(bundle.host(), QStringList());
    QVERIFY(process.waitForFinished(10000));
    QCOMPARE(process.exitCode(), 1);
    const QString error = QString::fromUtf8(process.readAllStandardError());
    QVERIFY2(error.contains("xvfb-run") && error.contains("QT_QPA_PLATFORM=offscreen"), qPrintable(error));
    // Nothing was started: no database was made either.
    QVERIFY(!QFile::exists(bundle.database()));
}

// The host keeps log lines back and writes them out together; a page's line
// of megabytes still arrives whole (a character outside the BMP where it is
// cut into slices), and a last short line does not wait for more to come.
void tst_VoraHost::logLinesWholeAndPrompt()
{
    Bundle bundle;
    QVERIFY(bundle.isValid());
    Run run(bundle);
    run.start();
    const QString longLine = QString(16383, 'a') + QString::fromUtf8("\U0001F600") + QString(3000000, 'b');
    run.eval("vorahost", "console.log('a'.repeat(16383) + '\\uD83D\\uDE00' + 'b'.repeat(3000000)); 0");
    run.eval("vorahost", "console.log('after'); 0");
    const QString error = run.errorOutput();
    QVERIFY(error.contains("qml: " + longLine + "\n"));
    QVERIFY(error.endsWith("qml: after\n"));
    QCOMPARE(run.finish(), 0);
}

QTEST_GUILESS_MAIN(tst_VoraHost)
#include "tst_vorahost.moc"
