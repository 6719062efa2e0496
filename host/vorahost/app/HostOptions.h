#pragma once

#include <QString>
#include <QStringList>

// The command line of vorahost.
struct HostOptions
{
    QString databaseFile; // --db, empty for the bundle's default
    QString pluginFile; // --plugin, empty for the bundle's default
    QString scriptFile; // --script, "-" for standard input, empty for interactive use
    bool trace = false; // --trace: bus lines on stdout in interactive use
    QString journalFile; // --journal: append every configuration write to this file
    QString replayFile; // --replay: replay this journal into the database and exit
    bool apply = false; // --apply: the replay writes (otherwise a dry run)
    bool noPlugin = false; // --no-plugin: the bare host (benchmark baseline)
    bool setAsideSnapshot = false; // --set-aside-snapshot: move a pending snapshot to a backup first
    bool benchStartup = false; // --bench-startup: leave once the controller has started
    bool reportPeakMemory = false; // --report-peak-memory: peak RSS on stderr at exit

    bool isScripted() const { return !scriptFile.isEmpty(); }
    bool isReplay() const { return !replayFile.isEmpty(); }

    // Reads the command line (argv including the program name), from one
    // table of options that also makes the --help text (options: see
    // docs/vorahost.md). Returns -1 with options set when the host is to
    // start; otherwise the exit code to leave with at once, with the text for
    // standard output (--help, --version: 0) or standard error (a bad command
    // line: 2).
    static int parse(const QStringList &arguments, HostOptions *options, QString *out, QString *err);
};
