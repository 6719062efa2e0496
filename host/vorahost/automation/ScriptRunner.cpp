#include "ScriptRunner.h"

#include "BusJson.h"
#include "BusRouter.h"
#include "HostLogging.h"
#include "SettingsInspector.h"
#include "WindowDriver.h"

#include <QJsonDocument>
#include <QJsonParseError>
#include <QQuickWindow>
#include <QSocketNotifier>
#include <QTimer>

#include <cerrno>
#include <cstdio>

#include <unistd.h>

ScriptRunner::ScriptRunner(BusRouter *router, QObject *parent) : QObject(parent), m_router(router)
{ }

ScriptRunner::~ScriptRunner() = default;

bool ScriptRunner::open(const QString &file, QString *error)
{
    if (file == QLatin1String("-")) {
        m_fromStdin = true;
        m_stdinNotifier = new QSocketNotifier(STDIN_FILENO, QSocketNotifier::Read, this);
        connect(m_stdinNotifier, &QSocketNotifier::activated, this, &ScriptRunner::readStandardInput);
        return true;
    }
    m_file.setFileName(file);
    if (!m_file.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("cannot read script %1: %2").arg(file, m_file.errorString());
        return false;
    }
    return true;
}

void ScriptRunner::readStandardInput()
{
    char buffer[4096];
    const ssize_t n = ::read(STDIN_FILENO, buffer, sizeof buffer);
    if (n > 0) {
        m_pending.append(buffer, int(n));
        if (m_pending.size() > MaxLineBytes && m_pending.indexOf('\n') < 0) {
            m_stdinNotifier->setEnabled(false);
            ++m_lineNumber;
            fail(QStringLiteral("longer than %1 bytes").arg(MaxLineBytes));
            return;
        }
    } else if (n == 0 || (errno != EAGAIN && errno != EINTR)) {
        m_stdinAtEnd = true;
        m_stdinNotifier->setEnabled(false);
    }
    if (m_waitingForInput && (m_pending.contains('\n') || m_stdinAtEnd)) {
        m_waitingForInput = false;
        next();
    }
}

void ScriptRunner::start()
{
    // The plug-in's controller registers its commands 10 ms after it starts;
    // a script, like a user, begins once the host is up. This timer is armed
    // after the controller's, so it fires after it.
    QTimer::singleShot(10, Qt::PreciseTimer, this, [this] {
        QMetaObject::invokeMethod(this, &ScriptRunner::next, Qt::QueuedConnection);
    });
}

bool ScriptRunner::readLine(QString *line, bool *tooLong)
{
    QByteArray bytes;
    if (m_fromStdin) {
        const int end = m_pending.indexOf('\n');
        if (end >= 0) {
            bytes = m_pending.left(end + 1);
            m_pending.remove(0, end + 1);
        } else if (m_stdinAtEnd) {
            bytes.swap(m_pending);
        }
    } else {
        // Bounded: /dev/zero or a line without an end must not fill memory.
        // (The size given includes a terminating zero: one byte over the cap
        // comes back when the line is too long.)
        bytes = m_file.readLine(qint64(MaxLineBytes) + 2);
    }
    if (bytes.isEmpty())
        return false;
    ++m_lineNumber;
    if (bytes.size() > MaxLineBytes) {
        *tooLong = true;
        return false;
    }
    *line = QString::fromUtf8(bytes).trimmed();
    return true;
}

void ScriptRunner::next()
{
    QString line;
    bool tooLong = false;
    while (readLine(&line, &tooLong)) {
        if (line.isEmpty() || line.startsWith(QLatin1Char('#')))
            continue;
        QJsonParseError parseError;
        const QJsonDocument document = QJsonDocument::fromJson(line.toUtf8(), &parseError);
        if (parseError.error != QJsonParseError::NoError) {
            fail(QStringLiteral("not valid JSON (%1)").arg(parseError.errorString()));
            return;
        }
        if (!document.isObject()) {
            fail(QStringLiteral("a step must be a JSON object"));
            return;
        }
        QString error;
        const int waitMs = runStep(document.object(), &error);
        if (waitMs < 0) {
            fail(error);
            return;
        }
        QTimer::singleShot(waitMs, this, &ScriptRunner::next);
        return;
    }
    if (tooLong) {
        fail(QStringLiteral("longer than %1 bytes").arg(MaxLineBytes));
        return;
    }
    if (m_fromStdin && !m_stdinAtEnd) {
        m_waitingForInput = true;
        return;
    }
    qCDebug(lcHostScript, "script ended after line %d", m_lineNumber);
    emit finished(0);
}

int ScriptRunner::runStep(const QJsonObject &step, QString *error)
{
    if (step.size() != 1) {
        *error = QStringLiteral(
                "a step has exactly one name (deliver, wait, eval, click, close, screenshot, inspect, "
                "revert)");
        return -1;
    }
    const QString name = step.constBegin().key();
    const QJsonValue arg = step.constBegin().value();

    auto window = [&](const QString &title) -> QQuickWindow * {
        QQuickWindow *found = WindowDriver::find(title);
        if (!found)
            *error = QStringLiteral("no open window titled \"%1\"").arg(title);
        return found;
    };
    auto needString = [&](const QJsonObject &object, const char *key, QString *out) {
        const QJsonValue value = object.value(QLatin1String(key));
        if (!value.isString()) {
            *error = QStringLiteral("%1 needs \"%2\" as a string").arg(name, QLatin1String(key));
            return false;
        }
        *out = value.toString();
        return true;
    };
    auto needNumber = [&](const QJsonObject &object, const char *key, double *out) {
        const QJsonValue value = object.value(QLatin1String(key));
        if (!value.isDouble()) {
            *error = QStringLiteral("%1 needs \"%2\" as a number").arg(name, QLatin1String(key));
            return false;
        }
        *out = value.toDouble();
        return true;
    };

    if (name == QLatin1String("deliver")) {
        if (!arg.isObject()) {
            *error = QStringLiteral("deliver needs a parameter map (a JSON object)");
            return -1;
        }
        m_router->deliverToPlugin(arg.toObject().toVariantMap());
        return 0;
    }
    if (name == QLatin1String("wait")) {
        if (!arg.isDouble() || arg.toDouble() < 0 || arg.toDouble() > 3600000) {
            *error = QStringLiteral("wait needs a number of milliseconds (0 to 3600000)");
            return -1;
        }
        return int(arg.toDouble());
    }
    if (name == QLatin1String("close")) {
        if (!arg.isString()) {
            *error = QStringLiteral("close needs a window title");
            return -1;
        }
        QQuickWindow *target = window(arg.toString());
        if (!target)
            return -1;
        if (arg.toString() == QLatin1String("vorahost"))
            std::fprintf(stderr,
                         "vorahost: script line %d closes the main window: the host ends, and any steps "
                         "after this line are not run\n",
                         m_lineNumber);
        WindowDriver::close(target);
        return 0;
    }
    if (name == QLatin1String("inspect") && m_inspector) {
        if (arg.toString() != QLatin1String("devmode")) {
            *error = QStringLiteral("inspect takes \"devmode\"");
            return -1;
        }
        m_inspector->refresh();
        emit output(m_inspector->inspectLine());
        return 0;
    }
    if (name == QLatin1String("revert") && m_inspector) {
        if (!arg.isString()) {
            *error = QStringLiteral("revert needs a setting key");
            return -1;
        }
        m_inspector->refresh();
        const QString reason = arg.toString() == QLatin1String("all")
                ? m_inspector->revertAll()
                : m_inspector->revertSetting(arg.toString());
        if (!reason.isEmpty()) {
            *error = QStringLiteral("cannot revert %1: %2").arg(arg.toString(), reason);
            return -1;
        }
        return 0;
    }
    if (name != QLatin1String("eval") && name != QLatin1String("click")
        && name != QLatin1String("screenshot")) {
        *error = QStringLiteral("unknown step \"%1\"").arg(name);
        return -1;
    }
    if (!arg.isObject()) {
        *error = QStringLiteral("%1 needs a JSON object").arg(name);
        return -1;
    }
    const QJsonObject object = arg.toObject();
    QString title;
    if (!needString(object, "window", &title))
        return -1;

    if (name == QLatin1String("eval")) {
        QString js;
        if (!needString(object, "js", &js))
            return -1;
        QQuickWindow *target = window(title);
        if (!target)
            return -1;
        QString evalError;
        const QVariant result = WindowDriver::evaluate(target, js, EvalTimeLimitMs, &evalError);
        if (!evalError.isEmpty()) {
            *error = QStringLiteral("eval failed: %1").arg(evalError);
            return -1;
        }
        emit output(BusJson::evalLine(result));
        return 0;
    }
    if (name == QLatin1String("click")) {
        double x = 0;
        double y = 0;
        if (!needNumber(object, "x", &x) || !needNumber(object, "y", &y))
            return -1;
        QQuickWindow *target = window(title);
        if (!target)
            return -1;
        WindowDriver::click(target, x, y);
        return 0;
    }
    QString file;
    if (!needString(object, "file", &file))
        return -1;
    QQuickWindow *target = window(title);
    if (!target)
        return -1;
    QString shotError;
    if (!WindowDriver::screenshot(target, file, &shotError)) {
        *error = QStringLiteral("screenshot %1 failed: %2").arg(file, shotError);
        return -1;
    }
    return 0;
}

void ScriptRunner::fail(const QString &reason)
{
    std::fprintf(stderr, "vorahost: script line %d: %s\n", m_lineNumber, qUtf8Printable(reason));
    emit finished(2);
}
