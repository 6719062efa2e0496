// The main window's bus log: the last messages, each a short line with its
// time; a big message kept shortened, whole on demand; the filter; copy.

#include "BusLogModel.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QRegularExpression>
#include <QtTest>

class tst_BusLogModel : public QObject
{
    Q_OBJECT

private slots:
    void keepsTheLastMessagesShort();
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
    QVERIFY2(full.contains(QString("%1 more characters not kept").arg(rows.size() - 4096)), qPrintable(full));

    // A refusal of the database service shows with its reason; the oldest
    // line made room.
    log.add("host", {{"cmd", "dataBaseResponseCmd"}, {"refused", true}, {"reason", "two statements"}});
    QCOMPARE(log.data(log.index(last), BusLogModel::ReasonRole), QVariant("two statements"));
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
}

QTEST_MAIN(tst_BusLogModel)
#include "tst_buslogmodel.moc"
