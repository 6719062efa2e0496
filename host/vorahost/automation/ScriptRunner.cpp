#include "ScriptRunner.h"

#include "BusJson.h"
#include "BusRouter.h"
#include "HostLogging.h"
#include "Protocol.h"
#include "ScriptStep.h"
#include "SettingsInspector.h"
#include "WindowDriver.h"

#include <QQuickWindow>
#include <QSocketNotifier>
#include <QTimer>

#include <cerrno>
#include <cstdio>
#include <utility>

#include <unistd.h>

namespace {

QQuickWindow *openWindow(const QString &title, QString *error)
{
    QQuickWindow *found = WindowDriver::find(title);
    if (!found)
        *error = QStringLiteral("no open window titled \"%1\"").arg(title);
    return found;
}

} // namespace

ScriptRunner::ScriptRunner(BusRouter *router, SettingsInspector *inspector, QObject *parent)
    : QObject(parent), m_router(router), m_inspector(inspector)
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

bool ScriptRunner::readLine(QByteArray *line, bool *tooLong)
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
    line->swap(bytes);
    return true;
}

void ScriptRunner::next()
{
    QByteArray line;
    bool tooLong = false;
    while (readLine(&line, &tooLong)) {
        QString error;
        const ScriptStep step = ScriptStep::parse(line, &error);
        if (step.kind == ScriptStep::Blank)
            continue;
        const int waitMs = step.kind == ScriptStep::Invalid ? -1 : runStep(step, &error);
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

int ScriptRunner::runStep(const ScriptStep &step, QString *error)
{
    using Handler = int (ScriptRunner::*)(const ScriptStep &, QString *);
    static const std::pair<ScriptStep::Kind, Handler> handlers[] = {
            {ScriptStep::Deliver, &ScriptRunner::deliver},
            {ScriptStep::Wait, &ScriptRunner::wait},
            {ScriptStep::Eval, &ScriptRunner::eval},
            {ScriptStep::Click, &ScriptRunner::click},
            {ScriptStep::Close, &ScriptRunner::close},
            {ScriptStep::Screenshot, &ScriptRunner::screenshot},
            {ScriptStep::Inspect, &ScriptRunner::inspect},
            {ScriptStep::Revert, &ScriptRunner::revert},
    };
    for (const auto &handler : handlers) {
        if (handler.first == step.kind)
            return (this->*handler.second)(step, error);
    }
    Q_UNREACHABLE();
}

int ScriptRunner::deliver(const ScriptStep &step, QString *)
{
    m_router->deliverToPlugin(step.message);
    return 0;
}

int ScriptRunner::wait(const ScriptStep &step, QString *)
{
    return step.waitMs;
}

int ScriptRunner::eval(const ScriptStep &step, QString *error)
{
    QQuickWindow *target = openWindow(step.window, error);
    if (!target)
        return -1;
    QString evalError;
    const QVariant result = WindowDriver::evaluate(target, step.text, EvalTimeLimitMs, &evalError);
    if (!evalError.isEmpty()) {
        *error = QStringLiteral("eval failed: %1").arg(evalError);
        return -1;
    }
    emit output(BusJson::evalLine(result));
    return 0;
}

int ScriptRunner::click(const ScriptStep &step, QString *error)
{
    QQuickWindow *target = openWindow(step.window, error);
    if (!target)
        return -1;
    WindowDriver::click(target, step.x, step.y);
    return 0;
}

int ScriptRunner::close(const ScriptStep &step, QString *error)
{
    QQuickWindow *target = openWindow(step.window, error);
    if (!target)
        return -1;
    if (step.window == Protocol::MainWindowTitle)
        std::fprintf(stderr,
                     "vorahost: script line %d closes the main window: the host ends, and any steps "
                     "after this line are not run\n",
                     m_lineNumber);
    WindowDriver::close(target);
    return 0;
}

int ScriptRunner::screenshot(const ScriptStep &step, QString *error)
{
    QQuickWindow *target = openWindow(step.window, error);
    if (!target)
        return -1;
    QString shotError;
    if (!WindowDriver::screenshot(target, step.text, &shotError)) {
        *error = QStringLiteral("screenshot %1 failed: %2").arg(step.text, shotError);
        return -1;
    }
    return 0;
}

int ScriptRunner::inspect(const ScriptStep &, QString *)
{
    m_inspector->refresh();
    emit output(m_inspector->inspectLine());
    return 0;
}

int ScriptRunner::revert(const ScriptStep &step, QString *error)
{
    m_inspector->refresh();
    const QString reason = step.text == QLatin1String("all") ? m_inspector->revertAll()
                                                             : m_inspector->revertSetting(step.text);
    if (!reason.isEmpty()) {
        *error = QStringLiteral("cannot revert %1: %2").arg(step.text, reason);
        return -1;
    }
    return 0;
}

void ScriptRunner::fail(const QString &reason)
{
    std::fprintf(stderr, "vorahost: script line %d: %s\n", m_lineNumber, qUtf8Printable(reason));
    emit finished(2);
}
