// The main window shows paths shortened: inside the bundle, under home, or to
// their last three parts; the whole path is in the tooltip. Its panes read
// their models' roles by name.

#include "BusLogModel.h"
#include "BusRouter.h"
#include "MainWindowBackend.h"
#include "SettingsInspector.h"
#include "VoraBox.h"
#include "WriteJournal.h"

#include <QtTest>

class tst_MainWindowBackend : public QObject
{
    Q_OBJECT

private slots:
    void shortPaths_data()
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
    void shortPaths()
    {
        QFETCH(QString, path);
        QFETCH(QString, shown);
        QCOMPARE(MainWindowBackend::shortPath(path), shown);
    }
    void panesReadTheirModelsRoles()
    {
        CommonLib::VoraBox box;
        BusRouter router(&box);
        const BusLogModel log;
        const SettingsInspector inspector(&router, nullptr, QString());
        WriteJournal journal;
        journal.record("host", {});
        QVERIFY(QRegularExpression(R"(^\d\d:\d\d:\d\d\.\d{3}$)")
                        .match(journal.index(0).data(WriteJournal::TimeRole).toString())
                        .hasMatch());
        for (const auto &[pane, model] : {std::pair<QString, const QAbstractItemModel *>{"BusLogPane", &log},
                                          {"InspectorPane", &inspector},
                                          {"JournalPane", &journal}}) {
            QFile qml(VORA_SOURCE_DIR "/host/vorahost/workbench/qml/" + pane + ".qml");
            QVERIFY(qml.open(QIODevice::ReadOnly));
            QSet<QByteArray> unknown;
            auto read = QRegularExpression("\\bmodel\\.(\\w+)").globalMatch(QString::fromUtf8(qml.readAll()));
            while (read.hasNext())
                unknown.insert(read.next().captured(1).toUtf8());
            QVERIFY(!unknown.isEmpty());
            for (const QByteArray &name : model->roleNames())
                unknown.remove(name);
            QVERIFY2(unknown.isEmpty(), qPrintable(pane + ": " + unknown.values().join(' ')));
        }
    }
};

QTEST_GUILESS_MAIN(tst_MainWindowBackend)
#include "tst_mainwindowbackend.moc"
