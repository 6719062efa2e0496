// A script line becomes a step with its arguments, or the exact error that
// stops the script (the table: script-lines.txt); what each step then does to
// the windows is tst_vorahost's.

#include "ScriptStep.h"

#include <QtTest>

class tst_ScriptStep : public QObject
{
    Q_OBJECT

private slots:
    void parse_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<QString>("result");
        QFile table(VORA_SOURCE_DIR "/tests/vorahost/automation/script-lines.txt");
        QVERIFY(table.open(QIODevice::ReadOnly | QIODevice::Text));
        for (const QByteArray &row : table.readAll().split('\n')) {
            const int arrow = row.indexOf(" ==> ");
            if (arrow >= 0)
                QTest::newRow(row.left(arrow)) << row.left(arrow) << QString::fromUtf8(row.mid(arrow + 5));
        }
    }

    void parse()
    {
        QFETCH(QByteArray, line);
        QFETCH(QString, result);
        QString error;
        const ScriptStep s = ScriptStep::parse(line, &error);
        const QStringList fields{QString::number(s.kind),
                                 s.window,
                                 s.text,
                                 QString::number(s.x),
                                 QString::number(s.y),
                                 QString::number(s.waitMs),
                                 QJsonDocument::fromVariant(s.message).toJson(QJsonDocument::Compact)};
        QCOMPARE(s.kind == ScriptStep::Invalid ? error : fields.join('|'), result);
        QCOMPARE(error.isEmpty(), s.kind != ScriptStep::Invalid);
    }
};

QTEST_APPLESS_MAIN(tst_ScriptStep)
#include "tst_scriptstep.moc"
