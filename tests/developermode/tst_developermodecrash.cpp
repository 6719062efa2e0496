// A host killed inside the developer mode, for real: vorahost enters the
// developer mode, changes settings and is killed with SIGKILL; the next run
// comes back in the developer mode from the stored flag and the snapshot
// alone, and leaving then puts the database back as it was before.

#include "DeveloperModeFixture.h"

#include <QJsonArray>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>
#include <functional>

using namespace DevModeTest;

namespace {

// One run of vorahost with its script on standard input and its output read
// as JSON lines; its logs go to the test's own. QProcess kills a host that is
// still running when the run ends.
struct HostRun
{
    QProcess process;
    QList<QJsonObject> lines;

    HostRun(const QString &host, const QStringList &args)
    {
        process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process.start(host, args);
    }
    void send(const QByteArray &line) { process.write(line + '\n'); }

    // Reads output until some line satisfies matches; false when the host
    // ended or took too long.
    bool waitFor(const std::function<bool(const QJsonObject &)> &matches)
    {
        QElapsedTimer timer;
        timer.start();
        for (;;) {
            while (process.canReadLine())
                lines.append(QJsonDocument::fromJson(process.readLine()).object());
            if (std::any_of(lines.cbegin(), lines.cend(), matches))
                return true;
            if (process.state() == QProcess::NotRunning || timer.elapsed() > 20000)
                return false;
            process.waitForReadyRead(100);
        }
    }

    // Shows the page and runs js in it; true once its result came back.
    bool evalInPage(const QString &js)
    {
        send(R"({"deliver": {"module": "DeveloperMode", "cmd": "showDeveloperModeView"}})");
        send(R"({"wait": 200})");
        send(R"({"eval": {"window": "开发者模式", "js": ")" + js.toUtf8() + R"(; 'done'"}})");
        return waitFor([](const QJsonObject &l) { return l.value("eval") == QJsonValue("done"); });
    }

    // The plug-in's messages in order, and the same as "cmd" or
    // "cmd:changedKey".
    QList<QJsonObject> plugin() const
    {
        QList<QJsonObject> result;
        for (const QJsonObject &line : lines) {
            if (line.value("from") == QJsonValue("plugin"))
                result.append(line.value("param").toObject());
        }
        return result;
    }
    QStringList pluginCommands() const
    {
        QStringList result;
        for (const QJsonObject &bus : plugin())
            result.append(
                    bus.value("cmd").toString()
                    + (bus.contains("changedKey") ? ":" + bus.value("changedKey").toString() : QString()));
        return result;
    }
};

} // namespace

class tst_DeveloperModeCrash : public QObject
{
    Q_OBJECT

private slots:
    void killedInsideDeveloperModeResumesAndRestores();
};

void tst_DeveloperModeCrash::killedInsideDeveloperModeResumesAndRestores()
{
    // Stored in the forms that leaving writes back, so that the restored
    // database can be compared with this one row by row.
    QString seed = schema() + rows("ui", {"cameraVideo.E7.needRightCamera='true'"})
            + rows("calibration", {"calibSavePic='false'", "readPicMod=1"})
            + rows("scan", {"If_Save_Pic=1", "If_Save_GrayPic=0", "If_Save_ColorPic=1", "If_Read_Pic=0"})
            + insert("scan", "rollbackFrame", "4")
            + rows("config", {"watermarkEnabled='true'", "other='kept'"});
    const char *sections[] = {"5", "2.5", "'x'", "40", "50", "60"};
    const char *bounds[] = {"'255,0,0'", "'0,255,0'", "'0,0,255'", "'1,2,3'", "'4,5,6'", "'7,8,9'"};
    for (int n = 1; n <= 6; ++n)
        seed += rows("scan",
                     {QStringLiteral("pseudo_color_section_%1=%2").arg(n).arg(sections[n - 1]),
                      QStringLiteral("pseudo_color_bound_%1=%2").arg(n).arg(bounds[n - 1])});
    VoraTest::TempDatabase db(seed);
    QVERIFY2(db.isValid(), qPrintable(db.errorString()));
    const Dump original = dump(db.fileName());
    // The host's own copy in a private folder, so that "<exe dir>/../Resources"
    // and with it the snapshot belong to this test alone.
    QTemporaryDir root;
    const QString host = root.filePath("bin/vorahost");
    const QString snapshotFile = root.filePath("Resources/ScanSets/developer_mode_temp.json");
    QVERIFY(QDir(root.path()).mkdir("bin") && QFile::copy(VORA_BUNDLE_DIR "/bin/vorahost", host));
    for (const char *dir : {"lib", "plugins"})
        QVERIFY(QFile::link(QStringLiteral(VORA_BUNDLE_DIR "/") + dir, root.filePath(dir)));
    const QStringList args{"--db", db.fileName(), "--script", "-"};

    // First run: in, answered by the host, changed, killed.
    HostRun first(host, args);
    first.send(R"({"deliver": {"cmd": "enableDeveloperMode", "enabled": true}})");
    QVERIFY(first.waitFor([](const QJsonObject &l) {
        return l.value("param").toObject().value("cmd") == QJsonValue("developerModeQuerySettingResp");
    }));
    QString js;
    QStringList changed{"developerModeEnabledChanged", "developerModeQuerySetting",
                        "developerModeSettingChanged:all"};
    for (const auto &change : {std::make_pair("enableReadCaliImage", "false"),
                               {"enableSaveScanImage", "false"},
                               {"enableSaveScanImage_GrayPic", "true"},
                               {"enableSecondCameraWindow", "false"},
                               {"pseudo_color_bound_1", "Qt.rgba(10 / 255, 20 / 255, 30 / 255, 1)"},
                               {"pseudo_color_section_2", "99"},
                               {"enableWatermark", "false"},
                               {"enablePseudoColor", "false"}}) {
        js += QStringLiteral("$developerModeController.updateValue('%1', %2); ")
                      .arg(change.first, change.second);
        changed << QStringLiteral("developerModeSettingChanged:") + change.first;
    }
    QVERIFY(first.evalInPage(js));
    QCOMPARE(first.pluginCommands(), changed);
    QCOMPARE(db.value("config", "developerModeEnabled"), qMakePair(QVariant("true"), QStringLiteral("text")));

    const QByteArray snapshot = readFile(snapshotFile);
    first.process.kill();
    QVERIFY(first.process.waitForFinished());
    QCOMPARE(first.process.exitStatus(), QProcess::CrashExit);
    QCOMPARE(readFile(snapshotFile), snapshot);
    const QJsonObject init = QJsonDocument::fromJson(snapshot).object().value("init").toObject();
    const QJsonObject last = QJsonDocument::fromJson(snapshot).object().value("last").toObject();
    QCOMPARE(init.value("enableReadCaliImage"), QJsonValue(true));
    QCOMPARE(last.value("enableReadCaliImage"), QJsonValue(false));
    QCOMPARE(init.value("pseudo_color_bound_1"), QJsonValue("#ff0000"));
    QCOMPARE(last.value("pseudo_color_bound_1"), QJsonValue("#0a141e"));
    QCOMPARE(init.value("rollbackFrame"), QJsonValue(4));
    QCOMPARE(last.value("rollbackFrame"), QJsonValue(4));
    // The changes reached the database before the kill.
    QCOMPARE(db.value("calibration", "readPicMod"), qMakePair(QVariant(0), QStringLiteral("integer")));
    QCOMPARE(db.value("scan", "IRSpeckle.pseudo_color_bound_1"),
             qMakePair(QVariant("10,20,30"), QStringLiteral("text")));

    // Someone changes the database meanwhile; the next run must not read it.
    QVERIFY(db.exec("UPDATE calibration SET value = 'tampered' WHERE key = 'readPicMod';"
                    "UPDATE scan SET value = 7 WHERE key = 'IRSpeckle.If_Save_Pic';"
                    "UPDATE scan SET value = '1,1,1' WHERE key = 'IRSpeckle.pseudo_color_bound_1';"
                    "UPDATE scan SET value = -1 WHERE key = 'IRSpeckle.pseudo_color_section_2';"
                    "UPDATE ui SET value = 'tampered' WHERE key = 'cameraVideo.E7.needRightCamera';"));

    // Second run: back in the developer mode by itself, then the exit button.
    HostRun second(host, args);
    QVERIFY(second.waitFor([](const QJsonObject &l) {
        return l.value("param").toObject().value("changedKey") == QJsonValue("all");
    }));
    QCOMPARE(readFile(snapshotFile), snapshot);
    QVERIFY(second.evalInPage("$developerModeController.quitDeveloperMode()"));
    second.process.closeWriteChannel();
    QVERIFY(second.process.waitForFinished(20000));
    QCOMPARE(second.process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(second.process.exitCode(), 0);
    second.waitFor([](const QJsonObject &) { return false; }); // the rest of the output
    QCOMPARE(second.pluginCommands(),
             QStringList({"developerModeEnabledChanged", "developerModeSettingChanged:all",
                          "developerModeSettingChanged:all", "developerModeEnabledChanged"}));
    const QList<QJsonObject> bus = second.plugin();
    QCOMPARE(bus.at(0).value("enabled"), QJsonValue(true));
    QCOMPARE(bus.at(1).value("settings").toObject(), last);
    QCOMPARE(bus.at(2).value("settings").toObject(), init);
    QCOMPARE(bus.at(3).value("enabled"), QJsonValue(false));

    // Every value from before is back, in the forms leaving writes; the
    // watermark keeps the developer mode's choice.
    Dump expected = original;
    expected.insert("calibration|readPicMod", stored("true", "text"));
    expected.insert("config|watermarkEnabled", stored("false", "text"));
    expected.insert("config|developerModeEnabled", stored("false", "text"));
    const QString mismatch = diff(dump(db.fileName()), expected);
    QVERIFY2(mismatch.isEmpty(), qPrintable(mismatch));
    QVERIFY(!QFile::exists(snapshotFile));
}

QTEST_GUILESS_MAIN(tst_DeveloperModeCrash)
#include "tst_developermodecrash.moc"
