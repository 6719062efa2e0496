#pragma once

// Runs the real vorahost and reads what it says (JSON lines on stdout, logs
// on stderr), what it stores (a configuration database) and what the
// plug-in keeps (the snapshot file). Shared by the host and config editor
// tests.

#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>

#include <functional>

#include <sqlite3.h>

namespace HostTest {

// Runs one statement on a SQLite file through a connection of its own; the
// rows it returns, fields joined by '|' (NULL as empty text).
inline QStringList sql(const QString &file, const QString &statement)
{
    QStringList rows;
    sqlite3 *db = nullptr;
    if (sqlite3_open_v2(QFile::encodeName(file).constData(), &db, SQLITE_OPEN_READWRITE, nullptr)
        == SQLITE_OK) {
        sqlite3_busy_timeout(db, 5000);
        sqlite3_stmt *stmt = nullptr;
        sqlite3_prepare_v2(db, statement.toUtf8().constData(), -1, &stmt, nullptr);
        while (stmt && sqlite3_step(stmt) == SQLITE_ROW) {
            QStringList fields;
            for (int i = 0; i < sqlite3_column_count(stmt); ++i)
                fields.append(
                        QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(stmt, i))));
            rows.append(fields.join('|'));
        }
        sqlite3_finalize(stmt);
    }
    sqlite3_close(db);
    return rows;
}

// A stored value and its SQLite type, "1|integer", "true|text"; empty for a
// missing row.
inline QString value(const QString &file, const QString &table, const QString &key)
{
    return sql(file,
               QStringLiteral("select value, typeof(value) from \"%1\" where key = '%2'").arg(table, key))
            .value(0);
}

// The schema and every row with its stored type: anything a statement could
// have changed.
inline QStringList dump(const QString &file)
{
    QStringList result = sql(file, QStringLiteral("select type, name, sql from sqlite_master order by name"));
    for (const QString &entry : QStringList(result)) {
        if (entry.startsWith(QLatin1String("table|")))
            result += sql(file,
                          QStringLiteral("select '%1', key, quote(value), typeof(value), comment "
                                         "from \"%1\" order by key")
                                  .arg(entry.section('|', 1, 1)));
    }
    return result;
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
// starts from the shipped sample, as on a fresh installation.
class Bundle
{
public:
    Bundle()
    {
        const QString source = QStringLiteral(VORA_BUNDLE_DIR);
        QDirIterator it(source, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
        m_ok = m_dir.isValid();
        while (m_ok && it.hasNext()) {
            const QString file = it.next();
            const QString relative = QDir(source).relativeFilePath(file);
            if (relative.startsWith(QLatin1String("Resources/res/"))
                || relative.startsWith(QLatin1String("Resources/ScanSets/")))
                continue;
            const QString target = m_dir.filePath(relative);
            QDir().mkpath(QFileInfo(target).absolutePath());
            m_ok = QFile::copy(file, target) && QFile::setPermissions(target, QFile::permissions(file));
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

// One run of vorahost. With script "-" the test feeds steps through
// standard input and watches the output between them.
class Run
{
public:
    explicit Run(const Bundle &bundle) : Run(bundle.host(), bundle.root()) { }
    Run(const QString &host, const QString &workingDirectory) : m_host(host)
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        // A private runtime folder keeps Qt's complaint about a missing one
        // off stderr.
        env.insert(QStringLiteral("XDG_RUNTIME_DIR"), m_runtime.path());
        env.remove(QStringLiteral("QT_MESSAGE_PATTERN"));
        // Qt Quick's software renderer, on the X server too: clicks, frame
        // closes and grabs still go through the window system, and no GL
        // driver is loaded (under the sanitizers, Mesa's driver leaks at exit
        // and deadlocks ASan's slow unwinder).
        if (!env.contains(QStringLiteral("QT_QUICK_BACKEND")))
            env.insert(QStringLiteral("QT_QUICK_BACKEND"), QStringLiteral("software"));
        m_process.setProcessEnvironment(env);
        m_process.setWorkingDirectory(workingDirectory);
    }

    ~Run()
    {
        if (m_process.state() != QProcess::NotRunning) {
            m_process.kill();
            m_process.waitForFinished(5000);
        }
    }

    void start(const QStringList &arguments = {QStringLiteral("--script"), QStringLiteral("-")})
    {
        m_process.start(m_host, arguments);
    }

    void send(const QByteArray &line)
    {
        m_process.write(line + '\n');
        m_process.waitForBytesWritten(5000);
    }
    void send(const QJsonObject &object) { send(step(object)); }

    // Sends one step, then an eval of a marker in window, and returns the
    // lines printed in between: what that step said.
    QList<QJsonObject> perform(const QJsonObject &object, const QString &window)
    {
        const int from = m_lines.size();
        const QString marker = QStringLiteral("sync-%1").arg(++m_syncs);
        send(object);
        send(evalStep(window, QLatin1Char('\'') + marker + QLatin1Char('\'')));
        const int at = waitForLine([&](const QJsonObject &line) { return line["eval"] == marker; }, 30000);
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

    // Closes standard input (the script ends) and waits for the exit; the
    // exit code, or -1 for a crash or a host still running.
    int finish(int timeoutMs = 20000)
    {
        m_process.closeWriteChannel();
        return waitForExit(timeoutMs);
    }

    int waitForExit(int timeoutMs = 20000)
    {
        QElapsedTimer timer;
        timer.start();
        while (m_process.state() != QProcess::NotRunning && timer.elapsed() < timeoutMs)
            m_process.waitForFinished(100);
        collect();
        return m_process.state() == QProcess::NotRunning && m_process.exitStatus() == QProcess::NormalExit
                ? m_process.exitCode()
                : -1;
    }

    // Waits until an output line satisfies predicate; returns its index or -1.
    int waitForLine(const std::function<bool(const QJsonObject &)> &predicate, int timeoutMs = 10000)
    {
        QElapsedTimer timer;
        timer.start();
        for (int checked = 0;; m_process.waitForReadyRead(50)) {
            collect();
            for (; checked < m_lines.size(); ++checked) {
                if (predicate(m_lines.at(checked)))
                    return checked;
            }
            if (timer.elapsed() > timeoutMs || m_process.state() == QProcess::NotRunning)
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
        return params(m_lines, from, cmd);
    }
    static QList<QJsonObject> params(const QList<QJsonObject> &lines, const QString &from,
                                     const QString &cmd = QString())
    {
        QList<QJsonObject> result;
        for (const QJsonObject &line : lines) {
            const QJsonObject param = line["param"].toObject();
            if (line.contains("from") && (from.isEmpty() || line["from"].toString() == from)
                && (cmd.isEmpty() || param["cmd"].toString() == cmd))
                result.append(param);
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
