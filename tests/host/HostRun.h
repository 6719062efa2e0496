#pragma once

// Runs the real vorahost from a private copy of the bundle and reads what it
// says (JSON lines on stdout, logs on stderr), what it stores (the copy's
// configuration database) and what the plug-in keeps (the snapshot file).

#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QVariant>

#include <functional>

#include <sqlite3.h>

namespace HostTest {

// A copy of build/bundle without its database and snapshot folder: each run
// starts from the shipped sample, as on a fresh installation.
class Bundle
{
public:
    Bundle()
    {
        if (!m_dir.isValid())
            return;
        const QString source = QStringLiteral(VORA_BUNDLE_DIR);
        QDirIterator it(source, QDir::Files | QDir::NoDotAndDotDot | QDir::Hidden,
                        QDirIterator::Subdirectories);
        m_ok = true;
        while (it.hasNext()) {
            const QString file = it.next();
            const QString relative = QDir(source).relativeFilePath(file);
            if (relative.startsWith(QLatin1String("Resources/res/"))
                || relative.startsWith(QLatin1String("Resources/ScanSets/")))
                continue;
            const QString target = m_dir.filePath(relative);
            QDir().mkpath(QFileInfo(target).absolutePath());
            if (!QFile::copy(file, target)) {
                m_ok = false;
                return;
            }
            QFile::setPermissions(target, QFile::permissions(file));
        }
    }

    bool isValid() const { return m_ok && QFileInfo(host()).isExecutable(); }
    QString errorString() const
    {
        return m_dir.isValid() ? QStringLiteral("copy failed") : m_dir.errorString();
    }

    QString root() const { return m_dir.path(); }
    QString host() const { return m_dir.filePath(QStringLiteral("bin/vorahost")); }
    QString database() const { return m_dir.filePath(QStringLiteral("Resources/res/config.db")); }
    QString snapshot() const
    {
        return m_dir.filePath(QStringLiteral("Resources/ScanSets/developer_mode_temp.json"));
    }

    // The snapshot's top-level object; empty when there is no file.
    QJsonObject readSnapshot() const
    {
        QFile file(snapshot());
        if (!file.open(QIODevice::ReadOnly))
            return QJsonObject();
        return QJsonDocument::fromJson(file.readAll()).object();
    }

    // A stored value and its SQLite type ("integer", "text", ...); an empty
    // type for a missing row.
    QPair<QVariant, QString> value(const QString &table, const QString &key) const
    {
        QPair<QVariant, QString> result;
        sqlite3 *db = nullptr;
        if (sqlite3_open_v2(QFile::encodeName(database()).constData(), &db, SQLITE_OPEN_READONLY, nullptr)
            == SQLITE_OK) {
            sqlite3_busy_timeout(db, 5000);
            const QByteArray sql = QStringLiteral("SELECT value, typeof(value) FROM \"%1\" WHERE key = ?1")
                                           .arg(table)
                                           .toUtf8();
            sqlite3_stmt *stmt = nullptr;
            if (sqlite3_prepare_v2(db, sql.constData(), -1, &stmt, nullptr) == SQLITE_OK) {
                const QByteArray k = key.toUtf8();
                sqlite3_bind_text(stmt, 1, k.constData(), k.size(), SQLITE_TRANSIENT);
                if (sqlite3_step(stmt) == SQLITE_ROW) {
                    result.second = QString::fromUtf8(
                            reinterpret_cast<const char *>(sqlite3_column_text(stmt, 1)));
                    if (sqlite3_column_type(stmt, 0) == SQLITE_INTEGER)
                        result.first = qlonglong(sqlite3_column_int64(stmt, 0));
                    else if (sqlite3_column_type(stmt, 0) != SQLITE_NULL)
                        result.first = QString::fromUtf8(
                                reinterpret_cast<const char *>(sqlite3_column_text(stmt, 0)));
                }
            }
            sqlite3_finalize(stmt);
        }
        sqlite3_close(db);
        return result;
    }

    bool exec(const QString &sql) const
    {
        sqlite3 *db = nullptr;
        bool ok = sqlite3_open_v2(QFile::encodeName(database()).constData(), &db, SQLITE_OPEN_READWRITE,
                                  nullptr)
                == SQLITE_OK;
        ok = ok && sqlite3_exec(db, sql.toUtf8().constData(), nullptr, nullptr, nullptr) == SQLITE_OK;
        sqlite3_close(db);
        return ok;
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
    explicit Run(const Bundle &bundle) : m_bundle(bundle)
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
        m_process.setWorkingDirectory(bundle.root());
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
        m_process.start(m_bundle.host(), arguments);
    }

    void send(const QByteArray &line)
    {
        m_process.write(line + '\n');
        m_process.waitForBytesWritten(5000);
    }

    // Closes standard input (the script ends) and waits for the exit.
    bool finish(int timeoutMs = 20000)
    {
        m_process.closeWriteChannel();
        return waitForExit(timeoutMs);
    }

    bool waitForExit(int timeoutMs = 20000)
    {
        QElapsedTimer timer;
        timer.start();
        while (m_process.state() != QProcess::NotRunning && timer.elapsed() < timeoutMs)
            m_process.waitForFinished(100);
        collect();
        return m_process.state() == QProcess::NotRunning;
    }

    void killHard()
    {
        m_process.kill(); // SIGKILL: no clean-up of any kind runs
        m_process.waitForFinished(5000);
        collect();
    }

    // Waits until an output line satisfies predicate; returns its index or -1.
    int waitForLine(const std::function<bool(const QJsonObject &)> &predicate, int timeoutMs = 10000)
    {
        QElapsedTimer timer;
        timer.start();
        int checked = 0;
        forever
        {
            collect();
            for (; checked < m_lines.size(); ++checked) {
                if (predicate(m_lines.at(checked)))
                    return checked;
            }
            if (timer.elapsed() > timeoutMs || m_process.state() == QProcess::NotRunning)
                return -1;
            m_process.waitForReadyRead(50);
        }
    }

    int exitCode() const { return m_process.exitCode(); }
    QProcess::ExitStatus exitStatus() const { return m_process.exitStatus(); }
    const QList<QJsonObject> &lines() const { return m_lines; }
    QStringList rawLines() const { return m_raw; }
    QString errorOutput() const { return QString::fromUtf8(m_stderr); }

    // The bus lines' parameter maps, filtered by direction and command.
    QList<QJsonObject> messages(const QString &from = QString(), const QString &cmd = QString()) const
    {
        QList<QJsonObject> result;
        for (const QJsonObject &line : m_lines) {
            if (!line.contains(QLatin1String("from")))
                continue;
            const QJsonObject param = line.value(QLatin1String("param")).toObject();
            if ((from.isEmpty() || line.value(QLatin1String("from")).toString() == from)
                && (cmd.isEmpty() || param.value(QLatin1String("cmd")).toString() == cmd))
                result.append(param);
        }
        return result;
    }

private:
    void collect()
    {
        m_stdout += m_process.readAllStandardOutput();
        m_stderr += m_process.readAllStandardError();
        int end;
        while ((end = m_stdout.indexOf('\n')) >= 0) {
            const QByteArray line = m_stdout.left(end);
            m_stdout.remove(0, end + 1);
            m_raw.append(QString::fromUtf8(line));
            // A line that is no JSON object is kept as an empty object, so
            // tests that check "nothing but JSON" see it.
            m_lines.append(QJsonDocument::fromJson(line).object());
        }
    }

    const Bundle &m_bundle;
    QTemporaryDir m_runtime;
    QProcess m_process;
    QByteArray m_stdout;
    QByteArray m_stderr;
    QList<QJsonObject> m_lines;
    QStringList m_raw;
};

inline bool isCmd(const QJsonObject &line, const QString &from, const QString &cmd)
{
    return line.value(QLatin1String("from")).toString() == from
            && line.value(QLatin1String("param")).toObject().value(QLatin1String("cmd")).toString() == cmd;
}

inline QByteArray step(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

} // namespace HostTest
