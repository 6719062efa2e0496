// The developer mode through the real plug-in: when it loads, the settings it
// reads from a real SQLite file, the value form of every change written
// through, the order in which leaving restores the database, the bus
// protocol, and damaged or unwritable snapshots beside the executable.

#include "DeveloperModeFixture.h"

#include <QColor>
#include <QElapsedTimer>
#include <QSaveFile>
#include <QtTest>

#include <memory>

using namespace DevModeTest;

namespace {

QVariantMap msg(const char *cmd, QVariantMap extra = {}, const QVariant &module = "DeveloperMode")
{
    extra.insert("cmd", cmd);
    if (module.isValid())
        extra.insert("module", module);
    return extra;
}

QVariantMap answer(const char *key, const QVariant &value, const QVariant &module = "DeveloperMode")
{
    return msg("developerModeQuerySettingResp", {{"key", key}, {"value", value}}, module);
}

// A setting as "type value"; a colour by its ARGB name, every invalid colour
// alike.
QString describe(const QVariantMap &map, const QString &key)
{
    const QVariant v = map.value(key);
    if (!map.contains(key))
        return "missing";
    if (v.userType() == QMetaType::QColor)
        return v.value<QColor>().isValid() ? "QColor " + v.value<QColor>().name(QColor::HexArgb)
                                           : "QColor invalid";
    return v.isValid() ? QStringLiteral("%1 %2").arg(v.typeName(), v.toString()) : "invalid";
}

// One line of the settings table per row: what the database holds (its
// table, key and SQL value; nothing for a missing row) and what the first
// load makes of it. Two loads, so that a key can be stored in two ways.
struct Setting
{
    int load;
    const char *key;
    const char *table;
    const char *dbKey;
    const char *stored;
    const char *loaded;
};
const Setting Settings[] = {
        {1, "enableScanDistanceValue", "", "", "", "bool false"},
        {1, "enableSecondCameraWindow", "ui", "cameraVideo.E7.needRightCamera", "'true'", "bool true"},
        {2, "enableSecondCameraWindow", "ui", "cameraVideo.E7.needRightCamera", "", "bool false"},
        {1, "enableSaveReadImage", "", "", "", "bool true"},
        {1, "enableSaveCaliImage", "calibration", "calibSavePic", "'false'", "bool false"},
        {2, "enableSaveCaliImage", "calibration", "calibSavePic", "1", "bool true"},
        {1, "enableReadCaliImage", "calibration", "readPicMod", "1", "bool true"},
        {2, "enableReadCaliImage", "calibration", "readPicMod", "'true'", "bool true"},
        {1, "enableSaveScanImage", "scan", "IRSpeckle.If_Save_Pic", "2", "bool true"},
        {2, "enableSaveScanImage", "scan", "IRSpeckle.If_Save_Pic", "'true'", "bool false"},
        {1, "enableSaveScanImage_GrayPic", "scan", "IRSpeckle.If_Save_GrayPic", "0", "bool false"},
        {2, "enableSaveScanImage_GrayPic", "scan", "IRSpeckle.If_Save_GrayPic", "1", "bool true"},
        {1, "enableSaveScanImage_ColorPic", "scan", "IRSpeckle.If_Save_ColorPic", "-1", "bool true"},
        {1, "enableReadScanImage", "scan", "IRSpeckle.If_Read_Pic", "'3'", "bool true"},
        {1, "enablePseudoColor", "", "", "", "bool true"},
        {1, "pseudo_color_section_0", "scan", "IRSpeckle.pseudo_color_section_0", "1", "missing"},
        {1, "pseudo_color_section_1", "scan", "IRSpeckle.pseudo_color_section_1", "10", "int 10"},
        {1, "pseudo_color_section_2", "scan", "IRSpeckle.pseudo_color_section_2", "2.5", "double 2.5"},
        {1, "pseudo_color_section_3", "scan", "IRSpeckle.pseudo_color_section_3", "'abc'", "QString abc"},
        {1, "pseudo_color_section_4", "scan", "IRSpeckle.pseudo_color_section_4", "", "invalid"},
        {1, "pseudo_color_section_5", "scan", "IRSpeckle.pseudo_color_section_5", "NULL", "invalid"},
        {1, "pseudo_color_section_6", "scan", "IRSpeckle.pseudo_color_section_6", "-4", "int -4"},
        {1, "pseudo_color_section_7", "scan", "IRSpeckle.pseudo_color_section_7", "99", "missing"},
        {1, "pseudo_color_bound_1", "scan", "IRSpeckle.pseudo_color_bound_1", "'255,0,0'",
         "QColor #ffff0000"},
        {2, "pseudo_color_bound_1", "scan", "IRSpeckle.pseudo_color_bound_1", "'0,128,255'",
         "QColor #ff0080ff"},
        {1, "pseudo_color_bound_2", "scan", "IRSpeckle.pseudo_color_bound_2", "'255,0'", "QColor #ff000000"},
        {2, "pseudo_color_bound_2", "scan", "IRSpeckle.pseudo_color_bound_2", "'0,128,255,0'",
         "QColor #ff000000"},
        {1, "pseudo_color_bound_3", "scan", "IRSpeckle.pseudo_color_bound_3", "''", "QColor #ff000000"},
        {2, "pseudo_color_bound_3", "scan", "IRSpeckle.pseudo_color_bound_3", "", "QColor #ff000000"},
        {1, "pseudo_color_bound_4", "scan", "IRSpeckle.pseudo_color_bound_4", "'256,0,0'", "QColor invalid"},
        {1, "pseudo_color_bound_5", "scan", "IRSpeckle.pseudo_color_bound_5", "'-1,0,0'", "QColor invalid"},
        {1, "pseudo_color_bound_6", "scan", "IRSpeckle.pseudo_color_bound_6", "'a,b,c'", "QColor #ff000000"},
        {1, "pseudo_color_bound_7", "scan", "IRSpeckle.pseudo_color_bound_7", "'1,2,3'", "missing"},
        {1, "rollbackFrame", "scan", "rollbackFrame", "4", "invalid"},
        {1, "enableWatermark", "config", "watermarkEnabled", "", "bool true"},
        {2, "enableWatermark", "config", "watermarkEnabled", "'false'", "bool false"},
};

// A snapshot as the plug-in writes it, with two keys in "last" that no
// database row stands for.
QJsonObject craftedInit()
{
    QJsonObject init{{"enableScanDistanceValue", false},
                     {"enableSecondCameraWindow", true},
                     {"enableSaveReadImage", true},
                     {"enableSaveCaliImage", false},
                     {"enableReadCaliImage", true},
                     {"enableSaveScanImage", true},
                     {"enableSaveScanImage_GrayPic", false},
                     {"enableSaveScanImage_ColorPic", true},
                     {"enableReadScanImage", false},
                     {"enablePseudoColor", true},
                     {"rollbackFrame", 2},
                     {"enableWatermark", true}};
    const QJsonValue sections[] = {10, 2.5, "x", 4, 5, 6};
    const char *bounds[] = {"#0000ff", "#ff8000", "no colour", "#010203", "#040506", "#070809"};
    for (int n = 1; n <= 6; ++n) {
        init.insert(QStringLiteral("pseudo_color_section_%1").arg(n), sections[n - 1]);
        init.insert(QStringLiteral("pseudo_color_bound_%1").arg(n), bounds[n - 1]);
    }
    return init;
}
QJsonObject craftedLast()
{
    QJsonObject last = craftedInit();
    last.insert("pseudo_color_x", 1);
    last.insert("pseudo_color_bound_section_9", 0);
    return last;
}

QByteArray snapshotBytes(const QJsonObject &init, const QJsonObject &last)
{
    return QJsonDocument(QJsonObject{{"init", init}, {"last", last}}).toJson();
}

// A developer mode shared by the rows of a table.
struct Entry
{
    explicit Entry(const QString &sql) : db(schema() + sql) { devMode = enterDeveloperMode(controller); }
    ~Entry() { VoraConfigSQLite::setWriteObserver({}); }
    VoraTest::TempDatabase db;
    VoraTest::Controller controller;
    QPointer<QObject> devMode;
    QStringList writes; // "table|key|stored type value", in order
};

} // namespace

class tst_DeveloperModeController : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanupTestCase();

    void loadsOneSecondAfterSwitchOnOnly();
    void settingsTable_data();
    void settingsTable();
    void valueForms_data();
    void valueForms();
    void restoreOrder_data();
    void restoreOrder();
    void queryAndResponse();
    void damagedSnapshot_data();
    void damagedSnapshot();
    void snapshotCannotBeWritten_data();
    void snapshotCannotBeWritten();

private:
    // Made by the first row of a table that needs it, kept for its next rows.
    Entry &entry(int load, const QString &sql, const QByteArray &snapshot = QByteArray());

    std::unique_ptr<Entry> m_entry;
    int m_load = 0;
    QString m_function;
};

void tst_DeveloperModeController::init()
{
    // restoreOrder goes on with valueForms' developer mode.
    const QString function = QTest::currentTestFunction();
    if (function != m_function && !(function == "restoreOrder" && m_function == "valueForms"))
        m_entry.reset();
    if (!m_entry)
        removeSnapshotDir();
    m_function = function;
}

void tst_DeveloperModeController::cleanupTestCase()
{
    m_entry.reset();
    removeSnapshotDir();
}

Entry &tst_DeveloperModeController::entry(int load, const QString &sql, const QByteArray &snapshot)
{
    if (!m_entry || m_load != load) {
        m_entry.reset();
        removeSnapshotDir();
        if (!snapshot.isEmpty())
            writeFile(snapshotFile(), snapshot);
        m_entry = std::make_unique<Entry>(sql);
        m_load = load;
    }
    return *m_entry;
}

// Switched off before its second is up, a developer mode never loads; the
// next one loads once, a second after it was made: the question for
// "rollbackFrame" first, then the snapshot, configChanged and the settings.
void tst_DeveloperModeController::loadsOneSecondAfterSwitchOnOnly()
{
    VoraTest::TempDatabase db(schema() + row("calibration", "readPicMod", "1"));
    VoraTest::Controller controller;
    QVERIFY(controller.waitUntilStarted());
    controller.deliver({{"cmd", "enableDeveloperMode"}, {"enabled", true}});
    QPointer<QObject> doomed = controller.child("DeveloperModeController");
    controller.deliver({{"cmd", "enableDeveloperMode"}, {"enabled", false}});
    QTRY_VERIFY(!doomed);
    controller.box().clearMessages();
    const QStringList before = db.dump();

    QElapsedTimer clock;
    QStringList events;
    std::unique_ptr<QSignalSpy> configChanged;
    connect(&controller.box(), &CommonLib::VoraBox::messagePublished, this, [&] {
        events << QStringLiteral("%1 after %2 ms, %3 configChanged, snapshot %4")
                          .arg(controller.publishedCommands().last())
                          .arg(clock.elapsed() >= 1000 ? ">= 1000" : "< 1000")
                          .arg(configChanged ? configChanged->count() : -1)
                          .arg(QFile::exists(snapshotFile()));
    });
    clock.start();
    controller.deliver({{"cmd", "enableDeveloperMode"}, {"enabled", true}});
    configChanged = std::make_unique<QSignalSpy>(controller.child("DeveloperModeController"),
                                                 SIGNAL(configChanged()));
    QTRY_COMPARE_WITH_TIMEOUT(events.size(), 3, 5000);
    QCOMPARE(events,
             QStringList({"developerModeEnabledChanged after < 1000 ms, -1 configChanged, snapshot 0",
                          "developerModeQuerySetting after >= 1000 ms, 0 configChanged, snapshot 0",
                          "developerModeSettingChanged:all after >= 1000 ms, 1 configChanged, snapshot 1"}));
    QCOMPARE(controller.published().at(1),
             msg("developerModeQuerySetting", {{"key", "rollbackFrame"}}, QVariant()));
    QCOMPARE(db.dump(), before);

    // The snapshot holds the settings twice, in their JSON forms, indented.
    const QJsonObject snapshot = readSnapshot();
    QCOMPARE(snapshot.keys(), QStringList({"init", "last"}));
    QCOMPARE(snapshot.value("init").toObject(),
             QJsonObject::fromVariantMap(controller.published().at(2).value("settings").toMap()));
    QCOMPARE(snapshot.value("last"), snapshot.value("init"));
    QVERIFY(snapshot.value("init").toObject().value("rollbackFrame").isNull());
    QVERIFY(readFile(snapshotFile()).contains("\n    \"init\": {"));
}

void tst_DeveloperModeController::settingsTable_data()
{
    QTest::addColumn<int>("load");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("loaded");
    for (int load : {1, 2}) {
        for (const Setting &s : Settings) {
            if (s.load == load)
                QTest::addRow("%d %s %s", load, s.key, s.stored) << load << s.key << s.loaded;
        }
    }
}

void tst_DeveloperModeController::settingsTable()
{
    QFETCH(int, load);
    QFETCH(QString, key);
    QFETCH(QString, loaded);
    QString sql;
    for (const Setting &s : Settings) {
        if (s.load == load && *s.stored)
            sql += row(s.table, s.dbKey, s.stored);
    }
    Entry &e = entry(load, sql);
    QVERIFY(e.devMode);
    const QVariantMap settings = e.controller.published().last().value("settings").toMap();
    QCOMPARE(describe(settings, key), loaded);
    QCOMPARE(e.devMode->property("config").toMap(), settings);
}

void tst_DeveloperModeController::valueForms_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("value");
    // The row written as "table|key|value|type"; "-": a setting with no row;
    // "unknown": a key the map does not hold.
    QTest::addColumn<QString>("written");
    const auto add = [](const char *tag, const char *key, const QVariant &value, const char *written) {
        QTest::newRow(tag) << QString(key) << value << QString(written);
    };
    add("readPicMod on is integer 1", "enableReadCaliImage", true, "calibration|readPicMod|1|integer");
    add("readPicMod off is integer 0", "enableReadCaliImage", false, "calibration|readPicMod|0|integer");
    add("calibSavePic is boolean", "enableSaveCaliImage", true, "calibration|calibSavePic|true|text");
    add("second camera is boolean", "enableSecondCameraWindow", false,
        "ui|cameraVideo.E7.needRightCamera|false|text");
    add("save scan image from 2", "enableSaveScanImage", 2, "scan|IRSpeckle.If_Save_Pic|1|integer");
    add("gray pic", "enableSaveScanImage_GrayPic", true, "scan|IRSpeckle.If_Save_GrayPic|1|integer");
    add("color pic from text false", "enableSaveScanImage_ColorPic", "false",
        "scan|IRSpeckle.If_Save_ColorPic|0|integer");
    add("read scan image", "enableReadScanImage", true, "scan|IRSpeckle.If_Read_Pic|1|integer");
    add("watermark is boolean", "enableWatermark", false, "config|watermarkEnabled|false|text");
    add("bound colour drops alpha", "pseudo_color_bound_2", QColor(255, 128, 0, 10),
        "scan|IRSpeckle.pseudo_color_bound_2|255,128,0|text");
    add("bound from colour name", "pseudo_color_bound_3", "#0000ff",
        "scan|IRSpeckle.pseudo_color_bound_3|0,0,255|text");
    add("bound not a colour", "pseudo_color_bound_4", "no colour",
        "scan|IRSpeckle.pseudo_color_bound_4|0,0,0|text");
    add("section integer as sent", "pseudo_color_section_4", 37,
        "scan|IRSpeckle.pseudo_color_section_4|37|integer");
    add("section real as sent", "pseudo_color_section_5", 2.5,
        "scan|IRSpeckle.pseudo_color_section_5|2.5|real");
    add("section text as sent", "pseudo_color_section_6", "12",
        "scan|IRSpeckle.pseudo_color_section_6|12|text");
    add("bound and section is a section", "pseudo_color_bound_section_9", 3,
        "scan|IRSpeckle.pseudo_color_bound_section_9|3|integer");
    add("pseudo colour prefix only", "pseudo_color_x", 5, "-");
    add("rollback frame", "rollbackFrame", 5, "-");
    add("pseudo colour switch", "enablePseudoColor", false, "-");
    add("scan distance", "enableScanDistanceValue", true, "-");
    add("key differs in case", "EnableWatermark", false, "unknown");
    add("empty key", "", 1, "unknown");
}

void tst_DeveloperModeController::valueForms()
{
    QFETCH(QString, key);
    QFETCH(QVariant, value);
    QFETCH(QString, written);
    if (!m_entry) {
        entry(3, QString(), snapshotBytes(craftedInit(), craftedLast()));
        // Resumed from the snapshot as it stands: no question to the host.
        QCOMPARE(m_entry->controller.publishedCommands(),
                 QStringList({"developerModeEnabledChanged", "developerModeSettingChanged:all"}));
        QCOMPARE(QJsonObject::fromVariantMap(m_entry->devMode->property("config").toMap()), craftedLast());
    }
    QObject *devMode = m_entry->devMode;
    QVERIFY(devMode);
    m_entry->controller.box().clearMessages();
    QFile::remove(snapshotFile());
    QStringList expected = m_entry->db.dump();
    QSignalSpy changed(devMode, SIGNAL(configChanged()));

    QVERIFY(QMetaObject::invokeMethod(devMode, "updateValue", Q_ARG(QString, key), Q_ARG(QVariant, value)));
    if (written.count('|') == 3)
        VoraTest::setRow(expected, written.section('|', 0, 1), written.section('|', 2));
    QTRY_COMPARE(m_entry->db.dump(), expected);
    if (written == "unknown") {
        QCOMPARE(changed.count(), 0);
        QVERIFY(m_entry->controller.published().isEmpty());
        QVERIFY(!QFile::exists(snapshotFile()));
        return;
    }
    // The map keeps what was sent; the bus and the snapshot show the map.
    QCOMPARE(changed.count(), 1);
    const QVariantMap config = devMode->property("config").toMap();
    QCOMPARE(config.value(key).userType(), value.userType());
    QCOMPARE(config.value(key), value);
    QCOMPARE(m_entry->controller.published(),
             QList<QVariantMap>({msg("developerModeSettingChanged",
                                     {{"changedKey", key}, {"settings", config}}, QVariant())}));
    QCOMPARE(readSnapshot(),
             QJsonObject({{"init", craftedInit()}, {"last", QJsonObject::fromVariantMap(config)}}));
}

void tst_DeveloperModeController::restoreOrder_data()
{
    QTest::addColumn<QString>("write"); // "table|key|stored type value"; "" after the last
    const char *rows[] = {"config|developerModeEnabled|QString false",
                          "ui|cameraVideo.E7.needRightCamera|QString true",
                          "calibration|calibSavePic|QString false",
                          // A change writes 0/1; leaving writes a boolean.
                          "calibration|readPicMod|QString true", "scan|IRSpeckle.If_Save_Pic|int 1",
                          "scan|IRSpeckle.If_Save_GrayPic|int 0", "scan|IRSpeckle.If_Save_ColorPic|int 1",
                          "scan|IRSpeckle.If_Read_Pic|int 0", "scan|IRSpeckle.pseudo_color_section_1|int 10",
                          "scan|IRSpeckle.pseudo_color_bound_1|QString 0,0,255",
                          "scan|IRSpeckle.pseudo_color_section_2|double 2.5",
                          "scan|IRSpeckle.pseudo_color_bound_2|QString 255,128,0",
                          "scan|IRSpeckle.pseudo_color_section_3|QString x",
                          "scan|IRSpeckle.pseudo_color_bound_3|QString 0,0,0",
                          "scan|IRSpeckle.pseudo_color_section_4|int 4",
                          "scan|IRSpeckle.pseudo_color_bound_4|QString 1,2,3",
                          "scan|IRSpeckle.pseudo_color_section_5|int 5",
                          "scan|IRSpeckle.pseudo_color_bound_5|QString 4,5,6",
                          "scan|IRSpeckle.pseudo_color_section_6|int 6",
                          "scan|IRSpeckle.pseudo_color_bound_6|QString 7,8,9",
                          // The watermark keeps the developer mode's choice.
                          ""};
    for (int i = 0; i < int(std::size(rows)); ++i)
        QTest::addRow("%d %s", i, rows[i]) << QString(rows[i]);
}

// Leaving writes the initial values back, from the snapshot the developer mode
// resumed from, one write after the other in this order, then announces them
// and removes the snapshot.
void tst_DeveloperModeController::restoreOrder()
{
    QFETCH(QString, write);
    Entry &e = entry(3, QString(), snapshotBytes(craftedInit(), craftedLast()));
    if (e.writes.isEmpty()) {
        QVERIFY(e.devMode);
        VoraConfigSQLite::setWriteObserver([&e](const VoraConfigWrite &w) {
            e.writes << w.table + '|' + w.key + '|' + w.newValue.typeName() + ' ' + w.newValue.toString();
        });
        e.controller.box().clearMessages();
        QVERIFY(QMetaObject::invokeMethod(e.devMode, "quitDeveloperMode"));
        QVERIFY(QFile::exists(snapshotDir()));
        QVERIFY(!QFile::exists(snapshotFile()));
        QCOMPARE(e.controller.published().value(0),
                 msg("developerModeSettingChanged",
                     {{"changedKey", "all"}, {"settings", craftedInit().toVariantMap()}}, QVariant()));
        QCOMPARE(e.controller.publishedCommands(),
                 QStringList({"developerModeSettingChanged:all", "developerModeEnabledChanged"}));
    }
    const int index = QString(QTest::currentDataTag()).section(' ', 0, 0).toInt();
    QCOMPARE(e.writes.value(index), write);
    if (write.isEmpty())
        QCOMPARE(e.writes.size(), index);
}

void tst_DeveloperModeController::queryAndResponse()
{
    // Section 4 is missing from the database: a second placeholder besides
    // "rollbackFrame".
    Entry &e = entry(4, row("scan", "IRSpeckle.pseudo_color_section_1", "10"));
    QVERIFY(e.devMode);
    QVERIFY(QMetaObject::invokeMethod(e.devMode, "updateValue", Q_ARG(QString, "pseudo_color_section_1"),
                                      Q_ARG(QVariant, 77)));
    QSignalSpy changed(e.devMode, SIGNAL(configChanged()));
    struct Step
    {
        const char *what;
        QVariantMap param;
        // Afterwards: configChanged so far, the key's initial and current
        // values in the snapshot, and whether the whole map was published.
        int changes;
        const char *key;
        QJsonValue init;
        QJsonValue last;
        bool answered;
    };
    const QJsonValue null = QJsonValue::Null;
    const QList<Step> steps = {
            {"query, module case differs", msg("queryDeveloperModeSetting", {}, "developermode"), 0,
             "rollbackFrame", null, null, false},
            {"answer, module case differs", answer("rollbackFrame", 3, "Developermode"), 0, "rollbackFrame",
             null, null, false},
            {"answer without module", answer("rollbackFrame", 3, QVariant()), 0, "rollbackFrame", null, null,
             false},
            {"answer for a key not in the map", answer("rollbackframe", 3), 0, "rollbackFrame", null, null,
             false},
            {"answer for a filled key", answer("enableWatermark", 0), 0, "enableWatermark", true, true,
             false},
            {"answer for a filled key the user changed", answer("pseudo_color_section_1", 5), 0,
             "pseudo_color_section_1", 10, 77, false},
            {"first answer, numeric text", answer("rollbackFrame", "12"), 1, "rollbackFrame", 12, 12, false},
            {"second answer ignored", answer("rollbackFrame", 7), 1, "rollbackFrame", 12, 12, false},
            {"answer that is not a number", answer("pseudo_color_section_4", "abc"), 2,
             "pseudo_color_section_4", 0, 0, false},
            {"query answered with the current map", msg("queryDeveloperModeSetting"), 2, "rollbackFrame", 12,
             12, true},
            {"unknown command", msg("QueryDeveloperModeSetting"), 2, "rollbackFrame", 12, 12, false},
    };
    for (const Step &step : steps) {
        e.controller.box().clearMessages();
        QCOMPARE(e.controller.deliver(step.param), 0);
        const QJsonObject snapshot = readSnapshot();
        const QVariantMap config = e.devMode->property("config").toMap();
        QVERIFY2(changed.count() == step.changes, step.what);
        QVERIFY2(snapshot.value("init").toObject().value(step.key) == step.init, step.what);
        QVERIFY2(snapshot.value("last").toObject().value(step.key) == step.last, step.what);
        QVERIFY2(QJsonValue::fromVariant(config.value(step.key)) == step.last, step.what);
        QVERIFY2(e.controller.published()
                         == (step.answered ? QList<QVariantMap>{msg(
                                     "developerModeSettingChanged",
                                     {{"changedKey", "all"}, {"settings", config}}, QVariant())}
                                           : QList<QVariantMap>()),
                 step.what);
    }
    // A filled placeholder is an int.
    QCOMPARE(e.devMode->property("config").toMap().value("rollbackFrame").userType(), int(QMetaType::Int));
}

void tst_DeveloperModeController::damagedSnapshot_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("empty object") << QByteArray("{}");
    QTest::newRow("not JSON") << QByteArray("developer mode was here\n");
    QTest::newRow("members of the wrong type") << QByteArray("{\"init\": [1, 2], \"last\": \"x\"}");
    QTest::newRow("deeply nested") << QByteArray(200000, '[');
    QTest::newRow("very large") << "{\"padding\": \"" + QByteArray(24 * 1024 * 1024, 'x')
                    + "\", \"init\": 0}";
}

// Two empty maps, no question, no fall-back to the database, no log line;
// leaving then finds nothing to restore and writes every key as invalid.
void tst_DeveloperModeController::damagedSnapshot()
{
    QFETCH(QByteArray, content);
    QVERIFY(writeFile(snapshotFile(), content));
    VoraTest::LogCollector log;
    Entry e(row("calibration", "readPicMod", "'true'") + row("config", "watermarkEnabled", "'true'"));
    QVERIFY(e.devMode);
    QCOMPARE(e.controller.publishedCommands(),
             QStringList({"developerModeEnabledChanged", "developerModeSettingChanged:all"}));
    QCOMPARE(e.controller.published().at(1).value("settings").toMap(), QVariantMap());
    QCOMPARE(e.devMode->property("config").toMap(), QVariantMap());
    QVERIFY(readFile(snapshotFile()) == content);
    QVERIFY(QMetaObject::invokeMethod(e.devMode, "updateValue", Q_ARG(QString, "enableWatermark"),
                                      Q_ARG(QVariant, false)));
    QCOMPARE(e.controller.published().size(), 2);

    QStringList expected = e.db.dump();
    QVERIFY(QMetaObject::invokeMethod(e.devMode, "quitDeveloperMode"));
    const QVariantMap restored = e.controller.published().at(2).value("settings").toMap();
    QStringList keys{"enableSecondCameraWindow", "enableSaveCaliImage", "enableReadCaliImage"};
    for (const QString &key : {"If_Save_Pic", "If_Save_GrayPic", "If_Save_ColorPic", "If_Read_Pic"})
        VoraTest::setRow(expected, "scan|IRSpeckle." + key, "0|integer");
    for (int n = 1; n <= 6; ++n) {
        keys << QStringLiteral("pseudo_color_section_%1").arg(n)
             << QStringLiteral("pseudo_color_bound_%1").arg(n);
        VoraTest::setRow(expected, QStringLiteral("scan|IRSpeckle.pseudo_color_section_%1").arg(n), "|null");
        VoraTest::setRow(expected, QStringLiteral("scan|IRSpeckle.pseudo_color_bound_%1").arg(n),
                         "0,0,0|text");
    }
    keys << "enableSaveScanImage"
         << "enableSaveScanImage_GrayPic"
         << "enableSaveScanImage_ColorPic"
         << "enableReadScanImage";
    keys.sort();
    QCOMPARE(restored.keys(), keys);
    for (const QVariant &value : restored)
        QVERIFY(!value.isValid());
    for (const char *key : {"config|developerModeEnabled", "ui|cameraVideo.E7.needRightCamera",
                            "calibration|calibSavePic", "calibration|readPicMod"})
        VoraTest::setRow(expected, key, "false|text");
    QTRY_COMPARE(e.db.dump(), expected);
    QVERIFY(!QFile::exists(snapshotFile()));
    QVERIFY(log.from("src/DeveloperMode/DeveloperModeController.cpp").isEmpty());
}

void tst_DeveloperModeController::snapshotCannotBeWritten_data()
{
    QTest::addColumn<bool>("folderIsFile");
    QTest::newRow("a file where the folder belongs") << true;
    QTest::newRow("a folder where the snapshot belongs") << false;
}

void tst_DeveloperModeController::snapshotCannotBeWritten()
{
    QFETCH(bool, folderIsFile);
    VoraTest::LogCollector log;
    // The plug-in's log lines as "type category function: text".
    const auto lines = [&] {
        QStringList out;
        for (const VoraTest::LogLine &l : log.from("src/DeveloperMode/DeveloperModeController.cpp"))
            out << QStringLiteral("%1 %2 %3: %4").arg(l.type).arg(l.category, l.function, l.text);
        return out;
    };
    const QString warning = QStringLiteral("%1 default void DeveloperModeController::%2: %3")
                                    .arg(QtWarningMsg);
    // Both fail for root as well, unlike missing write permissions.
    QStringList expected;
    if (folderIsFile) {
        QVERIFY(writeFile(snapshotDir(), "not a folder"));
    } else {
        QVERIFY(QDir().mkpath(snapshotFile()));
        QFile reader(snapshotFile());
        QVERIFY(!reader.open(QIODevice::ReadOnly));
        expected << warning.arg("initConfig()", reader.errorString());
    }
    QSaveFile writer(snapshotFile());
    QVERIFY(!writer.open(QIODevice::WriteOnly));
    const QString saveWarning = warning.arg("saveConfig()", writer.errorString());
    expected << saveWarning;

    // Loaded from the database all the same.
    Entry e(row("calibration", "readPicMod", "1"));
    QVERIFY(e.devMode);
    QCOMPARE(e.controller.publishedCommands(),
             QStringList({"developerModeEnabledChanged", "developerModeQuerySetting",
                          "developerModeSettingChanged:all"}));
    QCOMPARE(e.devMode->property("config").toMap().value("enableReadCaliImage"), QVariant(true));
    QCOMPARE(lines(), expected);

    // A change still reaches the database and the bus; the save warns again.
    QVERIFY(QMetaObject::invokeMethod(e.devMode, "updateValue", Q_ARG(QString, "enableReadCaliImage"),
                                      Q_ARG(QVariant, false)));
    QTRY_COMPARE(e.db.value("calibration", "readPicMod"), QString("0|integer"));
    QCOMPARE(e.controller.publishedCommands().last(),
             QString("developerModeSettingChanged:enableReadCaliImage"));
    QCOMPARE(lines(), expected << saveWarning);

    // Leaving restores, and silently fails to remove what is in the way.
    QVERIFY(QMetaObject::invokeMethod(e.devMode, "quitDeveloperMode"));
    QTRY_COMPARE(e.db.value("calibration", "readPicMod"), QString("true|text"));
    QCOMPARE(lines(), expected);
    if (folderIsFile) {
        QCOMPARE(readFile(snapshotDir()), QByteArray("not a folder"));
    } else {
        // A failed save leaves no temporary file behind.
        QCOMPARE(QDir(snapshotDir()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
                 QStringList({"developer_mode_temp.json"}));
    }
}

QTEST_MAIN(tst_DeveloperModeController)
#include "tst_developermodecontroller.moc"
