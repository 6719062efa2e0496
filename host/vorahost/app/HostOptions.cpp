#include "HostOptions.h"

#include <QCommandLineParser>

bool HostOptions::parse(const QStringList &arguments, HostOptions *options, QString *error, QString *helpText)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
            QStringLiteral("Stand-in of the scanner host: loads libApplicationTools and runs its bus."));
    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")},
                                  QStringLiteral("Show this help."));
    const QCommandLineOption db(QStringLiteral("db"),
                                QStringLiteral("Configuration database (default "
                                               "<exe dir>/../Resources/res/config.db)."),
                                QStringLiteral("FILE"));
    const QCommandLineOption plugin(QStringLiteral("plugin"),
                                    QStringLiteral("Plug-in to load (default "
                                                   "<exe dir>/../plugins/libApplicationTools.so)."),
                                    QStringLiteral("FILE"));
    const QCommandLineOption script(QStringLiteral("script"),
                                    QStringLiteral("Run a script of JSON lines ('-' for standard "
                                                   "input) and exit."),
                                    QStringLiteral("FILE"));
    const QCommandLineOption trace(QStringLiteral("trace"),
                                   QStringLiteral("Print the bus messages on standard output."));
    const QCommandLineOption version(QStringLiteral("version"),
                                     QStringLiteral("Show the version of vorahost and of Qt."));
    const QCommandLineOption journal(QStringLiteral("journal"),
                                     QStringLiteral("Append every write to the configuration database to "
                                                    "FILE, one JSON line each."),
                                     QStringLiteral("FILE"));
    const QCommandLineOption replay(QStringLiteral("replay"),
                                    QStringLiteral("Compare a journal's values with the database, print "
                                                   "the differences and exit."),
                                    QStringLiteral("FILE"));
    const QCommandLineOption apply(QStringLiteral("apply"),
                                   QStringLiteral("With --replay: write the differences."));
    const QCommandLineOption noPlugin(QStringLiteral("no-plugin"),
                                      QStringLiteral("Run the host without loading a plug-in."));
    const QCommandLineOption setAside(QStringLiteral("set-aside-snapshot"),
                                      QStringLiteral("Move a pending developer-mode snapshot to a backup."));
    QCommandLineOption benchStartup(QStringLiteral("bench-startup"));
    benchStartup.setFlags(QCommandLineOption::HiddenFromHelp);
    QCommandLineOption peakMemory(QStringLiteral("report-peak-memory"));
    peakMemory.setFlags(QCommandLineOption::HiddenFromHelp);
    parser.addOptions({help, version, db, plugin, script, trace, journal, replay, apply, noPlugin, setAside,
                       benchStartup, peakMemory});

    if (!parser.parse(arguments)) {
        *error = parser.errorText();
        return false;
    }
    const QStringList positional = parser.positionalArguments();
    if (!positional.isEmpty()) {
        *error = QStringLiteral("unexpected argument '%1'").arg(positional.constFirst());
        return false;
    }
    if (parser.isSet(help)) {
        // QCommandLineParser::helpText() needs a QCoreApplication, which
        // does not exist yet at this point.
        *helpText = usage();
        return true;
    }
    if (parser.isSet(version)) {
        *helpText = versionText();
        return true;
    }
    options->databaseFile = parser.value(db);
    options->pluginFile = parser.value(plugin);
    options->scriptFile = parser.value(script);
    options->trace = parser.isSet(trace);
    options->journalFile = parser.value(journal);
    options->replayFile = parser.value(replay);
    options->apply = parser.isSet(apply);
    options->noPlugin = parser.isSet(noPlugin);
    options->setAsideSnapshot = parser.isSet(setAside);
    options->benchStartup = parser.isSet(benchStartup);
    options->reportPeakMemory = parser.isSet(peakMemory);
    if (parser.isSet(db) && options->databaseFile.isEmpty()) {
        *error = QStringLiteral("--db needs a file name");
        return false;
    }
    if (parser.isSet(script) && options->scriptFile.isEmpty()) {
        *error = QStringLiteral("--script needs a file name or '-'");
        return false;
    }
    for (const QCommandLineOption *option : {&journal, &replay}) {
        if (parser.isSet(*option) && parser.value(*option).isEmpty()) {
            *error = QStringLiteral("--%1 needs a file name").arg(option->names().constFirst());
            return false;
        }
    }
    if (options->apply && !options->isReplay()) {
        *error = QStringLiteral("--apply goes with --replay FILE");
        return false;
    }
    if (options->isReplay()
        && (options->isScripted() || options->trace || !options->journalFile.isEmpty() || options->noPlugin
            || options->setAsideSnapshot)) {
        *error = QStringLiteral("--replay runs on its own, with --db and --apply only");
        return false;
    }
    return true;
}

QString HostOptions::versionText()
{
    return QStringLiteral("vorahost %1, Qt %2\n")
            .arg(QStringLiteral(VORA_VERSION), QString::fromLatin1(qVersion()));
}

QString HostOptions::usage()
{
    return QStringLiteral(
            "Usage: vorahost [--db FILE] [--plugin FILE] [--script FILE|-] [--trace] [--journal FILE]\n"
            "                [--no-plugin] [--version] [--set-aside-snapshot]\n"
            "       vorahost --replay JOURNAL [--db FILE] [--apply]\n"
            "Stand-in of the scanner host: loads libApplicationTools and runs its bus.\n"
            "\n"
            "  --db FILE        configuration database (default <exe dir>/../Resources/res/config.db;\n"
            "                   made from the shipped sample when missing)\n"
            "  --plugin FILE    plug-in to load (default <exe dir>/../plugins/libApplicationTools.so)\n"
            "  --script FILE    run a script of JSON lines ('-' for standard input) and exit\n"
            "  --trace          print the bus messages on standard output (interactive use)\n"
            "  --journal FILE   append every write to the configuration database to FILE, one JSON\n"
            "                   line each: time, by (plugin, page, host), table, key, old, new, ok\n"
            "  --replay FILE    print where the journal's last values differ from the database, exit\n"
            "  --apply          with --replay: write those values, in one transaction\n"
            "  --no-plugin      run the host without a plug-in\n"
            "  --set-aside-snapshot\n"
            "                   move a pending developer-mode snapshot (<exe dir>/../Resources/ScanSets/\n"
            "                   developer_mode_temp.json) to developer_mode_temp-<date>-<time>.json\n"
            "                   before starting; needed when it belongs to another database, which\n"
            "                   vorahost otherwise refuses (exit 1)\n"
            "  --version        show the version of vorahost and of Qt\n"
            "  -h, --help       show this help\n"
            "\n"
            "Script steps, one JSON object per line (blank lines and lines starting with # skipped):\n"
            "  {\"deliver\": {...}}                              a parameter map to the plug-in\n"
            "  {\"wait\": N}                                     run the event loop N ms\n"
            "  {\"eval\": {\"window\": T, \"js\": EXPR}}             prints {\"eval\": value}\n"
            "  {\"click\": {\"window\": T, \"x\": X, \"y\": Y}}        left click\n"
            "  {\"close\": T}                                    close as the window frame would\n"
            "  {\"screenshot\": {\"window\": T, \"file\": PATH}}     save the window as PNG\n"
            "  {\"inspect\": \"devmode\"}                          prints the developer mode's settings\n"
            "  {\"revert\": KEY}                                 a setting back to its entry value "
            "(\"all\":\n"
            "                                                  every changed one); needs its window open\n"
            "Standard output: {\"from\": \"host\"|\"plugin\"|\"page\", \"param\": {...}} per bus message,\n"
            "{\"eval\": value} per eval and {\"inspect\": [...]} per inspect. Exit 0 at the end, 2 for a\n"
            "bad line (named on stderr: also a line over 1 MiB or an eval running over 5 s), 1 when the\n"
            "plug-in, the database (missing tables, damaged) or the snapshot (another database's)\n"
            "cannot be used.\n");
}
