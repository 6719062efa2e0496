// The command line: what each argument list starts with, or the exact text
// and exit code it leaves with at once; --help as it always read.

#include "HostOptions.h"

#include <QtTest>

class tst_HostOptions : public QObject
{
    Q_OBJECT

private slots:
    void parse_data();
    void parse();
};

void tst_HostOptions::parse_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode"); // -1: the host starts
    QTest::addColumn<QString>("text"); // the options set, or what is printed
    QFile file(VORA_SOURCE_DIR "/tests/vorahost/app/vorahost-help.txt");
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QString help = QString::fromUtf8(file.readAll());
    auto row = [](const QString &arguments, int exitCode, const QString &text) {
        QTest::newRow(qPrintable(arguments)) << arguments.split(' ', Qt::SkipEmptyParts) << exitCode << text;
    };
    auto bad = [&](const QString &arguments, const QString &error) {
        row(arguments, 2, "vorahost: " + error + " (see --help)\n");
    };
    row("", -1, "");
    row("--db a --plugin p --script - --trace --journal j --no-plugin --set-aside-snapshot", -1,
        "db=a plugin=p script=- journal=j trace no-plugin set-aside-snapshot");
    row("--db=a --plugin= --bench-startup --report-peak-memory", -1, "db=a bench-startup report-peak-memory");
    row("--replay j --db d --apply --plugin p", -1, "db=d plugin=p replay=j apply");
    for (const char *arguments : {"--help", "-h", "--h", "--help --db=", "--trace --help --version"})
        row(arguments, 0, help);
    row("--version", 0, QStringLiteral("vorahost " VORA_VERSION ", Qt %1\n").arg(qVersion()));
    bad("--bogus", "Unknown option 'bogus'.");
    bad("--version --bogus", "Unknown option 'bogus'.");
    bad("-db x", "Unknown options: d, b.");
    bad("--db", "Missing value after '--db'.");
    bad("--trace=1", "Unexpected value after '--trace'.");
    bad("--help x", "unexpected argument 'x'");
    bad("--db= --script=", "--db needs a file name");
    bad("--script=", "--script needs a file name or '-'");
    bad("--journal=", "--journal needs a file name");
    bad("--replay=", "--replay needs a file name");
    bad("--apply", "--apply goes with --replay FILE");
    for (const char *other : {"--script s", "--trace", "--journal j", "--no-plugin", "--set-aside-snapshot"})
        bad(QStringLiteral("--replay j ") + other, "--replay runs on its own, with --db and --apply only");
}

void tst_HostOptions::parse()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, text);
    HostOptions options;
    QString out;
    QString err;
    QCOMPARE(HostOptions::parse(QStringList{"vorahost"} + arguments, &options, &out, &err), exitCode);
    const std::pair<const char *, QString> values[] = {{"db", options.databaseFile},
                                                       {"plugin", options.pluginFile},
                                                       {"script", options.scriptFile},
                                                       {"journal", options.journalFile},
                                                       {"replay", options.replayFile}};
    const std::pair<const char *, bool> flags[] = {{"trace", options.trace},
                                                   {"apply", options.apply},
                                                   {"no-plugin", options.noPlugin},
                                                   {"set-aside-snapshot", options.setAsideSnapshot},
                                                   {"bench-startup", options.benchStartup},
                                                   {"report-peak-memory", options.reportPeakMemory}};
    QStringList set;
    for (const auto &value : values)
        set << (value.second.isEmpty() ? QString() : value.first + ("=" + value.second));
    for (const auto &flag : flags)
        set << QString::fromLatin1(flag.second ? flag.first : "");
    set.removeAll(QString());
    QCOMPARE(exitCode < 0 ? set.join(' ') : exitCode ? err : out, text);
    QVERIFY((exitCode < 0 ? out + err : exitCode ? out : err).isEmpty());
}

QTEST_APPLESS_MAIN(tst_HostOptions)
#include "tst_hostoptions.moc"
