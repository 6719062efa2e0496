// vorahost as a program: its exit codes, the script steps that act on windows,
// plug-ins it must refuse, its database option and its answer when there is no
// display. How a script line or an option is read: tst_scriptstep and
// tst_hostoptions. The developer mode and the config editor each have their
// own end-to-end pass.

#include "HostRun.h"

#include <QRandomGenerator>
#include <QtTest>

#include <csignal>

using namespace HostTest;

namespace {

const QByteArray kEnable = R"({"deliver": {"cmd": "enableDeveloperMode", "enabled": true}})";

} // namespace

class tst_VoraHost : public QObject
{
    Q_OBJECT

private slots:
    // host-runs.json "badScriptLine": [tag, the line, what the error says].
    void badScriptLine_data()
    {
        QTest::addColumn<QByteArray>("badLine");
        QTest::addColumn<QString>("reason");
        for (const QJsonValue row :
             VoraTest::dataTable("vorahost/app/host-runs.json", "badScriptLine").toArray())
            QTest::newRow(qPrintable(row[0].toString())) << row[1].toString().toUtf8() << row[2].toString();
        QTest::newRow("line without an end") << QByteArray(1100000, 'x') << "longer than 1048576 bytes";
    }
    void badScriptLine()
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
        QCOMPARE(VoraTest::value(bundle.database(), "config", "developerModeEnabled"), QString("true|text"));
        QVERIFY(run.messages("host", "showConfigEditor").isEmpty());
    }
    void startOptions_data()
    {
        QTest::addColumn<QString>("option");
        QTest::addColumn<QString>("file"); // relative to the bundle
        QTest::addColumn<QByteArray>("content"); // written to file first, unless null
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("message");
        auto row = [](const char *tag, const char *option, const QString &file, const QByteArray &content,
                      int exitCode, const QString &message) {
            QTest::newRow(tag) << option << file << content << exitCode << message;
        };
        row("plug-in missing", "--plugin", "plugins/libNothing.so", {}, 1, "no such file");
        row("not a plug-in", "--plugin", "lib/libVoraConfig.so", {}, 1, "");
        row("foreign interface", "--plugin", FOREIGN_PLUGIN_FILE, {}, 1,
            "interface 'org.example.OtherHost.Factory' is not '" VoraFactory_iid "'");
        row("instance is no factory", "--plugin", WRONG_INSTANCE_PLUGIN_FILE, {}, 1,
            "its instance is not a VoraFactory");
        row("factory makes nothing", "--plugin", NULL_FACTORY_PLUGIN_FILE, {}, 1,
            "the factory made no ApplicationToolsController");
        row("new database in a new folder", "--db", "elsewhere/deeper/my.db", {}, 0,
            "from the shipped sample");
        row("database is a folder", "--db", "bin", {}, 1, "is not a file");
        // Damaged databases are refused and left as they are.
        QByteArray noise(8192, 0);
        QRandomGenerator::global()->fillRange(reinterpret_cast<quint32 *>(noise.data()), noise.size() / 4);
        row("random bytes", "--db", "damaged.db", noise, 1, "is damaged: file is not a database");
        const VoraTest::TempDatabase sample(
                "CREATE TABLE scan (key TEXT PRIMARY KEY, value, comment TEXT); WITH RECURSIVE n(i) AS "
                "(SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 2000) "
                "INSERT INTO scan SELECT 'key' || i, i, 'a comment' FROM n");
        QFile file(sample.fileName());
        QVERIFY(file.open(QIODevice::ReadOnly));
        row("cut in half", "--db", "damaged.db", file.read(file.size() / 2), 1,
            "is damaged: database disk image is malformed");
        row("empty file", "--db", "damaged.db", QByteArray(""), 1, "holds no tables");
    }
    // One line on standard error names the file and what became of it; a host
    // that cannot start prints nothing on standard output.
    void startOptions()
    {
        QFETCH(QString, option);
        QFETCH(QString, file);
        QFETCH(QByteArray, content);
        QFETCH(int, exitCode);
        QFETCH(QString, message);
        Bundle bundle;
        QVERIFY(bundle.isValid());
        file = QDir(bundle.root()).absoluteFilePath(file);
        QFile written(file);
        QVERIFY(content.isNull()
                || (written.open(QIODevice::WriteOnly) && written.write(content) == content.size()));
        written.close();
        Run run(bundle);
        run.start({option, file, "--script", "-"});
        run.send(kEnable, ""); // the last line needs no line break
        QCOMPARE(run.finish(), exitCode);
        const QStringList lines = run.errorOutput().split('\n').filter(QRegularExpression("^vorahost: "));
        QVERIFY2(lines.filter(file).size() == 1 && lines.filter(file).first().endsWith(message),
                 qPrintable(lines.join('\n')));
        if (exitCode) {
            QVERIFY(run.rawLines().isEmpty());
            QVERIFY(content.isNull() || (written.open(QIODevice::ReadOnly) && written.readAll() == content));
            return;
        }
        // The plug-in worked on the same file, and the bundle's own was not made.
        QCOMPARE(VoraTest::value(file, "config", "developerModeEnabled"), QString("true|text"));
        QVERIFY(!QFile::exists(bundle.database()));
    }
    // Without a display the interactive host says how to run it and starts
    // nothing; a script runs all the same, offscreen, with Qt Quick's software
    // renderer.
    void noDisplay()
    {
        Bundle bundle;
        QVERIFY(bundle.isValid());
        QProcess process;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        for (const char *name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM", "QT_QUICK_BACKEND"})
            env.remove(name);
        process.setProcessEnvironment(env);
        // The command line is read first, and answered without a display.
        process.start(bundle.host(), {"--bogus"});
        QVERIFY(process.waitForFinished(VoraTest::PatienceMs));
        QCOMPARE(process.exitCode(), 2);
        QCOMPARE(process.readAllStandardError(),
                 QByteArray("vorahost: Unknown option 'bogus'. (see --help)\n"));
        process.start(bundle.host(), QStringList());
        QVERIFY(process.waitForFinished(VoraTest::PatienceMs));
        QCOMPARE(process.exitCode(), 1);
        const QString error = QString::fromUtf8(process.readAllStandardError());
        QVERIFY2(error.contains("xvfb-run") && error.contains("QT_QPA_PLATFORM=offscreen"),
                 qPrintable(error));
        QVERIFY(!QFile::exists(bundle.database()));
        // Qt's own message pattern, when one is set, writes the log.
        env.insert("QT_MESSAGE_PATTERN", "%{type} [%{category}] %{message}");
        process.setProcessEnvironment(env);
        process.setWorkingDirectory(bundle.root());
        process.start(bundle.host(), {"--script", "-"});
        // Its windows drawn without OpenGL; a blank line read from standard input.
        process.write(kEnable + "\n\n" + R"({"deliver": {"cmd": "showConfigEditor", "visible": true}})" + "\n"
                      + R"({"screenshot": {"window": "配置工具", "file": "editor.png"}})" + "\n");
        process.closeWriteChannel();
        QVERIFY(process.waitForFinished(VoraTest::PatienceMs));
        QCOMPARE(process.exitCode(), 0);
        QVERIFY(process.readAllStandardOutput().contains("developerModeEnabledChanged"));
        const QByteArray log = process.readAllStandardError();
        QVERIFY2(log.contains("] loaded ") && !log.contains("warning [vora."), log.constData());
        QVERIFY(QFileInfo(bundle.root() + "/editor.png").size() > 1000);
    }
    // SIGTERM ends the host in order, with 128 + the signal as exit code.
    void terminatedWithAnExitCode()
    {
        Bundle bundle;
        QVERIFY(bundle.isValid());
        Run run(bundle);
        run.start();
        QCOMPARE(run.eval("vorahost", "'up'"), QJsonValue("up"));
        run.terminate();
        QCOMPARE(run.waitForExit(), 128 + SIGTERM);
        QVERIFY2(run.errorOutput().contains("signal 15: shutting down"), qPrintable(run.errorOutput()));
    }
    // The host keeps log lines back and writes them out together; a page's line
    // of megabytes still arrives whole (a character outside the BMP where it is
    // cut into slices), and a last short line does not wait for more to come.
    void logLinesWholeAndPrompt()
    {
        Bundle bundle;
        QVERIFY(bundle.isValid());
        Run run(bundle);
        run.start({"--report-peak-memory", "--script", "-"});
        const QString longLine = QString(16383, 'a') + QString::fromUtf8("\U0001F600")
                + QString(3000000, 'b');
        run.eval("vorahost", "console.log('a'.repeat(16383) + '\\uD83D\\uDE00' + 'b'.repeat(3000000)); 0");
        run.eval("vorahost", "console.log('after'); 0");
        const QString error = run.errorOutput();
        QVERIFY(error.contains("qml: " + longLine + "\n"));
        QVERIFY(error.endsWith("qml: after\n"));
        QCOMPARE(run.finish(), 0);
        // Asked for, the peak memory comes last.
        QVERIFY(QRegularExpression("\nvorahost: peak memory \\d+ kB\n$").match(run.errorOutput()).hasMatch());
    }
};

QTEST_GUILESS_MAIN(tst_VoraHost)
#include "tst_vorahost.moc"
