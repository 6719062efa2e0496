// The command line: what each argument list starts the host with, or the
// exact text and exit code it leaves with at once (the table:
// command-lines.txt); --help as it always read.

#include "HostOptions.h"

#include <QtTest>

class tst_HostOptions : public QObject
{
    Q_OBJECT

private slots:
    void parse_data()
    {
        QTest::addColumn<QString>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("text");
        QFile help(VORA_SOURCE_DIR "/tests/vorahost/app/vorahost-help.txt");
        QFile table(VORA_SOURCE_DIR "/tests/vorahost/app/command-lines.txt");
        QVERIFY(help.open(QIODevice::ReadOnly) && table.open(QIODevice::ReadOnly | QIODevice::Text));
        const QMap<QString, QString> named{
                {"HELP", QString::fromUtf8(help.readAll())},
                {"VERSION", QStringLiteral("vorahost " VORA_VERSION ", Qt %1\n").arg(qVersion())}};
        for (const QString &row : QString::fromUtf8(table.readAll()).split('\n', Qt::SkipEmptyParts)) {
            const QStringList cells = row.split(" ==> ");
            if (cells.size() == 3)
                QTest::newRow(qPrintable(cells[0]))
                        << cells[0] << cells[1].toInt()
                        << (cells[1] == "2" ? "vorahost: " + cells[2] + " (see --help)\n"
                                            : named.value(cells[2], cells[2]));
        }
    }

    void parse()
    {
        QFETCH(QString, arguments);
        QFETCH(int, exitCode);
        QFETCH(QString, text);
        HostOptions o;
        QString out, err;
        QCOMPARE(HostOptions::parse(("vorahost " + arguments).split(' ', Qt::SkipEmptyParts), &o, &out, &err),
                 exitCode);
        QString options = QStringList{o.databaseFile, o.pluginFile, o.scriptFile,
                                      o.journalFile,  o.replayFile, ""}
                                  .join('|');
        for (bool on : {o.trace, o.apply, o.noPlugin, o.setAsideSnapshot, o.benchStartup, o.reportPeakMemory})
            options += on ? '1' : '0';
        QCOMPARE(exitCode < 0 ? options : exitCode ? err : out, text);
        QVERIFY((exitCode < 0 ? out + err : exitCode ? out : err).isEmpty());
    }
};

QTEST_APPLESS_MAIN(tst_HostOptions)
#include "tst_hostoptions.moc"
