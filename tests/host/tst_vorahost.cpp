// End-to-end: the real vorahost, from a copied bundle, with the real plug-in
// and a real configuration database, driven by its script interface.

#include "HostRun.h"

#include <QJsonArray>
#include <QtTest>

using namespace HostTest;

namespace {

const QByteArray kEnable = R"({"deliver": {"cmd": "enableDeveloperMode", "enabled": true}})";
const QByteArray kDisable = R"({"deliver": {"cmd": "enableDeveloperMode", "enabled": false}})";
const QByteArray kShowView = R"({"deliver": {"module": "DeveloperMode", "cmd": "showDeveloperModeView"}})";

QByteArray evalInDeveloperMode(const QString &js)
{
    return step({{"eval", QJsonObject{{"window", QStringLiteral("开发者模式")}, {"js", js}}}});
}

auto settingsAll = [](const QJsonObject &line) {
    return isCmd(line, "plugin", "developerModeSettingChanged")
            && line["param"].toObject()["changedKey"].toString() == QLatin1String("all");
};

auto rollbackAnswer = [](const QJsonObject &line) {
    return isCmd(line, "host", "developerModeQuerySettingResp");
};

} // namespace

class tst_VoraHost : public QObject
{
    Q_OBJECT

private slots:
    void firstEntryAndLeaving();
    void restartAfterKillComesBackInDeveloperMode();
    void rollbackFrameAnsweredAndRestored();
    void badScriptLine_data();
    void badScriptLine();
    void pluginThatFailsToLoad_data();
    void pluginThatFailsToLoad();
    void databaseOption_data();
    void databaseOption();
    void noDisplayExplainsHowToRun();
};

void tst_VoraHost::firstEntryAndLeaving()
{
    Bundle bundle;
    QVERIFY2(bundle.isValid(), qPrintable(bundle.errorString()));
    Run run(bundle);
    run.start();
    run.send(kEnable);
    // The developer mode loads its settings a second after it is switched on;
    // the host answers the rollback query after that on a later turn.
    QVERIFY(run.waitForLine(rollbackAnswer) >= 0);
    QVERIFY(run.errorOutput().contains("created the configuration database"));

    // The host remembers the developer mode for the next start, as a bool.
    QCOMPARE(bundle.value("config", "developerModeEnabled"), qMakePair(QVariant("true"), QString("text")));
    QTRY_COMPARE(bundle.readSnapshot()["last"].toObject()["rollbackFrame"].toInt(), 5);
    QCOMPARE(bundle.readSnapshot()["init"].toObject()["enableSaveScanImage"], QJsonValue(false));

    run.send(kShowView);
    run.send(R"({"wait": 200})");
    run.send(evalInDeveloperMode("$developerModeController.updateValue('enableSaveScanImage', true)"));
    run.send(evalInDeveloperMode("$developerModeController.config.enableSaveScanImage"));
    QVERIFY(run.waitForLine([](const QJsonObject &line) { return line["eval"] == QJsonValue(true); }) >= 0);
    QCOMPARE(bundle.value("scan", "IRSpeckle.If_Save_Pic"),
             qMakePair(QVariant(qlonglong(1)), QString("integer")));
    QCOMPARE(bundle.readSnapshot()["last"].toObject()["enableSaveScanImage"], QJsonValue(true));
    QCOMPARE(bundle.readSnapshot()["init"].toObject()["enableSaveScanImage"], QJsonValue(false));

    run.send(kDisable);
    QVERIFY(run.finish());
    QCOMPARE(run.exitStatus(), QProcess::NormalExit);
    QCOMPARE(run.exitCode(), 0);

    // Standard output is JSON lines only.
    for (int i = 0; i < run.rawLines().size(); ++i)
        QVERIFY2(!run.lines().at(i).isEmpty(), qPrintable(run.rawLines().at(i)));

    // Leaving: the values from before are back, announced, and the snapshot
    // is gone.
    QCOMPARE(bundle.value("scan", "IRSpeckle.If_Save_Pic"),
             qMakePair(QVariant(qlonglong(0)), QString("integer")));
    QCOMPARE(bundle.value("config", "developerModeEnabled"), qMakePair(QVariant("false"), QString("text")));
    QVERIFY(!QFile::exists(bundle.snapshot()));
    const QList<QJsonObject> fromPlugin = run.messages("plugin");
    QVERIFY(fromPlugin.size() >= 2);
    const QJsonObject restored = fromPlugin.at(fromPlugin.size() - 2);
    QCOMPARE(restored["cmd"].toString(), QString("developerModeSettingChanged"));
    QCOMPARE(restored["changedKey"].toString(), QString("all"));
    QCOMPARE(restored["settings"].toObject()["enableSaveScanImage"], QJsonValue(false));
    // Colours travel as text names.
    QCOMPARE(restored["settings"].toObject()["pseudo_color_bound_1"].toString(), QString("#0000ff"));
    QCOMPARE(fromPlugin.last(), (QJsonObject{{"cmd", "developerModeEnabledChanged"}, {"enabled", false}}));
}

void tst_VoraHost::restartAfterKillComesBackInDeveloperMode()
{
    Bundle bundle;
    QVERIFY2(bundle.isValid(), qPrintable(bundle.errorString()));
    {
        Run first(bundle);
        first.start();
        first.send(kEnable);
        QVERIFY(first.waitForLine(rollbackAnswer) >= 0);
        first.send(kShowView);
        first.send(R"({"wait": 200})");
        first.send(evalInDeveloperMode("$developerModeController.updateValue('enableSaveCaliImage', true)"));
        QTRY_COMPARE(bundle.value("calibration", "calibSavePic"),
                     qMakePair(QVariant("true"), QString("text")));
        QTRY_COMPARE(bundle.readSnapshot()["last"].toObject()["enableSaveCaliImage"], QJsonValue(true));
        first.killHard();
    }
    QVERIFY(QFile::exists(bundle.snapshot()));

    Run second(bundle);
    second.start();
    // No command: the stored state alone brings the developer mode back, and
    // the settings come from the snapshot, without asking the host again.
    const int back = second.waitForLine(settingsAll);
    QVERIFY(back >= 0);
    QVERIFY(second.messages("host").isEmpty());
    QCOMPARE(second.messages("plugin").first(),
             (QJsonObject{{"cmd", "developerModeEnabledChanged"}, {"enabled", true}}));
    QVERIFY(second.messages("plugin", "developerModeQuerySetting").isEmpty());
    const QJsonObject settings = second.lines().at(back)["param"].toObject()["settings"].toObject();
    QCOMPARE(settings["enableSaveCaliImage"], QJsonValue(true));
    QCOMPARE(settings["rollbackFrame"].toInt(), 5);

    second.send(kDisable);
    QVERIFY(second.finish());
    QCOMPARE(second.exitCode(), 0);
    QCOMPARE(bundle.value("calibration", "calibSavePic"), qMakePair(QVariant("false"), QString("text")));
    QCOMPARE(bundle.value("config", "developerModeEnabled"), qMakePair(QVariant("false"), QString("text")));
    QVERIFY(!QFile::exists(bundle.snapshot()));
}

void tst_VoraHost::rollbackFrameAnsweredAndRestored()
{
    Bundle bundle;
    QVERIFY2(bundle.isValid(), qPrintable(bundle.errorString()));
    {
        // A first run makes the database from the sample.
        Run make(bundle);
        make.start();
        QVERIFY(make.finish());
        QCOMPARE(make.exitCode(), 0);
    }
    QVERIFY(bundle.exec("UPDATE scan SET value = 7 WHERE key = 'rollbackFrame'"));

    Run run(bundle);
    run.start();
    run.send(kEnable);
    const int answer = run.waitForLine(rollbackAnswer);
    QVERIFY(answer >= 0);
    QCOMPARE(run.lines().at(answer)["param"].toObject(),
             (QJsonObject{{"cmd", "developerModeQuerySettingResp"},
                          {"module", "DeveloperMode"},
                          {"key", "rollbackFrame"},
                          {"value", 7}}));
    // Answered on a later turn: after the full settings that the plug-in
    // publishes in the same turn as its query.
    const int query = run.waitForLine(
            [](const QJsonObject &l) { return isCmd(l, "plugin", "developerModeQuerySetting"); });
    const int all = run.waitForLine(settingsAll);
    QVERIFY(query >= 0 && all >= 0);
    QVERIFY(query < all);
    QVERIFY(all < answer);
    QTRY_COMPARE(bundle.readSnapshot()["init"].toObject()["rollbackFrame"].toInt(), 7);

    run.send(kShowView);
    run.send(R"({"wait": 200})");
    run.send(evalInDeveloperMode("$developerModeController.updateValue('rollbackFrame', 12)"));
    QTRY_COMPARE(bundle.value("scan", "rollbackFrame"),
                 qMakePair(QVariant(qlonglong(12)), QString("integer")));

    run.send(kDisable);
    QVERIFY(run.finish());
    QCOMPARE(run.exitCode(), 0);
    QCOMPARE(bundle.value("scan", "rollbackFrame"), qMakePair(QVariant(qlonglong(7)), QString("integer")));
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
}

void tst_VoraHost::badScriptLine()
{
    QFETCH(QByteArray, badLine);
    QFETCH(QString, reason);
    Bundle bundle;
    QVERIFY2(bundle.isValid(), qPrintable(bundle.errorString()));
    QFile script(bundle.root() + "/script.jsonl");
    QVERIFY(script.open(QIODevice::WriteOnly));
    script.write("# switch on, then a bad line\n\n" + kEnable + "\n" + badLine + "\n"
                 + R"({"deliver": {"cmd": "showConfigEditor", "visible": true}})" + "\n");
    script.close();

    Run run(bundle);
    run.start({"--script", script.fileName()});
    QVERIFY(run.waitForExit());
    QCOMPARE(run.exitStatus(), QProcess::NormalExit);
    QCOMPARE(run.exitCode(), 2);
    const QString error = run.errorOutput();
    QVERIFY2(error.contains("script line 4: "), qPrintable(error));
    QVERIFY2(error.contains(reason), qPrintable(error));
    // The step before the bad line was done and stays done; the one after
    // never ran.
    QCOMPARE(run.messages("plugin", "developerModeEnabledChanged").size(), 1);
    QCOMPARE(bundle.value("config", "developerModeEnabled").first, QVariant("true"));
    QVERIFY(run.messages("host", "showConfigEditor").isEmpty());
}

void tst_VoraHost::pluginThatFailsToLoad_data()
{
    QTest::addColumn<QString>("plugin");
    QTest::addColumn<QString>("reason");
    QTest::newRow("missing file") << "plugins/libNothing.so"
                                  << "no such file";
    QTest::newRow("not a plug-in") << "lib/libVoraConfig.so"
                                   << "";
    QTest::newRow("foreign interface") << QStringLiteral(FOREIGN_PLUGIN_FILE) << "interface";
    QTest::newRow("factory makes nothing") << QStringLiteral(NULL_FACTORY_PLUGIN_FILE) << "made no";
}

void tst_VoraHost::pluginThatFailsToLoad()
{
    QFETCH(QString, plugin);
    QFETCH(QString, reason);
    Bundle bundle;
    QVERIFY2(bundle.isValid(), qPrintable(bundle.errorString()));
    const QString file = QDir(bundle.root()).absoluteFilePath(plugin);

    Run run(bundle);
    run.start({"--plugin", file, "--script", "-"});
    QVERIFY(run.finish());
    QCOMPARE(run.exitCode(), 1);
    QVERIFY(run.rawLines().isEmpty());
    QStringList lines = run.errorOutput().split('\n', Qt::SkipEmptyParts);
    lines = lines.filter(QRegularExpression("^vorahost: (?!created)"));
    QCOMPARE(lines.size(), 1);
    QVERIFY2(lines.first().contains(file), qPrintable(lines.first()));
    QVERIFY2(lines.first().contains(reason), qPrintable(lines.first()));
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
    QVERIFY2(bundle.isValid(), qPrintable(bundle.errorString()));
    const QString file = QDir(bundle.root()).absoluteFilePath(db);

    Run run(bundle);
    run.start({"--db", db, "--script", "-"});
    run.send(kEnable);
    QVERIFY(run.finish());
    QCOMPARE(run.exitCode(), exitCode);
    QStringList lines =
            run.errorOutput().split('\n', Qt::SkipEmptyParts).filter(QRegularExpression("^vorahost: "));
    QCOMPARE(lines.size(), 1);
    QVERIFY2(lines.first().contains(file) && lines.first().contains(message), qPrintable(lines.first()));
    // The bundle's own database is not touched by a run on another one.
    QVERIFY(!QFile::exists(bundle.database()));
    if (exitCode == 0) {
        // The plug-in worked on the same file: the host's store of the
        // developer mode landed there.
        QCOMPARE(run.messages("plugin", "developerModeEnabledChanged").size(), 1);
        sqlite3 *handle = nullptr;
        QCOMPARE(sqlite3_open_v2(QFile::encodeName(file).constData(), &handle, SQLITE_OPEN_READONLY, nullptr),
                 SQLITE_OK);
        sqlite3_stmt *stmt = nullptr;
        sqlite3_prepare_v2(handle, "SELECT value FROM config WHERE key = 'developerModeEnabled'", -1, &stmt,
                           nullptr);
        QCOMPARE(sqlite3_step(stmt), SQLITE_ROW);
        QCOMPARE(QByteArray(reinterpret_cast<const char *>(sqlite3_column_text(stmt, 0))),
                 QByteArray("true"));
        sqlite3_finalize(stmt);
        sqlite3_close(handle);
    }
}

void tst_VoraHost::noDisplayExplainsHowToRun()
{
    Bundle bundle;
    QVERIFY2(bundle.isValid(), qPrintable(bundle.errorString()));
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

QTEST_GUILESS_MAIN(tst_VoraHost)
#include "tst_vorahost.moc"
