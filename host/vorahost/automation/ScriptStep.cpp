#include "ScriptStep.h"

#include "StoredJson.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>
#include <QStringList>

namespace {

using Reader = bool (*)(const QString &name, const QJsonValue &arg, ScriptStep *step, QString *error);

// Every step once: its name, how its argument is read, and its --help row.
struct Rule
{
    const char *name;
    ScriptStep::Kind kind;
    Reader read;
    const char *synopsis;
    const char *help; // lines separated by '\n'
};

bool fail(QString *error, const QString &text)
{
    *error = text;
    return false;
}

bool needString(const QString &name, const QJsonObject &object, const char *key, QString *out, QString *error)
{
    const QJsonValue value = object.value(QLatin1String(key));
    *out = value.toString();
    return value.isString()
            || fail(error, QStringLiteral("%1 needs \"%2\" as a string").arg(name, QLatin1String(key)));
}

bool needNumber(const QString &name, const QJsonObject &object, const char *key, double *out, QString *error)
{
    const QJsonValue value = object.value(QLatin1String(key));
    *out = value.toDouble();
    return value.isDouble()
            || fail(error, QStringLiteral("%1 needs \"%2\" as a number").arg(name, QLatin1String(key)));
}

// eval, click and screenshot take an object naming their window.
bool windowObject(const QString &name, const QJsonValue &arg, ScriptStep *step, QJsonObject *object,
                  QString *error)
{
    if (!arg.isObject())
        return fail(error, QStringLiteral("%1 needs a JSON object").arg(name));
    *object = arg.toObject();
    return needString(name, *object, "window", &step->window, error);
}

bool readDeliver(const QString &, const QJsonValue &arg, ScriptStep *step, QString *error)
{
    step->message = arg.toObject().toVariantMap();
    return arg.isObject() || fail(error, QStringLiteral("deliver needs a parameter map (a JSON object)"));
}

bool readWait(const QString &, const QJsonValue &arg, ScriptStep *step, QString *error)
{
    if (!arg.isDouble() || arg.toDouble() < 0 || arg.toDouble() > 3600000)
        return fail(error, QStringLiteral("wait needs a number of milliseconds (0 to 3600000)"));
    step->waitMs = int(arg.toDouble());
    return true;
}

bool readEval(const QString &name, const QJsonValue &arg, ScriptStep *step, QString *error)
{
    QJsonObject object;
    return windowObject(name, arg, step, &object, error)
            && needString(name, object, "js", &step->text, error);
}

bool readClick(const QString &name, const QJsonValue &arg, ScriptStep *step, QString *error)
{
    QJsonObject object;
    return windowObject(name, arg, step, &object, error) && needNumber(name, object, "x", &step->x, error)
            && needNumber(name, object, "y", &step->y, error);
}

bool readClose(const QString &, const QJsonValue &arg, ScriptStep *step, QString *error)
{
    step->window = arg.toString();
    return arg.isString() || fail(error, QStringLiteral("close needs a window title"));
}

bool readScreenshot(const QString &name, const QJsonValue &arg, ScriptStep *step, QString *error)
{
    QJsonObject object;
    return windowObject(name, arg, step, &object, error)
            && needString(name, object, "file", &step->text, error);
}

bool readInspect(const QString &, const QJsonValue &arg, ScriptStep *, QString *error)
{
    return arg.toString() == QLatin1String("devmode")
            || fail(error, QStringLiteral("inspect takes \"devmode\""));
}

bool readRevert(const QString &, const QJsonValue &arg, ScriptStep *step, QString *error)
{
    step->text = arg.toString();
    return arg.isString() || fail(error, QStringLiteral("revert needs a setting key"));
}

const Rule kRules[] = {
        {"deliver", ScriptStep::Deliver, readDeliver, R"({"deliver": {...}})",
         "a parameter map to the plug-in"},
        {"wait", ScriptStep::Wait, readWait, R"({"wait": N})", "run the event loop N ms"},
        {"eval", ScriptStep::Eval, readEval, R"({"eval": {"window": T, "js": EXPR}})",
         R"(prints {"eval": value})"},
        {"click", ScriptStep::Click, readClick, R"({"click": {"window": T, "x": X, "y": Y}})", "left click"},
        {"close", ScriptStep::Close, readClose, R"({"close": T})", "close as the window frame would"},
        {"screenshot", ScriptStep::Screenshot, readScreenshot,
         R"({"screenshot": {"window": T, "file": PATH}})", "save the window as PNG"},
        {"inspect", ScriptStep::Inspect, readInspect, R"({"inspect": "devmode"})",
         "prints the developer mode's settings"},
        {"revert", ScriptStep::Revert, readRevert, R"({"revert": KEY})",
         "a setting back to its entry value (\"all\":\nevery changed one); needs its window open"},
};

} // namespace

ScriptStep ScriptStep::parse(const QByteArray &line, QString *error)
{
    ScriptStep step;
    const QString text = QString::fromUtf8(line).trimmed();
    if (text.isEmpty() || text.startsWith(QLatin1Char('#'))) {
        step.kind = Blank;
        return step;
    }
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(text.toUtf8(), &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        *error = QStringLiteral("not valid JSON (%1)").arg(parseError.errorString());
        return step;
    }
    if (!document.isObject()) {
        *error = QStringLiteral("a step must be a JSON object");
        return step;
    }
    const QJsonObject object = document.object();
    if (object.size() != 1) {
        QStringList names;
        for (const Rule &rule : kRules)
            names.append(QLatin1String(rule.name));
        *error = QStringLiteral("a step has exactly one name (%1)").arg(names.join(QLatin1String(", ")));
        return step;
    }
    const QString name = object.constBegin().key();
    for (const Rule &rule : kRules) {
        if (name != QLatin1String(rule.name))
            continue;
        if (rule.read(name, object.constBegin().value(), &step, error))
            step.kind = rule.kind;
        return step;
    }
    // Quoted as JSON: a name with an escaped line break stays on the error's one line.
    *error = QStringLiteral("unknown step %1").arg(QString::fromUtf8(StoredJson::text(QJsonValue(name))));
    return step;
}

QList<QPair<QString, QString>> ScriptStep::usage()
{
    QList<QPair<QString, QString>> rows;
    for (const Rule &rule : kRules)
        rows.append({QString::fromUtf8(rule.synopsis), QString::fromUtf8(rule.help)});
    return rows;
}
