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
    const QCommandLineOption noPlugin(QStringLiteral("no-plugin"),
                                      QStringLiteral("Run the host without loading a plug-in."));
    const QCommandLineOption setAside(QStringLiteral("set-aside-snapshot"),
                                      QStringLiteral("Move a pending developer-mode snapshot to a backup."));
    QCommandLineOption benchStartup(QStringLiteral("bench-startup"));
    benchStartup.setFlags(QCommandLineOption::HiddenFromHelp);
    QCommandLineOption peakMemory(QStringLiteral("report-peak-memory"));
    peakMemory.setFlags(QCommandLineOption::HiddenFromHelp);
    parser.addOptions({help, version, db, plugin, script, trace, noPlugin, setAside, benchStartup, peakMemory});

    if (!parser.parse(arguments)) {
        *error = parser.errorText();
        return false;
    }
    if (!parser.positionalArguments().isEmpty()) {
        *error = QStringLiteral("unexpected argument '%1'").arg(parser.positionalArguments().first());
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
            "Usage: vorahost [--db FILE] [--plugin FILE] [--script FILE|-] [--trace] [--no-plugin] "
            "[--version]\n"
            "                [--set-aside-snapshot]\n"
            "Stand-in of the scanner host: loads libApplicationTools and runs its bus.\n"
            "\n"
            "  --db FILE        configuration database (default <exe dir>/../Resources/res/config.db;\n"
            "                   made from the shipped sample when missing)\n"
            "  --plugin FILE    plug-in to load (default <exe dir>/../plugins/libApplicationTools.so)\n"
            "  --script FILE    run a script of JSON lines ('-' for standard input) and exit\n"
            "  --trace          print the bus messages on standard output (interactive use)\n"
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
            "Standard output: {\"from\": \"host\"|\"plugin\"|\"page\", \"param\": {...}} per bus message\n"
            "and {\"eval\": value} per eval. Exit 0 at the end, 2 for a bad line (named on stderr:\n"
            "also a line over 1 MiB or an eval running over 5 s), 1 when the plug-in, the database\n"
            "(missing tables, damaged) or the snapshot (another database's) cannot be used.\n");
}
