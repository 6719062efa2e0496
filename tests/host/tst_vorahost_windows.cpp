// End-to-end with a window system: vorahost's script clicks, closes windows
// by their frame and grabs them, on the real windows of host and plug-in.

#include "HostRun.h"

#include <QImage>
#include <QJsonArray>
#include <QSet>
#include <QtTest>

using namespace HostTest;

namespace {

QByteArray evalIn(const QString &window, const QString &js)
{
    return step({{"eval", QJsonObject{{"window", window}, {"js", js}}}});
}

int pageQueries(const Run &run)
{
    return run.messages("page", "query").size();
}

int distinctColours(const QImage &image)
{
    QSet<QRgb> colours;
    for (int y = 0; y < image.height(); y += 7)
        for (int x = 0; x < image.width(); x += 7)
            colours.insert(image.pixel(x, y));
    return colours.size();
}

} // namespace

class tst_VoraHostWindows : public QObject
{
    Q_OBJECT

private slots:
    void clickOnMainWindowButton_data();
    void clickOnMainWindowButton();
    void configEditorGrabbedAndClosedByItsFrame();
    void closingTheMainWindowEndsTheHost();
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
    QVERIFY2(bundle.isValid(), qPrintable(bundle.errorString()));
    Run run(bundle);
    run.start();
    run.send(evalIn("vorahost",
                    QString("(function(){ var p = %1.mapToItem(root, %1.width / 2, %1.height / 2);"
                            " return [p.x, p.y]; })()")
                            .arg(button)));
    const int at = run.waitForLine([](const QJsonObject &line) { return line.contains("eval"); });
    QVERIFY2(at >= 0, qPrintable(run.errorOutput()));
    const QJsonArray point = run.lines().at(at)["eval"].toArray();
    QCOMPARE(point.size(), 2);
    run.send(step({{"click", QJsonObject{{"window", "vorahost"}, {"x", point[0]}, {"y", point[1]}}}}));

    const int reply = run.waitForLine([&](const QJsonObject &line) {
        return line["from"].toString() != QLatin1String("host")
                && line["param"].toObject()["cmd"].toString() == answer;
    });
    QVERIFY2(reply >= 0, qPrintable(run.errorOutput()));
    QCOMPARE(run.messages("host"), QList<QJsonObject>{sent});
    QVERIFY(run.finish());
    QCOMPARE(run.exitCode(), 0);
}

void tst_VoraHostWindows::configEditorGrabbedAndClosedByItsFrame()
{
    Bundle bundle;
    QVERIFY2(bundle.isValid(), qPrintable(bundle.errorString()));
    const QString shot = bundle.root() + "/shots/editor.png";
    Run run(bundle);
    run.start();
    run.send(R"({"deliver": {"cmd": "showConfigEditor", "visible": true}})");
    QVERIFY(run.waitForLine([](const QJsonObject &l) { return isCmd(l, "host", "dataBaseResponseCmd"); })
            >= 0);
    run.send(R"({"wait": 300})");
    run.send(evalIn("配置工具", "[width, height]"));
    run.send(step({{"screenshot", QJsonObject{{"window", "配置工具"}, {"file", shot}}}}));
    const int size = run.waitForLine([](const QJsonObject &line) { return line.contains("eval"); });
    QVERIFY2(size >= 0, qPrintable(run.errorOutput()));

    run.send(R"({"close": "配置工具"})");
    const int before = pageQueries(run);
    // Closed by its frame, the editor is gone: opening it again makes a new
    // page, which asks for its rows again.
    run.send(R"({"deliver": {"cmd": "showConfigEditor", "visible": true}})");
    run.send(R"({"wait": 300})");
    QVERIFY(run.finish());
    QCOMPARE(run.exitCode(), 0);
    QVERIFY2(pageQueries(run) > before, qPrintable(run.rawLines().join('\n')));

    QImage image(shot);
    QVERIFY2(!image.isNull(), qPrintable(shot));
    const QJsonArray expected = run.lines().at(size)["eval"].toArray();
    QCOMPARE(image.size(), QSize(expected[0].toInt(), expected[1].toInt()));
    QVERIFY(distinctColours(image) > 3);
}

void tst_VoraHostWindows::closingTheMainWindowEndsTheHost()
{
    Bundle bundle;
    QVERIFY2(bundle.isValid(), qPrintable(bundle.errorString()));
    Run run(bundle);
    run.start();
    run.send(R"({"deliver": {"cmd": "showConfigEditor", "visible": true}})");
    QVERIFY(run.waitForLine([](const QJsonObject &l) { return isCmd(l, "page", "query"); }) >= 0);
    // Standard input stays open: the window's close alone ends the host,
    // with the plug-in's window still open.
    run.send(R"({"close": "vorahost"})");
    QVERIFY(run.waitForExit(10000));
    QCOMPARE(run.exitStatus(), QProcess::NormalExit);
    QCOMPARE(run.exitCode(), 0);
}

QTEST_GUILESS_MAIN(tst_VoraHostWindows)
#include "tst_vorahost_windows.moc"
