#pragma once

#include <QByteArray>
#include <QFile>
#include <QObject>
#include <QString>

class BusRouter;
struct ScriptStep;
class QSocketNotifier;
class SettingsInspector;

// Runs a script of JSON lines (ScriptStep), one step per line, each on its
// own turn of the event loop so that the plug-in's timers and the bus's queued
// answers run between steps; each kind of step has its handler in runStep's
// table. A bad line stops the script with exit code 2 and a message naming
// its number; the steps before it stay done. So does a line longer than
// MaxLineBytes, and an eval still running after EvalTimeLimitMs. Closing the
// main window ("vorahost") ends the host like its frame's close button: the
// steps after it are not run, which standard error says. Standard input ("-")
// is read as it arrives, without blocking the event loop, so a driver can feed
// steps one by one and watch the results. The steps: docs/vorahost.md.
class ScriptRunner : public QObject
{
    Q_OBJECT

public:
    static constexpr int MaxLineBytes = 1024 * 1024;
    static constexpr int EvalTimeLimitMs = 5000;

    // The inspector serves the inspect and revert steps.
    ScriptRunner(BusRouter *router, SettingsInspector *inspector, QObject *parent = nullptr);
    ~ScriptRunner() override;

    bool open(const QString &file, QString *error);
    void start();

signals:
    // One JSON line for standard output (eval results).
    void output(const QByteArray &line);
    // 0 at the end of the script, 2 for a bad step.
    void finished(int exitCode);

private:
    void next();
    // False at the end of the input, or (tooLong set) for a line over the cap.
    bool readLine(QByteArray *line, bool *tooLong);
    void readStandardInput();
    // Runs one step; returns the milliseconds to wait before the next one,
    // or -1 with error set.
    int runStep(const ScriptStep &step, QString *error);
    int deliver(const ScriptStep &step, QString *error);
    int wait(const ScriptStep &step, QString *error);
    int eval(const ScriptStep &step, QString *error);
    int click(const ScriptStep &step, QString *error);
    int close(const ScriptStep &step, QString *error);
    int screenshot(const ScriptStep &step, QString *error);
    int inspect(const ScriptStep &step, QString *error);
    int revert(const ScriptStep &step, QString *error);
    void fail(const QString &reason);

    BusRouter *m_router;
    SettingsInspector *m_inspector;
    QFile m_file;
    int m_lineNumber = 0;
    // Standard input: bytes read but not yet taken as lines.
    bool m_fromStdin = false;
    bool m_stdinAtEnd = false;
    bool m_waitingForInput = false;
    QByteArray m_pending;
    QSocketNotifier *m_stdinNotifier = nullptr;
};
