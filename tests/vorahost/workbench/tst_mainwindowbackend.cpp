// The main window shows paths shortened: inside the bundle, under home, or to
// their last three parts; the whole path is in the tooltip.

#include "MainWindowBackend.h"

#include <QtTest>

class tst_MainWindowBackend : public QObject
{
    Q_OBJECT

private slots:
    void shortPaths_data();
    void shortPaths();
};

void tst_MainWindowBackend::shortPaths_data()
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

void tst_MainWindowBackend::shortPaths()
{
    QFETCH(QString, path);
    QFETCH(QString, shown);
    QCOMPARE(MainWindowBackend::shortPath(path), shown);
}

QTEST_GUILESS_MAIN(tst_MainWindowBackend)
#include "tst_mainwindowbackend.moc"
