// End-to-end with a window system: vorahost's script clicks, grabs windows
// and closes them by their frame, on the real windows of host and plug-in.

#include "HostRun.h"

#include <QImage>
#include <QJsonArray>
#include <QSet>
#include <QtTest>

using namespace HostTest;

class tst_VoraHostWindows : public QObject
{
    Q_OBJECT

private slots:
    void clickOnMainWindowButton_data();
    void clickOnMainWindowButton();
    void grabEditorThenCloseMainWindow();
};

void tst_VoraHostWindows::clickOnMainWindowButton_data()
{
    QTest::addColumn<QString>("button");
    QTest::addColumn<QJsonObject>("sent");
    QTest::addColumn<QString>("answer");
    QTest::newRow("developer mode on")
            << "developerModeOnButton" << QJsonObject{{"cmd", "enableDeveloperMode"}, {"enabled", true}}
            << "developerModeEnabledChanged";
    QTest::newRow("open config editor")
            << "openConfigEditorButton" << QJsonObject{{"cmd", "showConfigEditor"}, {"visible", true}}
            << "query";
}

void tst_VoraHostWindows::clickOnMainWindowButton()
{
    QFETCH(QString, button);
    QFETCH(QJsonObject, sent);
    QFETCH(QString, answer);
    Bundle bundle;
    QVERIFY(bundle.isValid());
    Run run(bundle);
    run.start();
    const QJsonArray point = run.eval("vorahost",
                                      QString("(function(){ var p = %1.mapToItem(root, %1.width / 2,"
                                              " %1.height / 2); return [p.x, p.y]; })()")
                                              .arg(button))
                                     .toArray();
    QVERIFY2(point.size() == 2, qPrintable(run.errorOutput()));
    run.send(QJsonObject{{"click", QJsonObject{{"window", "vorahost"}, {"x", point[0]}, {"y", point[1]}}}});
    const int reply = run.waitForLine([&](const QJsonObject &line) {
        return line["from"] != "host" && line["param"]["cmd"] == answer;
    });
    QVERIFY2(reply >= 0, qPrintable(run.errorOutput()));
    QCOMPARE(run.messages("host"), QList<QJsonObject>{sent});
    QCOMPARE(run.finish(), 0);
}

void tst_VoraHostWindows::grabEditorThenCloseMainWindow()
{
    Bundle bundle;
    QVERIFY(bundle.isValid());
    const QString shot = bundle.root() + "/shots/editor.png";
    Run run(bundle);
    run.start();
    run.send(R"({"deliver": {"cmd": "showConfigEditor", "visible": true}})");
    QVERIFY(run.waitForLine([](const QJsonObject &l) { return isCmd(l, "host", "dataBaseResponseCmd"); })
            >= 0);
    run.send(R"({"wait": 300})");
    const QJsonArray size = run.eval("配置工具", "[width, height]").toArray();
    run.perform({{"screenshot", QJsonObject{{"window", "配置工具"}, {"file", shot}}}}, "配置工具");
    const QImage image(shot);
    QVERIFY2(!image.isNull(), qPrintable(run.errorOutput()));
    QCOMPARE(image.size(), QSize(size[0].toInt(), size[1].toInt()));
    QSet<QRgb> colours;
    for (int y = 0; y < image.height(); y += 7)
        for (int x = 0; x < image.width(); x += 7)
            colours.insert(image.pixel(x, y));
    QVERIFY(colours.size() > 3);

    // Standard input stays open: the main window's close alone ends the host,
    // with the plug-in's window still open.
    run.send(R"({"close": "vorahost"})");
    QCOMPARE(run.waitForExit(10000), 0);
}

QTEST_GUILESS_MAIN(tst_VoraHostWindows)
#include "tst_vorahost_windows.moc"
