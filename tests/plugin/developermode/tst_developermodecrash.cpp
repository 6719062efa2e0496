// The developer mode end to end, with a real crash: vorahost enters the
// developer mode from its main window, the developer-mode window changes
// settings and the host is killed with SIGKILL; the next run comes back in
// the developer mode from the stored flag and the snapshot alone, and the
// window's exit button then puts the database back as it was before.

#include "DeveloperModeFixture.h"
#include "HostRun.h"

#include <QtTest>

using namespace DevModeTest;
using namespace HostTest;

namespace {

const QString Window = QStringLiteral("开发者模式");

// Opens the window: it is there when the request has been delivered.
void showWindow(Run &run)
{
    run.perform({{"deliver", QJsonObject{{"module", "DeveloperMode"}, {"cmd", "showDeveloperModeView"}}}},
                Window);
}

// The plug-in's messages as "cmd" or "cmd:changedKey".
QStringList pluginCommands(const Run &run)
{
    QStringList result;
    for (const QJsonObject &bus : run.messages("plugin"))
        result << bus["cmd"].toString()
                        + (bus.contains("changedKey") ? ":" + bus["changedKey"].toString() : "");
    return result;
}

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
    QString seed = schema() + row("ui", "cameraVideo.E7.needRightCamera", "'true'")
            + row("calibration", "calibSavePic", "'false'") + row("calibration", "readPicMod", "1")
            + row("scan", "rollbackFrame", "4") + row("config", "watermarkEnabled", "'true'")
            + row("config", "other", "'kept'");
    const char *flags[] = {"If_Save_Pic", "If_Save_GrayPic", "If_Save_ColorPic", "If_Read_Pic"};
    for (int i = 0; i < 4; ++i)
        seed += row("scan", QStringLiteral("IRSpeckle.") + flags[i], QString::number(i % 2));
    const char *sections[] = {"5", "2.5", "'x'", "40", "50", "60"};
    const char *bounds[] = {"'255,0,0'", "'0,255,0'", "'0,0,255'", "'1,2,3'", "'4,5,6'", "'7,8,9'"};
    for (int n = 1; n <= 6; ++n)
        seed += row("scan", QStringLiteral("IRSpeckle.pseudo_color_section_%1").arg(n), sections[n - 1])
                + row("scan", QStringLiteral("IRSpeckle.pseudo_color_bound_%1").arg(n), bounds[n - 1]);
    VoraTest::TempDatabase db(seed);
    QVERIFY2(db.isValid(), qPrintable(db.errorString()));
    const QStringList original = db.dump();
    Bundle bundle;
    QVERIFY(bundle.isValid());
    const QStringList args{"--db", db.fileName(), "--script", "-"};

    // First run: in, answered by the host, changed in the window, killed.
    Run first(bundle);
    first.start(args);
    first.click("vorahost", "developerModeOn");
    QVERIFY(first.waitForLine([](const QJsonObject &l) {
        return isCmd(l, "host", "developerModeQuerySettingResp");
    }) >= 0);
    showWindow(first);
    QStringList changed{"developerModeEnabledChanged", "developerModeQuerySetting",
                        "developerModeSettingChanged:all"};
    // One change per eval: each stays far inside the host's time limit for a script's JavaScript.
    for (const auto &change : {std::make_pair("enableReadCaliImage", "false"),
                               {"enableSaveScanImage", "true"},
                               {"enableSaveScanImage_GrayPic", "true"},
                               {"enableSecondCameraWindow", "false"},
                               {"pseudo_color_bound_1", "Qt.rgba(10 / 255, 20 / 255, 30 / 255, 1)"},
                               {"pseudo_color_section_2", "99"},
                               {"enableWatermark", "false"},
                               {"enablePseudoColor", "false"}}) {
        first.eval(Window,
                   QStringLiteral("$developerModeController.updateValue('%1', %2)")
                           .arg(change.first, change.second));
        changed << QStringLiteral("developerModeSettingChanged:") + change.first;
    }
    QCOMPARE(pluginCommands(first), changed);
    // The changes reached the database before the kill.
    QCOMPARE(db.stored("config", "developerModeEnabled"), QString("true|text"));
    QCOMPARE(db.stored("calibration", "readPicMod"), QString("0|integer"));
    QCOMPARE(db.stored("scan", "IRSpeckle.pseudo_color_bound_1"), QString("10,20,30|text"));
    const QByteArray snapshot = readFile(bundle.snapshot());
    QVERIFY(first.kill());
    QCOMPARE(readFile(bundle.snapshot()), snapshot);
    const QJsonObject init = QJsonDocument::fromJson(snapshot)["init"].toObject();
    const QJsonObject last = QJsonDocument::fromJson(snapshot)["last"].toObject();
    QCOMPARE(init["enableReadCaliImage"], QJsonValue(true));
    QCOMPARE(last["enableReadCaliImage"], QJsonValue(false));
    QCOMPARE(init["pseudo_color_bound_1"], QJsonValue("#ff0000"));
    QCOMPARE(last["pseudo_color_bound_1"], QJsonValue("#0a141e"));
    QCOMPARE(init["rollbackFrame"], QJsonValue(4));

    // Someone changes the database meanwhile; the next run must not read it.
    QVERIFY(db.exec("UPDATE calibration SET value = 'tampered' WHERE key = 'readPicMod';"
                    "UPDATE scan SET value = 7 WHERE key = 'IRSpeckle.If_Save_Pic';"
                    "UPDATE scan SET value = '1,1,1' WHERE key = 'IRSpeckle.pseudo_color_bound_1';"
                    "UPDATE ui SET value = 'tampered' WHERE key = 'cameraVideo.E7.needRightCamera';"));

    // Second run: back in the developer mode by itself, then the exit button
    // on the window's second tab, clicked.
    Run second(bundle);
    second.start(args);
    QVERIFY(second.waitForLine([](const QJsonObject &l) { return l["param"]["changedKey"] == "all"; }) >= 0);
    QCOMPARE(readFile(bundle.snapshot()), snapshot);
    showWindow(second);
    second.eval(Window, "header.currentIndex = 1");
    second.click(Window, "quitButton");
    QCOMPARE(second.finish(), 0);
    QCOMPARE(pluginCommands(second),
             QStringList({"developerModeEnabledChanged", "developerModeSettingChanged:all",
                          "developerModeSettingChanged:all", "developerModeEnabledChanged"}));
    const QList<QJsonObject> bus = second.messages("plugin");
    QCOMPARE(bus.at(0)["enabled"], QJsonValue(true));
    QCOMPARE(bus.at(1)["settings"].toObject(), last);
    QCOMPARE(bus.at(2)["settings"].toObject(), init);
    QCOMPARE(bus.at(3)["enabled"], QJsonValue(false));
    // Standard output is JSON lines only.
    QVERIFY(!second.lines().contains(QJsonObject()));

    // Every value from before is back, in the forms leaving writes; the
    // watermark keeps the developer mode's choice.
    QStringList expected = original;
    VoraTest::setRow(expected, "calibration|readPicMod", "true|text");
    VoraTest::setRow(expected, "config|watermarkEnabled", "false|text");
    VoraTest::setRow(expected, "config|developerModeEnabled", "false|text");
    QCOMPARE(db.dump(), expected);
    QVERIFY(!QFile::exists(bundle.snapshot()));
}

QTEST_GUILESS_MAIN(tst_DeveloperModeCrash)
#include "tst_developermodecrash.moc"
