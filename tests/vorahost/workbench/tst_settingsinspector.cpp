// The settings inspector, under Qt's model checker, reads the developer
// mode's snapshot beside the executable, the plug-in's file of about a
// kilobyte; a file far bigger is not it, and is not read.

#include "BusRouter.h"
#include "ConfigDatabase.h"
#include "PluginHarness.h"
#include "SettingsInspector.h"
#include "SnapshotKeeper.h"
#include "VoraBox.h"

#include <QAbstractItemModelTester>
#include <QtTest>

class tst_SettingsInspector : public QObject
{
    Q_OBJECT

private slots:
    void snapshotSize_data()
    {
        QTest::addColumn<int>("padding");
        QTest::addColumn<QJsonValue>("entry");
        QTest::addColumn<QString>("stored"); // the watermark's row as the pane shows it
        QTest::newRow("as the plug-in writes it") << 0 << QJsonValue(true) << "\"true\"";
        QTest::newRow("over 1 MiB") << 1024 * 1024 << QJsonValue() << "\"true\"";
        QTest::newRow("database unreadable") << 0 << QJsonValue(true) << "no row";
    }
    void snapshotSize()
    {
        QFETCH(int, padding);
        QFETCH(QJsonValue, entry);
        QFETCH(QString, stored);
        const VoraTest::TempDatabase db(ConfigDatabase::sampleSql());
        QVERIFY(QDir().mkpath(QFileInfo(SnapshotKeeper::snapshotFile()).path()));
        QFile file(SnapshotKeeper::snapshotFile());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(R"({"init": {"enableWatermark": true}, "last": {"pseudo_color_bound_1": "#ff8000"}})"
                   + QByteArray(padding, ' '));
        file.close();
        CommonLib::VoraBox box;
        BusRouter router(&box);
        SettingsInspector inspector(&router, nullptr, db.fileName() + (stored == "no row" ? "-gone" : ""));
        QAbstractItemModelTester tester(&inspector, QAbstractItemModelTester::FailureReportingMode::QtTest);
        emit router.messageRouted("plugin", {{"cmd", "developerModeEnabledChanged"}, {"enabled", true}});
        inspector.refresh();
        const QJsonArray rows = QJsonDocument::fromJson(inspector.inspectLine())["inspect"].toArray();
        const auto indexOf = [&](const char *key) {
            const auto row = std::find_if(rows.begin(), rows.end(),
                                          [key](const QJsonValue &r) { return r["key"] == key; });
            return row == rows.end() ? QModelIndex() : inspector.index(int(row - rows.begin()));
        };
        const QModelIndex watermark = indexOf("enableWatermark");
        QVERIFY(watermark.isValid());
        QCOMPARE(rows[watermark.row()]["entry"], entry);
        QCOMPARE(rows[watermark.row()]["mismatch"], QJsonValue(false)); // no current value to differ
        // The pane shows the row as stored, and a swatch for a colour only.
        QCOMPARE(watermark.data(SettingsInspector::DatabaseRole), QVariant(stored));
        QCOMPARE(watermark.data(SettingsInspector::CurrentColourRole), QVariant(""));
        QCOMPARE(indexOf("pseudo_color_bound_1").data(SettingsInspector::CurrentColourRole),
                 QVariant(padding ? "" : "#ff8000"));
    }
};

QTEST_GUILESS_MAIN(tst_SettingsInspector)
#include "tst_settingsinspector.moc"
