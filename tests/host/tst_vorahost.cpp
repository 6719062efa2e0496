// vorahost as a program: its script lines, plug-ins it must refuse, its
// database option and its answer when there is no display. The developer
// mode and the config editor each have their own end-to-end pass.

#include "HostRun.h"

#include <QtTest>

using namespace HostTest;

namespace {

const QByteArray kEnable = R"({"deliver": {"cmd": "enableDeveloperMode", "enabled": true}})";

} // namespace

class tst_VoraHost : public QObject
{
    Q_OBJECT

private slots:
    void badScriptLine_data();
    void badScriptLine();
    void pluginThatFailsToLoad_data();
    void pluginThatFailsToLoad();
    void databaseOption_data();
    void databaseOption();
    void noDisplayExplainsHowToRun();
};

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
    QTest::newRow("a folder") << "bin" << 1 << "is not a file";
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
        QCOMPARE(VoraTest::value(file, "config", "developerModeEnabled"), QString("true|text"));
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

QTEST_GUILESS_MAIN(tst_VoraHost)
#include "tst_vorahost.moc"
