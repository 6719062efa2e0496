#pragma once

// Runs the real vorahost from a copy of the bundle and reads what it says:
// JSON lines on stdout, logs on stderr. Shared by the end-to-end tests.

#include "PluginHarness.h"

#include <QDirIterator>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

#include <functional>

#include <sqlite3.h>

namespace HostTest {

using VoraTest::dump;
using VoraTest::value;

// Runs one statement on a SQLite file; the rows it returns, fields joined by
// '|'.
inline QStringList sql(const QString &file, const QString &statement)
{
    return VoraTest::query(file, statement, true);
}

inline QByteArray step(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

inline QJsonObject evalStep(const QString &window, const QString &js)
{
    return {{"eval", QJsonObject{{"window", window}, {"js", js}}}};
}

inline bool isCmd(const QJsonObject &line, const QString &from, const QString &cmd)
{
    return line["from"].toString() == from && line["param"].toObject()["cmd"].toString() == cmd;
}

// A copy of build/bundle without its database and snapshot folder: each run
// starts as on a fresh installation, with "<exe dir>/../Resources" of its own.
class Bundle
{
public:
    Bundle()
    {
        const QString source = QStringLiteral(VORA_BUNDLE_DIR);
        QDirIterator it(source, QDir::Files, QDirIterator::Subdirectories);
        m_ok = m_dir.isValid();
        while (m_ok && it.hasNext()) {
            const QString relative = QDir(source).relativeFilePath(it.next());
            if (relative.startsWith(QLatin1String("Resources/res/"))
                || relative.startsWith(QLatin1String("Resources/ScanSets/")))
                continue;
            const QString target = m_dir.filePath(relative);
            QDir().mkpath(QFileInfo(target).absolutePath());
            m_ok = QFile::copy(it.filePath(), target)
                    && QFile::setPermissions(target, QFile::permissions(it.filePath()));
        }
    }

    bool isValid() const { return m_ok && QFileInfo(host()).isExecutable(); }
    QString root() const { return m_dir.path(); }
    QString host() const { return m_dir.filePath(QStringLiteral("bin/vorahost")); }
    QString database() const { return m_dir.filePath(QStringLiteral("Resources/res/config.db")); }
    QString snapshot() const
    {
        return m_dir.filePath(QStringLiteral("Resources/ScanSets/developer_mode_temp.json"));
    }
    QString value(const QString &table, const QString &key) const
    {
        return HostTest::value(database(), table, key);
    }
    // The snapshot's top-level object; empty when there is no file.
    QJsonValue readSnapshot() const
    {
        QFile file(snapshot());
        return file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll()).object()
                                              : QJsonObject();
    }

private:
    QTemporaryDir m_dir;
    bool m_ok = false;
};

// One run of vorahost. With script "-" the test feeds steps through standard
// input and watches the output between them.
class Run
{
public:
    explicit Run(const Bundle &bundle) : Run(bundle.host(), bundle.root()) { }
    Run(const QString &host, const QString &workingDirectory) : m_host(host)
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        // A private runtime folder keeps Qt's complaint about a missing one
        // off stderr; Qt Quick's software renderer keeps GL drivers (which
        // leak and deadlock under the sanitizers) out.
        env.insert(QStringLiteral("XDG_RUNTIME_DIR"), m_runtime.path());
        env.remove(QStringLiteral("QT_MESSAGE_PATTERN"));
        if (!env.contains(QStringLiteral("QT_QUICK_BACKEND")))
            env.insert(QStringLiteral("QT_QUICK_BACKEND"), QStringLiteral("software"));
        m_process.setProcessEnvironment(env);
        m_process.setWorkingDirectory(workingDirectory);
    }

    ~Run() { kill(); }

    void start(const QStringList &arguments = {QStringLiteral("--script"), QStringLiteral("-")})
    {
        m_process.start(m_host, arguments);
    }

    void send(const QJsonObject &object) { send(step(object)); }
    void send(const QByteArray &line, const char *end = "\n")
    {
        m_process.write(line + end);
        m_process.waitForBytesWritten(VoraTest::PatienceMs);
    }

    // Sends one step, then an eval of a marker in window, and returns the
    // lines printed in between: what that step said.
    QList<QJsonObject> perform(const QJsonObject &object, const QString &window)
    {
        const int from = m_lines.size();
        const QString marker = QStringLiteral("sync-%1").arg(++m_syncs);
        send(step(object));
        send(step(evalStep(window, QLatin1Char('\'') + marker + QLatin1Char('\''))));
        const int at = waitForLine([&](const QJsonObject &line) { return line["eval"] == marker; });
        return at < 0 ? QList<QJsonObject>{{{"error", errorOutput()}}} : m_lines.mid(from, at - from);
    }

    QJsonValue eval(const QString &window, const QString &js)
    {
        for (const QJsonObject &line : perform(evalStep(window, js), window)) {
            if (line.contains("eval"))
                return line["eval"];
        }
        return QJsonValue::Undefined;
    }

    // A real click in the middle of the item named objectName in window, and
    // what it said.
    QList<QJsonObject> click(const QString &window, const QString &objectName)
    {
        const QJsonValue at = eval(
                window,
                "(function f(items) { for (var i = 0; i < items.length; ++i) {"
                " var it = items[i]; if (it.objectName === '"
                        + objectName
                        + "') {"
                          " var p = it.mapToItem(null, it.width / 2, it.height / 2);"
                          " return [p.x, p.y]; } var r = f(it.children); if (r) return r; }"
                          " return null; })(typeof contentItem !== 'undefined' ? [contentItem]"
                          " : children)");
        return perform({{"click", QJsonObject{{"window", window}, {"x", at[0]}, {"y", at[1]}}}}, window);
    }

    // Closes standard input (the script ends) and waits for the exit; the
    // exit code, or -1 for a crash or a host still running.
    int finish()
    {
        m_process.closeWriteChannel();
        return waitForExit();
    }

    int waitForExit()
    {
        waitForLine([](const QJsonObject &) { return false; });
        return m_process.state() == QProcess::NotRunning && m_process.exitStatus() == QProcess::NormalExit
                ? m_process.exitCode()
                : -1;
    }

    void terminate() { m_process.terminate(); }

    // SIGKILL; true when the host was running and died of it.
    bool kill()
    {
        if (m_process.state() == QProcess::NotRunning)
            return false;
        m_process.kill();
        return m_process.waitForFinished(5000) && m_process.exitStatus() == QProcess::CrashExit;
    }

    // Waits until an output line satisfies predicate; returns its index, or
    // -1 when the host ended or the time ran out.
    int waitForLine(const std::function<bool(const QJsonObject &)> &predicate)
    {
        QElapsedTimer timer;
        timer.start();
        for (int checked = 0;; m_process.waitForReadyRead(50)) {
            collect();
            for (; checked < m_lines.size(); ++checked) {
                if (predicate(m_lines.at(checked)))
                    return checked;
            }
            if (timer.elapsed() > VoraTest::PatienceMs || m_process.state() == QProcess::NotRunning)
                return -1;
        }
    }

    const QList<QJsonObject> &lines() const { return m_lines; }
    QStringList rawLines() const { return m_raw; }
    QString errorOutput()
    {
        collect();
        return QString::fromUtf8(m_stderr);
    }

    // The bus lines' parameter maps, filtered by direction and command.
    QList<QJsonObject> messages(const QString &from = QString(), const QString &cmd = QString()) const
    {
        QList<QJsonObject> result;
        for (const QJsonObject &line : m_lines) {
            if (line.contains("from") && (from.isEmpty() || line["from"].toString() == from)
                && (cmd.isEmpty() || line["param"]["cmd"].toString() == cmd))
                result.append(line["param"].toObject());
        }
        return result;
    }

private:
    void collect()
    {
        m_stdout += m_process.readAllStandardOutput();
        m_stderr += m_process.readAllStandardError();
        for (int end; (end = m_stdout.indexOf('\n')) >= 0; m_stdout.remove(0, end + 1)) {
            m_raw.append(QString::fromUtf8(m_stdout.left(end)));
            // A line that is no JSON object is kept as an empty object, so
            // tests that check "nothing but JSON" see it.
            m_lines.append(QJsonDocument::fromJson(m_stdout.left(end)).object());
        }
    }

    QString m_host;
    QTemporaryDir m_runtime;
    QProcess m_process;
    QByteArray m_stdout;
    QByteArray m_stderr;
    QList<QJsonObject> m_lines;
    QStringList m_raw;
    int m_syncs = 0;
};

} // namespace HostTest
