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
    const QCommandLineOption noPlugin(QStringLiteral("no-plugin"),
                                      QStringLiteral("Run the host without loading a plug-in."));
    QCommandLineOption benchStartup(QStringLiteral("bench-startup"));
    benchStartup.setFlags(QCommandLineOption::HiddenFromHelp);
    QCommandLineOption peakMemory(QStringLiteral("report-peak-memory"));
    peakMemory.setFlags(QCommandLineOption::HiddenFromHelp);
    parser.addOptions({help, db, plugin, script, trace, noPlugin, benchStartup, peakMemory});

    if (!parser.parse(arguments)) {
        *error = parser.errorText();
        return false;
    }
    if (!parser.positionalArguments().isEmpty()) {
        *error = QStringLiteral("unexpected argument '%1'").arg(parser.positionalArguments().first());
        return false;
    }
    if (parser.isSet(help)) {
        *helpText = parser.helpText();
        return true;
    }
    options->databaseFile = parser.value(db);
    options->pluginFile = parser.value(plugin);
    options->scriptFile = parser.value(script);
    options->trace = parser.isSet(trace);
    options->noPlugin = parser.isSet(noPlugin);
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
