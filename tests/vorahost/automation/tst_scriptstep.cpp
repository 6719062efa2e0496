// A script line becomes a step with its arguments, or the exact error that
// stops the script; what each step then does to the windows is tst_vorahost's.

#include "ScriptStep.h"

#include <QtTest>

class tst_ScriptStep : public QObject
{
    Q_OBJECT

private slots:
    void parse_data();
    void parse();
};

void tst_ScriptStep::parse_data()
{
    QTest::addColumn<QByteArray>("line");
    // kind|window|text|x|y|wait|message for a step, the error for a bad line
    QTest::addColumn<QString>("result");
    auto row = [](const QByteArray &line, const QString &result) {
        QTest::newRow(line.constData()) << line << result;
    };
    row("", "1|||0|0|0|{}");
    row("  # {\"jump\": 1}\n", "1|||0|0|0|{}");
    row(R"({"deliver": {"cmd": "x", "n": 2}})", R"(2|||0|0|0|{"cmd":"x","n":2})");
    row(" {\"wait\": 3600000}\r\n", "3|||0|0|3600000|{}");
    row(R"({"wait": 2.9})", "3|||0|0|2|{}");
    row(R"({"eval": {"window": "配置工具", "js": "1 + 1"}})", "4|配置工具|1 + 1|0|0|0|{}");
    row(R"({"click": {"window": "w", "x": 3.5, "y": -1}})", "5|w||3.5|-1|0|{}");
    row(R"({"close": "w"})", "6|w||0|0|0|{}");
    row(R"({"screenshot": {"window": "w", "file": "a.png"}})", "7|w|a.png|0|0|0|{}");
    row(R"({"inspect": "devmode"})", "8|||0|0|0|{}");
    row(R"({"revert": "all"})", "9||all|0|0|0|{}");
    row(R"({"deliver": )", "not valid JSON (unterminated object)");
    row("[1, 2]", "a step must be a JSON object");
    for (const char *line : {"{}", R"({"wait": 1, "close": "x"})"})
        row(line,
            "a step has exactly one name (deliver, wait, eval, click, close, screenshot, inspect, revert)");
    row(R"({"Wait": 1})", R"(unknown step "Wait")");
    row(R"({"deliver": "enableDeveloperMode"})", "deliver needs a parameter map (a JSON object)");
    for (const char *line : {R"({"wait": "1"})", R"({"wait": -1})", R"({"wait": 3600001})"})
        row(line, "wait needs a number of milliseconds (0 to 3600000)");
    row(R"({"eval": "w"})", "eval needs a JSON object");
    row(R"({"eval": {"js": "1"}})", R"(eval needs "window" as a string)");
    row(R"({"eval": {"window": "w", "js": 1}})", R"(eval needs "js" as a string)");
    row(R"({"click": {"window": "w", "x": "3", "y": 1}})", R"(click needs "x" as a number)");
    row(R"({"click": {"window": "w", "x": 3}})", R"(click needs "y" as a number)");
    row(R"({"close": 5})", "close needs a window title");
    row(R"({"screenshot": {"window": 1, "file": "a.png"}})", R"(screenshot needs "window" as a string)");
    row(R"({"screenshot": {"window": "w"}})", R"(screenshot needs "file" as a string)");
    row(R"({"inspect": "all"})", R"(inspect takes "devmode")");
    row(R"({"revert": 1})", "revert needs a setting key");
}

void tst_ScriptStep::parse()
{
    QFETCH(QByteArray, line);
    QFETCH(QString, result);
    QString error;
    const ScriptStep s = ScriptStep::parse(line, &error);
    const QStringList fields{QString::number(s.kind),
                             s.window,
                             s.text,
                             QString::number(s.x),
                             QString::number(s.y),
                             QString::number(s.waitMs),
                             QJsonDocument::fromVariant(s.message).toJson(QJsonDocument::Compact)};
    QCOMPARE(s.kind == ScriptStep::Invalid ? error : fields.join('|'), result);
    QCOMPARE(error.isEmpty(), s.kind != ScriptStep::Invalid);
}

QTEST_APPLESS_MAIN(tst_ScriptStep)
#include "tst_scriptstep.moc"
