// The command line: what each argument list starts the host with, or the
// exact text and exit code it leaves with at once; --help as it always read.

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
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<int>("exitCode"); // -1: the host starts
    // What is printed, or the options: db|plugin|script|journal|replay|trace apply no-plugin
    // set-aside-snapshot bench-startup report-peak-memory as 0 or 1.
    QTest::addColumn<QString>("text");
    QFile help(VORA_SOURCE_DIR "/tests/vorahost/app/vorahost-help.txt");
    QVERIFY(help.open(QIODevice::ReadOnly));
    const QString helpText = QString::fromUtf8(help.readAll());
    auto row = [](const char *arguments, int exitCode, const QString &text) {
        QTest::newRow(arguments) << arguments << exitCode << text;
    };
    row("", -1, "|||||000000");
    row("--db a --plugin p --script - --trace --journal j --no-plugin --set-aside-snapshot", -1,
        "a|p|-|j||101100");
    row("--db=a --plugin= --bench-startup --report-peak-memory", -1, "a|||||000011");
    row("--replay j --db d --apply --plugin p", -1, "d|p|||j|010000");
    for (const char *arguments : {"--help", "-h", "--h", "--help --db=", "--trace --help --version"})
        row(arguments, 0, helpText);
    row("--version", 0, QStringLiteral("vorahost " VORA_VERSION ", Qt %1\n").arg(qVersion()));
    auto bad = [&](const char *arguments, const QString &error) {
        row(arguments, 2, "vorahost: " + error + " (see --help)\n");
    };
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
    for (const char *arguments : {"--replay j --script s", "--replay j --trace", "--replay j --journal j",
                                  "--replay j --no-plugin", "--replay j --set-aside-snapshot"})
        bad(arguments, "--replay runs on its own, with --db and --apply only");
}

void tst_HostOptions::parse()
{
    QFETCH(QString, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, text);
    HostOptions o;
    QString out;
    QString err;
    QCOMPARE(HostOptions::parse(("vorahost " + arguments).split(' ', Qt::SkipEmptyParts), &o, &out, &err),
             exitCode);
    QString options = QStringList{o.databaseFile, o.pluginFile, o.scriptFile, o.journalFile, o.replayFile, ""}
                              .join('|');
    for (bool on : {o.trace, o.apply, o.noPlugin, o.setAsideSnapshot, o.benchStartup, o.reportPeakMemory})
        options += on ? '1' : '0';
    QCOMPARE(exitCode < 0 ? options : exitCode ? err : out, text);
    QVERIFY((exitCode < 0 ? out + err : exitCode ? out : err).isEmpty());
}

QTEST_APPLESS_MAIN(tst_HostOptions)
#include "tst_hostoptions.moc"
