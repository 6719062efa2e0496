#pragma once

#include <QByteArray>
#include <QFile>
#include <QJsonObject>
#include <QObject>
#include <QString>
#include <QStringList>

class BusRouter;
class QSocketNotifier;
class SettingsInspector;

// Runs a script of JSON lines, one step per line, each on its own turn of
// the event loop so that the plug-in's timers and the bus's queued answers
// run between steps:
//   {"deliver": {...}}                                  a message to the plug-in
//   {"wait": N}                                         run the event loop N ms
//   {"eval": {"window": T, "js": EXPR}}                 prints {"eval": value}
//   {"click": {"window": T, "x": X, "y": Y}}            left click
//   {"close": T}                                        close by the window frame
//   {"screenshot": {"window": T, "file": PATH}}         PNG of the window
//   {"inspect": "devmode"}                              prints the settings inspector's rows
//   {"revert": KEY}                                     a setting back to its entry value
// Blank lines and lines starting with "#" are skipped. A bad line stops the
// script with exit code 2 and a message naming its number; the steps before
// it stay done. So does a line longer than MaxLineBytes, and an eval still
// running after EvalTimeLimitMs. Closing the main window ("vorahost") ends the
// host like its frame's close button: the steps after it are not run, which
// standard error says. Standard input ("-") is read as it arrives, without blocking
// the event loop, so a driver can feed steps one by one and watch the results.
class ScriptRunner : public QObject
{
    Q_OBJECT

public:
    static constexpr int MaxLineBytes = 1024 * 1024;
    static constexpr int EvalTimeLimitMs = 5000;

    explicit ScriptRunner(BusRouter *router, QObject *parent = nullptr);
    ~ScriptRunner() override;

    bool open(const QString &file, QString *error);
    void start();
    // For the inspect and revert steps.
    void setInspector(SettingsInspector *inspector) { m_inspector = inspector; }

signals:
    // One JSON line for standard output (eval results).
    void output(const QByteArray &line);
    // 0 at the end of the script, 2 for a bad step.
    void finished(int exitCode);

private:
    void next();
    // False at the end of the input, or (tooLong set) for a line over the cap.
    bool readLine(QString *line, bool *tooLong);
    void readStandardInput();
    // Runs one step; returns the milliseconds to wait before the next one,
    // or -1 with error set.
    int runStep(const QJsonObject &step, QString *error);
    void fail(const QString &reason);

    BusRouter *m_router;
    SettingsInspector *m_inspector = nullptr;
    QFile m_file;
    int m_lineNumber = 0;
    // Standard input: bytes read but not yet taken as lines.
    bool m_fromStdin = false;
    bool m_stdinAtEnd = false;
    bool m_waitingForInput = false;
    QByteArray m_pending;
    QSocketNotifier *m_stdinNotifier = nullptr;
};
