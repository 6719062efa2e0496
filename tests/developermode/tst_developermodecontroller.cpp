// The developer mode through the real plug-in: settings loaded from a real
// SQLite file or from the snapshot beside the executable, the write-through
// of each change (values and their stored types), the bus protocol, the
// restore on leaving, and damaged or unwritable snapshots.

#include "DeveloperModeFixture.h"

#include <QColor>
#include <QGuiApplication>
#include <QSaveFile>
#include <QtTest>

#include <memory>

using namespace DevModeTest;

Q_DECLARE_METATYPE(DevModeTest::Dump)

namespace {

QVariantMap msg(const char *cmd, QVariantMap extra = {}, const char *module = "DeveloperMode")
{
    extra.insert("cmd", cmd);
    if (module)
        extra.insert("module", module);
    return extra;
}

// The host's answer to the question for a setting.
QVariantMap answer(const char *key, const QVariant &value, const char *module = "DeveloperMode")
{
    return msg("developerModeQuerySettingResp", {{"key", key}, {"value", value}}, module);
}

// A setting as "type value": a colour by its components (every invalid colour
// alike), anything else by its type and its text.
QString describe(const QVariantMap &map, const QString &key)
{
    const QVariant v = map.value(key);
    if (!map.contains(key))
        return QStringLiteral("<missing>");
    if (v.userType() == QMetaType::QColor)
        return v.value<QColor>().isValid() ? "QColor " + v.value<QColor>().name(QColor::HexArgb)
                                           : "QColor invalid";
    return QStringLiteral("%1 %2").arg(QLatin1String(v.typeName()), v.toString());
}

QString settingsDiff(const QVariantMap &actual, const QVariantMap &expected)
{
    QVariantMap all = actual;
    all.insert(expected);
    QString out;
    for (const QString &key : all.keys()) {
        if (describe(actual, key) != describe(expected, key))
            out += QStringLiteral("\n  %1: got %2, want %3")
                           .arg(key, describe(actual, key), describe(expected, key));
    }
    return out;
}

// The seven switches that have a row in the database, in this order.
const char *const SwitchKeys[] = {"enableSecondCameraWindow",    "enableSaveCaliImage",
                                  "enableReadCaliImage",         "enableSaveScanImage",
                                  "enableSaveScanImage_GrayPic", "enableSaveScanImage_ColorPic",
                                  "enableReadScanImage"};

// The full settings map as entering from the database makes it: the seven
// switches, six sections and six bounds as given, the watermark, and the
// settings that have no row.
QVariantMap settingsOf(const QList<bool> &switches, const QVariantList &sections, const QList<QColor> &bounds,
                       bool watermark)
{
    QVariantMap map{{"enableScanDistanceValue", false},
                    {"enableSaveReadImage", true},
                    {"enablePseudoColor", true},
                    {"rollbackFrame", QVariant()},
                    {"enableWatermark", watermark}};
    for (int i = 0; i < 7; ++i)
        map.insert(SwitchKeys[i], switches.at(i));
    for (int n = 1; n <= 6; ++n) {
        map.insert(QStringLiteral("pseudo_color_section_%1").arg(n), sections.at(n - 1));
        map.insert(QStringLiteral("pseudo_color_bound_%1").arg(n), bounds.at(n - 1));
    }
    return map;
}

// A snapshot written as the plug-in would have written it in an earlier run.
QJsonObject craftedInit()
{
    QJsonObject init{{"enableSecondCameraWindow", true},
                     {"enableSaveReadImage", true},
                     {"enablePseudoColor", true},
                     {"rollbackFrame", 2},
                     {"enableWatermark", true}};
    for (const char *key :
         {"enableScanDistanceValue", "enableSaveCaliImage", "enableReadCaliImage", "enableSaveScanImage",
          "enableSaveScanImage_GrayPic", "enableSaveScanImage_ColorPic", "enableReadScanImage"})
        init.insert(key, false);
    for (int n = 1; n <= 6; ++n) {
        init.insert(QStringLiteral("pseudo_color_section_%1").arg(n), n * 10);
        init.insert(QStringLiteral("pseudo_color_bound_%1").arg(n), QStringLiteral("#ff0000"));
    }
    return init;
}

QByteArray snapshotBytes(const QJsonObject &init, const QJsonObject &last)
{
    return QJsonDocument(QJsonObject{{"init", init}, {"last", last}}).toJson();
}

} // namespace

class tst_DeveloperModeController : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup() { removeSnapshotDir(); }
    void cleanupTestCase();

    void entryReadsDatabaseAndLeavingRestoresIt_data();
    void entryReadsDatabaseAndLeavingRestoresIt();
    void updateValueWritesThrough_data();
    void updateValueWritesThrough();
    void queryAndResponse();
    void damagedSnapshot_data();
    void damagedSnapshot();
    void snapshotCannotBeWritten_data();
    void snapshotCannotBeWritten();

private:
    // One developer mode, entered once from a snapshot, shared by the rows of
    // updateValueWritesThrough: each row checks only what its own change did.
    struct Shared
    {
        VoraTest::TempDatabase db{schema()};
        VoraTest::Controller controller;
        QPointer<QObject> devMode;
    };
    std::unique_ptr<Shared> m_shared;
};

void tst_DeveloperModeController::init()
{
    if (qstrcmp(QTest::currentTestFunction(), "updateValueWritesThrough") != 0)
        m_shared.reset();
    removeSnapshotDir();
}

void tst_DeveloperModeController::cleanupTestCase()
{
    m_shared.reset();
    removeSnapshotDir();
}

void tst_DeveloperModeController::entryReadsDatabaseAndLeavingRestoresIt_data()
{
    QTest::addColumn<QString>("seed");
    QTest::addColumn<QVariantMap>("expected");
    QTest::addColumn<Dump>("restored"); // rows that differ from the seed after leaving

    // Six bounds, six ways of parsing "r,g,b"; sections keep their type;
    // keys with index 0 and 7 are never read nor written.
    QString seed = rows("ui", {"cameraVideo.E7.needRightCamera='true'"})
            + rows("calibration", {"calibSavePic='false'", "readPicMod=1"})
            + rows("scan",
                   {"If_Save_Pic=2", "If_Save_ColorPic=0", "If_Read_Pic='3'", "pseudo_color_section_0=1",
                    "pseudo_color_section_1=10", "pseudo_color_section_2=2.5", "pseudo_color_section_3='abc'",
                    "pseudo_color_section_5=-4", "pseudo_color_section_6=NULL", "pseudo_color_section_7=99",
                    "pseudo_color_bound_1='255,0,0'", "pseudo_color_bound_2='255,0'",
                    "pseudo_color_bound_3=''", "pseudo_color_bound_4='256,0,0'",
                    "pseudo_color_bound_5='-1,0,0'", "pseudo_color_bound_6='a,b,c'",
                    "pseudo_color_bound_7='1,2,3'"});
    const QColor black(Qt::black);
    QVariantMap expected = settingsOf({true, false, true, true, false, false, true},
                                      {10, 2.5, "abc", QVariant(), -4, QVariant()},
                                      {QColor(255, 0, 0), black, black, QColor(), QColor(), black}, true);
    Dump restored{{"config|developerModeEnabled", stored("false", "text")},
                  // A change writes 0/1, leaving writes a boolean.
                  {"calibration|readPicMod", stored("true", "text")},
                  {"scan|IRSpeckle.If_Save_Pic", stored(1, "integer")},
                  {"scan|IRSpeckle.If_Save_GrayPic", stored(0, "integer")},
                  {"scan|IRSpeckle.If_Read_Pic", stored(1, "integer")},
                  {"scan|IRSpeckle.pseudo_color_section_4", stored(QVariant(), "null")},
                  // Not restored: the watermark change outlives the mode.
                  {"config|watermarkEnabled", stored("false", "text")}};
    for (int n = 2; n <= 6; ++n)
        restored.insert(QStringLiteral("scan|IRSpeckle.pseudo_color_bound_%1").arg(n),
                        stored("0,0,0", "text"));
    QTest::newRow("mixed forms, watermark missing") << seed << expected << restored;

    seed = rows("calibration", {"calibSavePic='true'", "readPicMod='false'"})
            + rows("scan",
                   {"If_Save_Pic='true'", "If_Save_GrayPic=1", "If_Save_ColorPic=-1", "If_Read_Pic=0",
                    "pseudo_color_section_6=0.5", "pseudo_color_bound_1='0,0,255'",
                    "pseudo_color_bound_2='0,128,255,0'", "pseudo_color_bound_3='12,34,56'",
                    "pseudo_color_bound_4=NULL", "pseudo_color_bound_6='255,255,255'"})
            + rows("config", {"watermarkEnabled='false'"})
            // The same keys in the wrong tables must not be read.
            + rows("config", {"readPicMod='true'"}) + rows("ui", {"IRSpeckle.If_Read_Pic=1"});
    // The text "true" in If_Save_Pic is not an integer: read as 0.
    expected = settingsOf({false, true, false, false, true, true, false},
                          {QVariant(), QVariant(), QVariant(), QVariant(), QVariant(), 0.5},
                          {QColor(0, 0, 255), black, QColor(12, 34, 56), black, black, QColor(255, 255, 255)},
                          false);
    restored = {{"config|developerModeEnabled", stored("false", "text")},
                {"ui|cameraVideo.E7.needRightCamera", stored("false", "text")},
                {"scan|IRSpeckle.If_Save_Pic", stored(0, "integer")},
                {"scan|IRSpeckle.If_Save_ColorPic", stored(1, "integer")}};
    for (int n = 1; n <= 5; ++n)
        restored.insert(QStringLiteral("scan|IRSpeckle.pseudo_color_section_%1").arg(n),
                        stored(QVariant(), "null"));
    for (int n : {2, 4, 5})
        restored.insert(QStringLiteral("scan|IRSpeckle.pseudo_color_bound_%1").arg(n),
                        stored("0,0,0", "text"));
    QTest::newRow("opposite values, keys in other tables") << seed << expected << restored;
}

void tst_DeveloperModeController::entryReadsDatabaseAndLeavingRestoresIt()
{
    QFETCH(QString, seed);
    QFETCH(QVariantMap, expected);
    QFETCH(Dump, restored);
    VoraTest::TempDatabase db(schema() + seed);
    QVERIFY2(db.isValid(), qPrintable(db.errorString()));
    const Dump before = dump(db.fileName());
    VoraTest::Controller controller;
    QVERIFY2(controller.isValid(), qPrintable(controller.errorString()));

    // Whether the snapshot existed at the moment each message went out.
    QList<bool> snapshotAtMessage;
    connect(&controller.box(), &CommonLib::VoraBox::messagePublished, this,
            [&](const CommonLib::VoraBusMessage &) {
                snapshotAtMessage.append(QFile::exists(snapshotFile()));
            });

    QPointer<QObject> devMode = enterDeveloperMode(controller);
    QVERIFY(devMode);

    const QList<QVariantMap> messages = controller.published();
    QCOMPARE(controller.publishedCommands(),
             QStringList({"developerModeEnabledChanged", "developerModeQuerySetting",
                          "developerModeSettingChanged"}));
    QCOMPARE(messages.at(1), QVariantMap({{"cmd", "developerModeQuerySetting"}, {"key", "rollbackFrame"}}));
    QCOMPARE(snapshotAtMessage, QList<bool>({false, false, true}));
    QCOMPARE(messages.at(2).value("changedKey").toString(), QStringLiteral("all"));
    const QVariantMap settings = messages.at(2).value("settings").toMap();
    QString mismatch = settingsDiff(settings, expected);
    QVERIFY2(mismatch.isEmpty(), qPrintable(mismatch));
    QCOMPARE(devMode->property("config").toMap(), settings);

    // The snapshot holds the same values twice, in their JSON forms.
    QVERIFY(QFileInfo(snapshotDir()).isDir());
    const QJsonObject snapshot = readSnapshot();
    QCOMPARE(snapshot.keys(), QStringList({"init", "last"}));
    QCOMPARE(snapshot.value("init").toObject(), snapshot.value("last").toObject());
    QCOMPARE(snapshot.value("init").toObject(), QJsonObject::fromVariantMap(settings));
    QVERIFY(snapshot.value("init").toObject().value("rollbackFrame").isNull());
    QVERIFY(readFile(snapshotFile()).contains("\n    \"init\": {"));

    // Entering reads only.
    mismatch = diff(dump(db.fileName()), before);
    QVERIFY2(mismatch.isEmpty(), qPrintable(mismatch));

    // Change every setting, then the page's exit button.
    const QList<QPair<QString, QVariant>> changes = {{"enableSecondCameraWindow", false},
                                                     {"enableSaveCaliImage", true},
                                                     {"enableReadCaliImage", false},
                                                     {"enableSaveScanImage", false},
                                                     {"enableSaveScanImage_GrayPic", true},
                                                     {"enableSaveScanImage_ColorPic", true},
                                                     {"enableReadScanImage", false},
                                                     {"pseudo_color_section_1", 55},
                                                     {"pseudo_color_section_4", 44},
                                                     {"pseudo_color_bound_1", QColor(9, 8, 7)},
                                                     {"pseudo_color_bound_5", QColor(1, 2, 3)},
                                                     {"enableWatermark", false},
                                                     {"rollbackFrame", 9}};
    for (const auto &change : changes)
        QVERIFY(QMetaObject::invokeMethod(devMode, "updateValue", Q_ARG(QString, change.first),
                                          Q_ARG(QVariant, change.second)));
    controller.box().clearMessages();
    snapshotAtMessage.clear();
    QVERIFY(QMetaObject::invokeMethod(devMode, "quitDeveloperMode"));
    // The snapshot goes only after the restored values are announced.
    QCOMPARE(snapshotAtMessage, QList<bool>({true, false}));
    QCOMPARE(controller.publishedCommands(),
             QStringList({"developerModeSettingChanged", "developerModeEnabledChanged"}));
    QCOMPARE(controller.published().at(0).value("changedKey").toString(), QStringLiteral("all"));
    mismatch = settingsDiff(controller.published().at(0).value("settings").toMap(), settings);
    QVERIFY2(mismatch.isEmpty(), qPrintable(mismatch));
    QCOMPARE(controller.published().at(1).value("enabled"), QVariant(false));

    Dump expectedDb = before;
    expectedDb.insert(restored);
    mismatch = diff(dump(db.fileName()), expectedDb);
    QVERIFY2(mismatch.isEmpty(), qPrintable(mismatch));
    QVERIFY(!QFile::exists(snapshotFile()));
    QVERIFY(devMode); // deletion is deferred: the exit button's call is still on the stack
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!devMode);
}

void tst_DeveloperModeController::updateValueWritesThrough_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("value");
    // "table|database key value type" of the row written (scan keys without
    // "IRSpeckle."); "-": a setting with no row; "unknown": a key the map
    // does not hold.
    QTest::addColumn<QString>("written");

    const auto add = [](const char *tag, const char *key, const QVariant &value, const char *written) {
        QTest::newRow(tag) << QString(key) << value << QString(written);
    };
    add("readPicMod on is integer 1", "enableReadCaliImage", true, "calibration|readPicMod 1 integer");
    add("readPicMod off is integer 0", "enableReadCaliImage", false, "calibration|readPicMod 0 integer");
    add("calibSavePic is boolean", "enableSaveCaliImage", true, "calibration|calibSavePic true text");
    add("second camera is boolean", "enableSecondCameraWindow", false,
        "ui|cameraVideo.E7.needRightCamera false text");
    add("save scan image from 2", "enableSaveScanImage", 2, "scan|If_Save_Pic 1 integer");
    add("gray pic", "enableSaveScanImage_GrayPic", true, "scan|If_Save_GrayPic 1 integer");
    add("color pic from text false", "enableSaveScanImage_ColorPic", "false",
        "scan|If_Save_ColorPic 0 integer");
    add("read scan image", "enableReadScanImage", true, "scan|If_Read_Pic 1 integer");
    add("watermark is boolean", "enableWatermark", false, "config|watermarkEnabled false text");
    add("bound colour drops alpha", "pseudo_color_bound_2", QColor(255, 128, 0, 10),
        "scan|pseudo_color_bound_2 255,128,0 text");
    add("bound from colour name", "pseudo_color_bound_3", "#0000ff",
        "scan|pseudo_color_bound_3 0,0,255 text");
    add("bound not a colour", "pseudo_color_bound_4", "no colour", "scan|pseudo_color_bound_4 0,0,0 text");
    add("section integer as sent", "pseudo_color_section_4", 37, "scan|pseudo_color_section_4 37 integer");
    add("section real as sent", "pseudo_color_section_5", 2.5, "scan|pseudo_color_section_5 2.5 real");
    add("section text as sent", "pseudo_color_section_6", "12", "scan|pseudo_color_section_6 12 text");
    add("bound and section is a section", "pseudo_color_bound_section_9", 3,
        "scan|pseudo_color_bound_section_9 3 integer");
    add("pseudo colour prefix only", "pseudo_color_x", 5, "-");
    add("rollback frame", "rollbackFrame", 5, "-");
    add("pseudo colour switch", "enablePseudoColor", false, "-");
    add("scan distance", "enableScanDistanceValue", true, "-");
    add("key differs in case", "EnableWatermark", false, "unknown");
    add("empty key", "", 1, "unknown");
}

void tst_DeveloperModeController::updateValueWritesThrough()
{
    QFETCH(QString, key);
    QFETCH(QVariant, value);
    QFETCH(QString, written);
    const QStringList row = QString(written).replace("scan|", "scan|IRSpeckle.").split(' ');

    QJsonObject last = craftedInit();
    last.insert("pseudo_color_x", 1);
    last.insert("pseudo_color_bound_section_9", 0);
    if (!m_shared) {
        QVERIFY(writeFile(snapshotFile(), snapshotBytes(craftedInit(), last)));
        m_shared = std::make_unique<Shared>();
        QVERIFY2(m_shared->db.isValid(), qPrintable(m_shared->db.errorString()));
        QVERIFY2(m_shared->controller.isValid(), qPrintable(m_shared->controller.errorString()));
        m_shared->devMode = enterDeveloperMode(m_shared->controller);
        // Resumed from the snapshot: no question to the host.
        QCOMPARE(m_shared->controller.publishedCommands(),
                 QStringList({"developerModeEnabledChanged", "developerModeSettingChanged"}));
    }
    QVERIFY(m_shared->devMode);
    QObject *devMode = m_shared->devMode;
    VoraTest::Controller &controller = m_shared->controller;
    controller.box().clearMessages();
    QFile::remove(snapshotFile());
    const Dump before = dump(m_shared->db.fileName());
    QSignalSpy changed(devMode, SIGNAL(configChanged()));

    QVERIFY(QMetaObject::invokeMethod(devMode, "updateValue", Q_ARG(QString, key), Q_ARG(QVariant, value)));

    Dump expectedDb = before;
    if (row.size() == 3)
        expectedDb.insert(row.at(0), Stored(row.at(1), row.at(2)));
    const QString dbDiff = diff(dump(m_shared->db.fileName()), expectedDb);
    QVERIFY2(dbDiff.isEmpty(), qPrintable(dbDiff));

    if (written == QLatin1String("unknown")) {
        QCOMPARE(changed.count(), 0);
        QVERIFY(controller.published().isEmpty());
        QVERIFY(!QFile::exists(snapshotFile()));
        QVERIFY(!devMode->property("config").toMap().contains(key));
        return;
    }

    QCOMPARE(changed.count(), 1);
    const QList<QVariantMap> messages = controller.published();
    QCOMPARE(messages.size(), 1);
    QCOMPARE(messages.at(0).value("cmd").toString(), QStringLiteral("developerModeSettingChanged"));
    QCOMPARE(messages.at(0).value("changedKey").toString(), key);
    const QVariantMap settings = messages.at(0).value("settings").toMap();
    // The map keeps what was sent, not the database form.
    QVERIFY(settings.value(key).userType() == value.userType());
    QCOMPARE(settings.value(key), value);
    QCOMPARE(settings, devMode->property("config").toMap());

    const QJsonObject snapshot = readSnapshot();
    QCOMPARE(snapshot.value("init").toObject(), craftedInit());
    QCOMPARE(snapshot.value("last").toObject().value(key), QJsonValue::fromVariant(value));
    QCOMPARE(QJsonObject::fromVariantMap(settings), snapshot.value("last").toObject());
}

void tst_DeveloperModeController::queryAndResponse()
{
    // section 4 is missing from the database: a second placeholder besides
    // "rollbackFrame".
    VoraTest::TempDatabase db(schema() + rows("scan", {"pseudo_color_section_1=10"}));
    QVERIFY2(db.isValid(), qPrintable(db.errorString()));
    VoraTest::Controller controller;
    QVERIFY2(controller.isValid(), qPrintable(controller.errorString()));
    QObject *devMode = enterDeveloperMode(controller);
    QVERIFY(devMode);
    QVERIFY(QMetaObject::invokeMethod(devMode, "updateValue", Q_ARG(QString, "pseudo_color_section_1"),
                                      Q_ARG(QVariant, 77)));
    controller.box().clearMessages();
    QSignalSpy changed(devMode, SIGNAL(configChanged()));

    struct Step
    {
        const char *what;
        QVariantMap param;
        // Expected afterwards: configChanged count so far, and the initial
        // and current values of the key in the snapshot (null: placeholder).
        int changes;
        const char *key;
        QJsonValue init;
        QJsonValue last;
        bool answered; // "queryDeveloperModeSetting" answered on the bus
    };
    const QJsonValue null = QJsonValue::Null;
    const QList<Step> steps = {
            {"query, module case differs", msg("queryDeveloperModeSetting", {}, "developermode"), 0,
             "rollbackFrame", null, null, false},
            {"answer, module case differs", answer("rollbackFrame", 3, "Developermode"), 0, "rollbackFrame",
             null, null, false},
            {"answer without module", answer("rollbackFrame", 3, nullptr), 0, "rollbackFrame", null, null,
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
        controller.box().clearMessages();
        QCOMPARE(controller.deliver(step.param), 0);
        const QJsonObject snapshot = readSnapshot();
        const QString key = QString::fromLatin1(step.key);
        QVERIFY2(changed.count() == step.changes, step.what);
        QVERIFY2(snapshot.value("init").toObject().value(key) == step.init, step.what);
        QVERIFY2(snapshot.value("last").toObject().value(key) == step.last, step.what);
        const QVariantMap config = devMode->property("config").toMap();
        QVERIFY2(QJsonValue::fromVariant(config.value(key)) == step.last, step.what);
        if (step.answered) {
            QCOMPARE(controller.published().size(), 1);
            const QVariantMap answer = controller.published().at(0);
            QCOMPARE(answer.value("cmd").toString(), QStringLiteral("developerModeSettingChanged"));
            QCOMPARE(answer.value("changedKey").toString(), QStringLiteral("all"));
            QCOMPARE(answer.value("settings").toMap(), config);
            // A filled placeholder is stored as an int.
            QCOMPARE(config.value("rollbackFrame").userType(), int(QMetaType::Int));
        } else {
            QVERIFY2(controller.published().isEmpty(), step.what);
        }
    }
}

void tst_DeveloperModeController::damagedSnapshot_data()
{
    QTest::addColumn<QByteArray>("content");

    const QByteArray whole = snapshotBytes(craftedInit(), craftedInit());
    QTest::newRow("empty object") << QByteArray("{}");
    QTest::newRow("not JSON") << QByteArray("developer mode was here\n");
    QTest::newRow("truncated") << whole.left(whole.size() / 2);
    QTest::newRow("top level array") << QByteArray("[") + whole + QByteArray("]");
    QTest::newRow("members of the wrong type") << QByteArray("{\"init\": [1, 2], \"last\": \"x\"}");
    QTest::newRow("deeply nested") << QByteArray(200000, '[');

    QByteArray large = "{\"padding\": \"";
    large += QByteArray(24 * 1024 * 1024, 'x');
    large += "\", \"init\": 0}";
    QTest::newRow("very large") << large;
}

void tst_DeveloperModeController::damagedSnapshot()
{
    QFETCH(QByteArray, content);
    QVERIFY(writeFile(snapshotFile(), content));
    VoraTest::TempDatabase db(schema() + rows("calibration", {"readPicMod='true'"})
                              + rows("config", {"watermarkEnabled='true'"}));
    QVERIFY2(db.isValid(), qPrintable(db.errorString()));
    const Dump seeded = dump(db.fileName());
    LogCollector log;
    VoraTest::Controller controller;
    QVERIFY2(controller.isValid(), qPrintable(controller.errorString()));
    QPointer<QObject> devMode = enterDeveloperMode(controller);
    QVERIFY(devMode);

    // Two empty maps, no question to the host, no fall-back to the database.
    QCOMPARE(controller.publishedCommands(),
             QStringList({"developerModeEnabledChanged", "developerModeSettingChanged"}));
    QCOMPARE(controller.published().at(1).value("settings").toMap(), QVariantMap());
    QCOMPARE(devMode->property("config").toMap(), QVariantMap());
    QVERIFY(log.from("src/DeveloperMode/DeveloperModeController.cpp").isEmpty());
    QVERIFY(readFile(snapshotFile()) == content);

    controller.box().clearMessages();
    controller.deliver(msg("queryDeveloperModeSetting"));
    QCOMPARE(controller.published().size(), 1);
    QCOMPARE(controller.published().at(0).value("settings").toMap(), QVariantMap());
    // No setting can be changed: none is in the map.
    QVERIFY(QMetaObject::invokeMethod(devMode, "updateValue", Q_ARG(QString, "enableWatermark"),
                                      Q_ARG(QVariant, false)));
    QCOMPARE(controller.published().size(), 1);
    QCOMPARE(db.value("config", "watermarkEnabled").first, QVariant("true"));

    // Leaving finds nothing to restore: every key is read as invalid.
    QVERIFY(QMetaObject::invokeMethod(devMode, "quitDeveloperMode"));
    const QVariantMap restored = controller.published().at(1).value("settings").toMap();
    QStringList keys(std::begin(SwitchKeys), std::end(SwitchKeys));
    for (int n = 1; n <= 6; ++n)
        keys << QStringLiteral("pseudo_color_section_%1").arg(n)
             << QStringLiteral("pseudo_color_bound_%1").arg(n);
    keys.sort();
    QCOMPARE(restored.keys(), keys);
    for (const QVariant &value : restored)
        QVERIFY(!value.isValid());
    // Each in the form of its kind: false as text or as 0, null, black.
    Dump expected = seeded;
    expected.insert({{"config|developerModeEnabled", stored("false", "text")},
                     {"ui|cameraVideo.E7.needRightCamera", stored("false", "text")},
                     {"calibration|calibSavePic", stored("false", "text")},
                     {"calibration|readPicMod", stored("false", "text")}});
    for (const char *key : {"If_Save_Pic", "If_Save_GrayPic", "If_Save_ColorPic", "If_Read_Pic"})
        expected.insert(QStringLiteral("scan|IRSpeckle.") + key, stored(0, "integer"));
    for (int n = 1; n <= 6; ++n) {
        expected.insert(QStringLiteral("scan|IRSpeckle.pseudo_color_section_%1").arg(n),
                        stored(QVariant(), "null"));
        expected.insert(QStringLiteral("scan|IRSpeckle.pseudo_color_bound_%1").arg(n),
                        stored("0,0,0", "text"));
    }
    const QString mismatch = diff(dump(db.fileName()), expected);
    QVERIFY2(mismatch.isEmpty(), qPrintable(mismatch));
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
    // The plug-in's log lines as "type category function: text".
    LogCollector log;
    const auto warnings = [&] {
        QStringList out;
        for (const LogLine &l : log.from("src/DeveloperMode/DeveloperModeController.cpp"))
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

    VoraTest::TempDatabase db(schema() + rows("calibration", {"readPicMod=1"}));
    QVERIFY2(db.isValid(), qPrintable(db.errorString()));
    VoraTest::Controller controller;
    QVERIFY2(controller.isValid(), qPrintable(controller.errorString()));
    QPointer<QObject> devMode = enterDeveloperMode(controller);
    QVERIFY(devMode);

    // Loaded from the database all the same.
    QCOMPARE(controller.publishedCommands(),
             QStringList({"developerModeEnabledChanged", "developerModeQuerySetting",
                          "developerModeSettingChanged"}));
    QCOMPARE(controller.published().at(2).value("settings").toMap().value("enableReadCaliImage"),
             QVariant(true));
    QCOMPARE(warnings(), expected);

    // A change still reaches the database and the bus; the save warns again.
    QVERIFY(QMetaObject::invokeMethod(devMode, "updateValue", Q_ARG(QString, "enableReadCaliImage"),
                                      Q_ARG(QVariant, false)));
    QCOMPARE(db.value("calibration", "readPicMod"), qMakePair(QVariant(0), QStringLiteral("integer")));
    QCOMPARE(controller.publishedCommands().last(), QStringLiteral("developerModeSettingChanged"));
    QCOMPARE(warnings(), expected << saveWarning);

    // Leaving restores and silently fails to remove what is in the way.
    QVERIFY(QMetaObject::invokeMethod(devMode, "quitDeveloperMode"));
    QCOMPARE(db.value("calibration", "readPicMod"), qMakePair(QVariant("true"), QStringLiteral("text")));
    QCOMPARE(warnings(), expected);
    if (folderIsFile) {
        QCOMPARE(readFile(snapshotDir()), QByteArray("not a folder"));
    } else {
        QVERIFY(QFileInfo(snapshotFile()).isDir());
        // A failed save leaves no temporary file behind.
        QCOMPARE(QDir(snapshotDir()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
                 QStringList({"developer_mode_temp.json"}));
    }
}

QTEST_MAIN(tst_DeveloperModeController)
#include "tst_developermodecontroller.moc"
