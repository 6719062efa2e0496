// A script line becomes a step with its arguments, or the exact error that
// stops the script; what each step then does to the windows is tst_vorahost's.

#include "ScriptStep.h"

#include <QJsonDocument>
#include <QJsonObject>
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
    QTest::addColumn<int>("kind");
    QTest::addColumn<QString>("result"); // window|text|x|y|wait|message, or the error
    auto row = [](const QByteArray &line, ScriptStep::Kind kind, const QString &result) {
        QTest::newRow(line.left(50).constData()) << line << int(kind) << result;
    };
    using S = ScriptStep;
    row("", S::Blank, "||0|0|0|{}");
    row(" \t\r\n", S::Blank, "||0|0|0|{}");
    row("  # {\"jump\": 1}\n", S::Blank, "||0|0|0|{}");
    row(R"({"deliver": {"cmd": "x", "n": 2}})", S::Deliver, R"(||0|0|0|{"cmd":"x","n":2})");
    row(R"(  {"wait": 0}  )", S::Wait, "||0|0|0|{}");
    row(R"({"wait": 3600000})", S::Wait, "||0|0|3600000|{}");
    row(R"({"wait": 2.9})", S::Wait, "||0|0|2|{}");
    row(R"({"eval": {"window": "配置工具", "js": "1 + 1"}})", S::Eval, "配置工具|1 + 1|0|0|0|{}");
    row(R"({"click": {"window": "w", "x": 3.5, "y": -1}})", S::Click, "w||3.5|-1|0|{}");
    row(R"({"close": "w"})", S::Close, "w||0|0|0|{}");
    row(R"({"screenshot": {"window": "w", "file": "a.png"}})", S::Screenshot, "w|a.png|0|0|0|{}");
    row(R"({"inspect": "devmode"})", S::Inspect, "||0|0|0|{}");
    row(R"({"revert": "all"})", S::Revert, "|all|0|0|0|{}");
    row(R"({"deliver": )", S::Invalid, "not valid JSON (unterminated object)");
    row(R"({"wait": 0} x)", S::Invalid, "not valid JSON (garbage at the end of the document)");
    row("[1, 2]", S::Invalid, "a step must be a JSON object");
    const QString oneName = "a step has exactly one name (deliver, wait, eval, click, close, screenshot, "
                            "inspect, revert)";
    row("{}", S::Invalid, oneName);
    row(R"({"wait": 1, "close": "x"})", S::Invalid, oneName);
    row(R"({"Wait": 1})", S::Invalid, R"(unknown step "Wait")");
    row(R"({"deliver": "enableDeveloperMode"})", S::Invalid, "deliver needs a parameter map (a JSON object)");
    for (const char *wait : {R"({"wait": "1"})", R"({"wait": -1})", R"({"wait": 3600001})"})
        row(wait, S::Invalid, "wait needs a number of milliseconds (0 to 3600000)");
    row(R"({"eval": "w"})", S::Invalid, "eval needs a JSON object");
    row(R"({"eval": {"js": "1"}})", S::Invalid, R"(eval needs "window" as a string)");
    row(R"({"eval": {"window": "w", "js": 1}})", S::Invalid, R"(eval needs "js" as a string)");
    row(R"({"click": {"window": "w", "x": "3", "y": 1}})", S::Invalid, R"(click needs "x" as a number)");
    row(R"({"click": {"window": "w", "x": 3}})", S::Invalid, R"(click needs "y" as a number)");
    row(R"({"close": 5})", S::Invalid, "close needs a window title");
    row(R"({"screenshot": {"window": 1, "file": "a.png"}})", S::Invalid,
        R"(screenshot needs "window" as a string)");
    row(R"({"screenshot": {"window": "w"}})", S::Invalid, R"(screenshot needs "file" as a string)");
    row(R"({"inspect": "all"})", S::Invalid, R"(inspect takes "devmode")");
    row(R"({"revert": 1})", S::Invalid, "revert needs a setting key");
}

void tst_ScriptStep::parse()
{
    QFETCH(QByteArray, line);
    QFETCH(int, kind);
    QFETCH(QString, result);
    QString error;
    const ScriptStep step = ScriptStep::parse(line, &error);
    QCOMPARE(int(step.kind), kind);
    const QByteArray message = QJsonDocument(QJsonObject::fromVariantMap(step.message))
                                       .toJson(QJsonDocument::Compact);
    const QStringList fields{step.window,
                             step.text,
                             QString::number(step.x),
                             QString::number(step.y),
                             QString::number(step.waitMs),
                             QString::fromUtf8(message)};
    QCOMPARE(kind == ScriptStep::Invalid ? error : fields.join('|'), result);
}

QTEST_APPLESS_MAIN(tst_ScriptStep)
#include "tst_scriptstep.moc"
