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

    // The --help text.
    static QString usage();
    // The --version text: the project's version and the Qt version in use.
    static QString versionText();

    // Parses arguments (argv including the program name). On a bad command
    // line returns false and sets error to one line; --help and --version set
    // helpText, the text to print before leaving.
    static bool parse(const QStringList &arguments, HostOptions *options, QString *error, QString *helpText);
};
