// vorahost's parts as units. The main window's bus log: the last messages,
// each a short line with its time; a big message kept shortened, whole on
// demand; the filter; copy. Which OpenGL renderers are taken for software
// rasterizers, whose windows then share one render loop.

#include "BusLogModel.h"
#include "MainWindowBackend.h"
#include "RenderLoop.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QRegularExpression>
#include <QtTest>

class tst_HostParts : public QObject
{
    Q_OBJECT

private slots:
    void keepsTheLastMessagesShort();
    void softwareRenderers_data();
    void softwareRenderers();
    void shortPaths_data();
    void shortPaths();
};

void tst_HostParts::keepsTheLastMessagesShort()
{
    BusLogModel log;
    auto text = [&](int row) { return log.data(log.index(row), BusLogModel::TextRole).toString(); };
    for (int i = 0; i < BusLogModel::Capacity + 5; ++i)
        log.add("plugin", {{"cmd", "tick"}, {"n", i}});
    QCOMPARE(log.rowCount(), BusLogModel::Capacity);
    // The names the main window's log pane reads.
    QList<QByteArray> names = log.roleNames().values();
    std::sort(names.begin(), names.end());
    QCOMPARE(names, (QList<QByteArray>{"cmd", "from", "reason", "refused", "text", "time"}));
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

void tst_HostParts::softwareRenderers_data()
{
    QTest::addColumn<QByteArray>("renderer");
    QTest::addColumn<bool>("software");
    QTest::newRow("llvmpipe") << QByteArray("llvmpipe (LLVM 15.0.6, 256 bits)") << true;
    QTest::newRow("softpipe") << QByteArray("softpipe") << true;
    QTest::newRow("swrast") << QByteArray("Software Rasterizer") << true;
    QTest::newRow("Intel") << QByteArray("Mesa Intel(R) UHD Graphics 620 (KBL GT2)") << false;
    QTest::newRow("AMD") << QByteArray("AMD Radeon RX 6600 (radeonsi, navi23, LLVM 15.0.6)") << false;
    QTest::newRow("NVIDIA") << QByteArray("NVIDIA GeForce RTX 3060/PCIe/SSE2") << false;
    QTest::newRow("none") << QByteArray() << false;
}

void tst_HostParts::softwareRenderers()
{
    QFETCH(QByteArray, renderer);
    QFETCH(bool, software);
    QCOMPARE(RenderLoop::isSoftwareRenderer(renderer), software);
}

// The main window shows paths shortened: inside the bundle, under home, or to
// their last three parts; the whole path is in the tooltip.
void tst_HostParts::shortPaths_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("shown");
    const QString bundle = QDir::cleanPath(QCoreApplication::applicationDirPath() + "/..");
    QTest::newRow("empty") << QString() << QString();
    QTest::newRow("in the bundle") << bundle + "/Resources/res/config.db"
                                   << "…/Resources/res/config.db";
    QTest::newRow("beside the bundle") << bundle + "x/a.db"
                                       << "…/" + (bundle + "x/a.db").section('/', -3);
    QTest::newRow("under home") << QDir::homePath() + "/scans/a.db"
                                << "~/scans/a.db";
    QTest::newRow("long") << "/srv/scanner/configurations/2026/november/config.db"
                          << "…/2026/november/config.db";
    QTest::newRow("short") << "/tmp/a/b/c/d.db"
                           << "/tmp/a/b/c/d.db";
}

void tst_HostParts::shortPaths()
{
    QFETCH(QString, path);
    QFETCH(QString, shown);
    QCOMPARE(MainWindowBackend::shortPath(path), shown);
}

QTEST_MAIN(tst_HostParts)
#include "tst_hostparts.moc"
