// The main window's bus log: the last messages, each a short line with its
// time; a big message kept shortened, whole on demand; the filter; copy; its
// limits.

#include "BusLogModel.h"

#include <QAbstractItemModelTester>
#include <QClipboard>
#include <QGuiApplication>
#include <QRegularExpression>
#include <QtTest>

class tst_BusLogModel : public QObject
{
    Q_OBJECT

private slots:
    void keepsTheLastMessagesShort();
    void evictionAtTheLimits();
};

void tst_BusLogModel::keepsTheLastMessagesShort()
{
    BusLogModel log;
    auto text = [&](int row) { return log.data(log.index(row), BusLogModel::TextRole).toString(); };
    for (int i = 0; i < BusLogModel::Capacity + 5; ++i)
        log.add("plugin", {{"cmd", "tick"}, {"n", i}});
    QCOMPARE(log.rowCount(), BusLogModel::Capacity);
    QCOMPARE(text(0), QString(R"({"cmd":"tick","n":5})"));
    QVERIFY(QRegularExpression(R"(^\d\d:\d\d:\d\d\.\d{3}$)")
                    .match(log.data(log.index(0), BusLogModel::TimeRole).toString())
                    .hasMatch());

    // A 50,000-row listing: one short line, and on demand a capped text that
    // says what it left out.
    const QString rows = QString("scan#IRSpeckle.exposure#8000#红外曝光时间\n").repeated(50000);
    log.add("host", {{"cmd", "dataBaseResponseCmd"}, {"dataBaseResponse", rows}});
    const int last = log.rowCount() - 1;
    QCOMPARE(text(last),
             (R"({"cmd":"dataBaseResponseCmd","dataBaseResponse":")" + QString(rows).replace('\n', "\\n"))
                     .left(BusLogModel::DisplayLength));
    const QString full = log.fullText(last);
    QVERIFY(full.size() < 16 * 1024);
    QVERIFY2(full.startsWith(
                     QString("[a message of about %1 characters: texts over 4096 characters, lists and "
                             "maps over 100 items are shortened here]\n")
                             .arg(rows.size() + 52)),
             qPrintable(full.left(200)));
    QVERIFY2(full.contains(QString("%1 more characters not kept").arg(rows.size() - 4096)), qPrintable(full));

    // A refusal of the database service shows with its reason; the oldest
    // line made room.
    log.add("host",
            {{"cmd", "dataBaseResponseCmd"},
             {"refused", true},
             {"reason", "two statements"},
             {"list", QVector<QVariant>(101, 0).toList()},
             {"sql", QString(300000, 'x')}});
    QCOMPARE(log.data(log.index(last), BusLogModel::ReasonRole), QVariant("two statements"));
    QVERIFY(log.fullText(last).contains("[1 more items not kept in the log]"));
    QCOMPARE(log.data(log.index(last), BusLogModel::RefusedRole), QVariant(true));
    QCOMPARE(log.data(log.index(last - 1), BusLogModel::RefusedRole), QVariant(false));
    QCOMPARE(text(0), QString(R"({"cmd":"tick","n":7})"));

    // The filter finds text anywhere in a message; copy takes it whole.
    log.setFilter("\"N\":2003");
    QCOMPARE(log.rowCount(), 1);
    log.copy(0);
    QCOMPARE(QGuiApplication::clipboard()->text(), log.fullText(0));
    QVERIFY(log.fullText(0).contains("\"n\": 2003"));
    log.setFilter(QString());
    QCOMPARE(log.rowCount(), BusLogModel::Capacity);

    // A big message nested 33 maps deep: the last map is cut, and only it.
    QVariant deep = "end";
    for (int i = 0; i < 33; ++i)
        deep = QVariantMap{{"a", deep}};
    log.add("plugin", {{"deep", deep}, {"big", rows}});
    const QString cut = log.fullText(log.rowCount() - 1);
    QCOMPARE(cut.count("\"a\": {"), 31);
    QVERIFY(cut.contains("\"a\": \"[nested too deep]\""));
}

// At its limits, under Qt's model checker: one row goes per message over
// Capacity, none while the filter hides them all; an evicted message's text
// no longer counts toward TotalCap, past which the oldest lose their text.
void tst_BusLogModel::evictionAtTheLimits()
{
    BusLogModel log;
    auto tester = std::make_unique<QAbstractItemModelTester>(
            &log, QAbstractItemModelTester::FailureReportingMode::QtTest);
    log.setFilter("no such text");
    for (int i = 0; i <= BusLogModel::Capacity; ++i)
        log.add("plugin", {{"n", i}});
    QCOMPARE(log.rowCount(), 0);
    log.setFilter("\"n\":2000");
    for (int i = 0; i < 3; ++i)
        log.add("plugin", {{"n", i}});
    QCOMPARE(log.rowCount(), 1);
    log.setFilter(QString());
    log.add("plugin", {{"n", 3}});
    QCOMPARE(log.rowCount(), BusLogModel::Capacity);
    QCOMPARE(log.data(log.index(0), BusLogModel::TextRole), QVariant(R"({"n":5})"));
    tester.reset();
    // 10 KiB each: 35 MiB in all, 20 MiB kept.
    for (int i = 0; i < 3500; ++i)
        log.add("plugin", {{"n", i}, {"text", QString(10 * 1024, 'x')}});
    QVERIFY(log.fullText(0).startsWith("{\n    \"n\": 1500,"));
    // 20 KiB each: 40 MiB kept.
    for (int i = 0; i < BusLogModel::Capacity; ++i)
        log.add("plugin", {{"text", QString(20 * 1024, 'y')}});
    QCOMPARE(log.fullText(0),
             log.data(log.index(0), BusLogModel::TextRole).toString()
                     + "\n\n[the rest of this message was dropped: the log keeps at most 32 MiB of message "
                       "text]");
    QVERIFY(log.fullText(BusLogModel::Capacity - 1).startsWith("{\n"));
}

QTEST_MAIN(tst_BusLogModel)
#include "tst_buslogmodel.moc"
