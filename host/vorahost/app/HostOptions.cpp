#include "HostOptions.h"

#include "ScriptStep.h"

#include <QCommandLineParser>

namespace {

// Every option once: the parser and the --help text are made from this table,
// in this order.
struct Option
{
    const char *names; // separated by ',', the long name last
    const char *valueName; // null for a switch
    QString HostOptions::*value;
    bool HostOptions::*isSet;
    const char *whenEmpty; // the error for an empty value; null where empty means the default
    const char *help; // lines separated by '\n'; null keeps the option out of --help
};

const Option kOptions[] = {
        {"db", "FILE", &HostOptions::databaseFile, nullptr, "needs a file name",
         "configuration database (default <exe dir>/../Resources/res/config.db;\n"
         "made from the shipped sample when missing)"},
        {"plugin", "FILE", &HostOptions::pluginFile, nullptr, nullptr,
         "plug-in to load (default <exe dir>/../plugins/libApplicationTools.so)"},
        {"script", "FILE", &HostOptions::scriptFile, nullptr, "needs a file name or '-'",
         "run a script of JSON lines ('-' for standard input) and exit"},
        {"trace", nullptr, nullptr, &HostOptions::trace, nullptr,
         "print the bus messages on standard output (interactive use)"},
        {"journal", "FILE", &HostOptions::journalFile, nullptr, "needs a file name",
         "append every write to the configuration database to FILE, one JSON\n"
         "line each: time, by (plugin, page, host), table, key, old, new, ok"},
        {"replay", "FILE", &HostOptions::replayFile, nullptr, "needs a file name",
         "print where the journal's last values differ from the database, exit"},
        {"apply", nullptr, nullptr, &HostOptions::apply, nullptr,
         "with --replay: write those values, in one transaction"},
        {"no-plugin", nullptr, nullptr, &HostOptions::noPlugin, nullptr, "run the host without a plug-in"},
        {"set-aside-snapshot", nullptr, nullptr, &HostOptions::setAsideSnapshot, nullptr,
         "move a pending developer-mode snapshot (<exe dir>/../Resources/ScanSets/\n"
         "developer_mode_temp.json) to developer_mode_temp-<date>-<time>.json\n"
         "before starting; needed when it belongs to another database, which\n"
         "vorahost otherwise refuses (exit 1)"},
        {"version", nullptr, nullptr, nullptr, nullptr, "show the version of vorahost and of Qt"},
        {"h,help", nullptr, nullptr, nullptr, nullptr, "show this help"},
        {"bench-startup", nullptr, nullptr, &HostOptions::benchStartup, nullptr, nullptr},
        {"report-peak-memory", nullptr, nullptr, &HostOptions::reportPeakMemory, nullptr, nullptr},
};

QString longName(const Option &option)
{
    return QString::fromLatin1(option.names).section(QLatin1Char(','), -1);
}

// A row of --help: the label, and the text in a column from indent on (below
// the label where it does not fit before).
QString helpRow(const QString &label, int indent, const QString &text)
{
    const QString margin(indent, QLatin1Char(' '));
    const QString start = label.size() + 3 > indent ? QStringLiteral("  %1\n%2").arg(label, margin)
                                                    : QStringLiteral("  ") + label.leftJustified(indent - 2);
    return start + QString(text).replace(QLatin1Char('\n'), QLatin1Char('\n') + margin) + QLatin1Char('\n');
}

QString usage()
{
    QString text = QStringLiteral(
            "Usage: vorahost [--db FILE] [--plugin FILE] [--script FILE|-] [--trace] [--journal FILE]\n"
            "                [--no-plugin] [--version] [--set-aside-snapshot]\n"
            "       vorahost --replay JOURNAL [--db FILE] [--apply]\n"
            "Stand-in of the scanner host: loads libApplicationTools and runs its bus.\n"
            "\n");
    for (const Option &option : kOptions) {
        if (!option.help)
            continue;
        QStringList names = QString::fromLatin1(option.names).split(QLatin1Char(','));
        for (QString &name : names)
            name.prepend(QLatin1String(name.size() == 1 ? "-" : "--"));
        const QString value = option.valueName ? QLatin1Char(' ') + QLatin1String(option.valueName)
                                               : QString();
        text += helpRow(names.join(QLatin1String(", ")) + value, 19, QString::fromUtf8(option.help));
    }
    text += QStringLiteral(
            "\nScript steps, one JSON object per line (blank lines and lines starting with # skipped):\n");
    const auto steps = ScriptStep::usage();
    for (const auto &step : steps)
        text += helpRow(step.first, 50, step.second);
    return text
            + QStringLiteral(
                    "Standard output: {\"from\": \"host\"|\"plugin\"|\"page\", \"param\": {...}} per bus "
                    "message,\n"
                    "{\"eval\": value} per eval and {\"inspect\": [...]} per inspect. Exit 0 at the end, 2 "
                    "for a\n"
                    "bad line (named on stderr: also a line over 1 MiB or an eval running over 5 s), 1 when "
                    "the\n"
                    "plug-in, the database (missing tables, damaged) or the snapshot (another database's)\n"
                    "cannot be used.\n");
}

// A bad command line: the line for standard error, and exit code 2.
int badCommandLine(const QString &reason, QString *err)
{
    *err = QStringLiteral("vorahost: %1 (see --help)\n").arg(reason);
    return 2;
}

} // namespace

int HostOptions::parse(const QStringList &arguments, HostOptions *options, QString *out, QString *err)
{
    QCommandLineParser parser;
    for (const Option &option : kOptions) {
        parser.addOption({QString::fromLatin1(option.names).split(QLatin1Char(',')),
                          QString::fromUtf8(option.help), QString::fromLatin1(option.valueName)});
    }
    if (!parser.parse(arguments))
        return badCommandLine(parser.errorText(), err);
    const QStringList positional = parser.positionalArguments();
    if (!positional.isEmpty())
        return badCommandLine(QStringLiteral("unexpected argument '%1'").arg(positional.constFirst()), err);
    if (parser.isSet(QStringLiteral("help"))) {
        // QCommandLineParser::helpText() needs a QCoreApplication, which
        // does not exist yet at this point.
        *out = usage();
        return 0;
    }
    if (parser.isSet(QStringLiteral("version"))) {
        *out = QStringLiteral("vorahost %1, Qt %2\n")
                       .arg(QStringLiteral(VORA_VERSION), QString::fromLatin1(qVersion()));
        return 0;
    }
    for (const Option &option : kOptions) {
        const QString name = longName(option);
        if (option.isSet)
            options->*option.isSet = parser.isSet(name);
        if (!option.value)
            continue;
        options->*option.value = parser.value(name);
        if (option.whenEmpty && parser.isSet(name) && parser.value(name).isEmpty())
            return badCommandLine(QStringLiteral("--%1 %2").arg(name, QLatin1String(option.whenEmpty)), err);
    }
    if (options->apply && !options->isReplay())
        return badCommandLine(QStringLiteral("--apply goes with --replay FILE"), err);
    if (options->isReplay()
        && (options->isScripted() || options->trace || !options->journalFile.isEmpty() || options->noPlugin
            || options->setAsideSnapshot))
        return badCommandLine(QStringLiteral("--replay runs on its own, with --db and --apply only"), err);
    return -1;
}
