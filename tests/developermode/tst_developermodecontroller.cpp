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

const char DevModeClass[] = "DeveloperModeController";

QString insert(const char *table, const QString &key, const char *sqlValue)
{
    return QStringLiteral("INSERT INTO %1 (key, value) VALUES ('%2', %3);\n")
            .arg(QLatin1String(table), key, QLatin1String(sqlValue));
}

int indexOf(const QList<QVariantMap> &messages, const QString &cmd, const QString &changedKey = QString())
{
    for (int i = 0; i < messages.size(); ++i) {
        if (messages.at(i).value(QStringLiteral("cmd")).toString() == cmd
            && (changedKey.isEmpty()
                || messages.at(i).value(QStringLiteral("changedKey")).toString() == changedKey))
            return i;
    }
    return -1;
}

int indexOfAll(const VoraTest::Controller &controller)
{
    return indexOf(controller.published(), QStringLiteral("developerModeSettingChanged"),
                   QStringLiteral("all"));
}

// Switches the developer mode on as the host does once the controller has
// registered its commands, and waits for the full settings announcement.
QObject *enterDeveloperMode(VoraTest::Controller &controller)
{
    const QVariantMap enable{{QStringLiteral("cmd"), QStringLiteral("enableDeveloperMode")},
                             {QStringLiteral("enabled"), true}};
    const bool made = QTest::qWaitFor(
            [&] {
                if (!controller.child(DevModeClass))
                    controller.deliver(enable);
                return controller.child(DevModeClass) != nullptr;
            },
            2000);
    if (!made || !QTest::qWaitFor([&] { return indexOfAll(controller) >= 0; }, 5000))
        return nullptr;
    return controller.child(DevModeClass);
}

QVariantMap deliverParam(const char *cmd, const QVariantMap &extra = QVariantMap(),
                         const QString &module = QStringLiteral("DeveloperMode"))
{
    QVariantMap param = extra;
    param.insert(QStringLiteral("cmd"), QString::fromLatin1(cmd));
    param.insert(QStringLiteral("module"), module);
    return param;
}

// Same setting: a colour by its components (any invalid colour matches an
// invalid one), anything else by type and value.
bool sameSetting(const QVariant &actual, const QVariant &expected)
{
    if (expected.userType() == QMetaType::QColor) {
        if (actual.userType() != QMetaType::QColor)
            return false;
        const QColor a = actual.value<QColor>();
        const QColor e = expected.value<QColor>();
        return e.isValid() ? (a.isValid() && a.rgba() == e.rgba()) : !a.isValid();
    }
    if (!expected.isValid())
        return !actual.isValid();
    return actual.userType() == expected.userType() && actual == expected;
}

QString settingsDiff(const QVariantMap &actual, const QVariantMap &expected)
{
    QString out;
    QStringList keys = actual.keys() + expected.keys();
    keys.removeDuplicates();
    for (const QString &key : qAsConst(keys)) {
        if (!actual.contains(key) || !expected.contains(key)
            || !sameSetting(actual.value(key), expected.value(key)))
            out += QStringLiteral("\n  %1: got %2 %3, want %4 %5")
                           .arg(key, QString::fromLatin1(actual.value(key).typeName()),
                                actual.value(key).toString(),
                                QString::fromLatin1(expected.value(key).typeName()),
                                expected.value(key).toString());
    }
    return out;
}

QVariantMap baseSettings()
{
    return {{"enableScanDistanceValue", false},
            {"enableSaveReadImage", true},
            {"enablePseudoColor", true},
            {"rollbackFrame", QVariant()}};
}

// The keys that leaving reads from the initial map, each written back.
QStringList restoredKeys()
{
    QStringList keys{"enableSecondCameraWindow",    "enableSaveCaliImage",
                     "enableReadCaliImage",         "enableSaveScanImage",
                     "enableSaveScanImage_GrayPic", "enableSaveScanImage_ColorPic",
                     "enableReadScanImage"};
    for (int n = 1; n <= 6; ++n)
        keys << QStringLiteral("pseudo_color_section_%1").arg(n)
             << QStringLiteral("pseudo_color_bound_%1").arg(n);
    return keys;
}

// A snapshot written as the plug-in would have written it in an earlier run.
QJsonObject craftedInit()
{
    QJsonObject init{{"enableScanDistanceValue", false},
                     {"enableSecondCameraWindow", true},
                     {"enableSaveReadImage", true},
                     {"enableSaveCaliImage", false},
                     {"enableReadCaliImage", false},
                     {"enableSaveScanImage", false},
                     {"enableSaveScanImage_GrayPic", false},
                     {"enableSaveScanImage_ColorPic", false},
                     {"enableReadScanImage", false},
                     {"enablePseudoColor", true},
                     {"rollbackFrame", 2},
                     {"enableWatermark", true}};
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
    void cleanup();
    void cleanupTestCase();

    void firstEntryReadsDatabase_data();
    void firstEntryReadsDatabase();
    void updateValueWritesThrough_data();
    void updateValueWritesThrough();
    void queryAndResponse();
    void leavingRestoresDatabase_data();
    void leavingRestoresDatabase();
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

void tst_DeveloperModeController::cleanup()
{
    removeSnapshotDir();
}

void tst_DeveloperModeController::cleanupTestCase()
{
    m_shared.reset();
    removeSnapshotDir();
}

void tst_DeveloperModeController::firstEntryReadsDatabase_data()
{
    QTest::addColumn<QString>("seed");
    QTest::addColumn<QVariantMap>("expected");

    // Six bounds, six ways of parsing "r,g,b"; sections keep their type;
    // keys with index 0 and 7 are never read.
    QString seed = insert("ui", "cameraVideo.E7.needRightCamera", "'true'")
            + insert("calibration", "calibSavePic", "'false'") + insert("calibration", "readPicMod", "1")
            + insert("scan", "IRSpeckle.If_Save_Pic", "2") + insert("scan", "IRSpeckle.If_Save_ColorPic", "0")
            + insert("scan", "IRSpeckle.If_Read_Pic", "'3'")
            + insert("scan", "IRSpeckle.pseudo_color_section_0", "1")
            + insert("scan", "IRSpeckle.pseudo_color_section_1", "10")
            + insert("scan", "IRSpeckle.pseudo_color_section_2", "2.5")
            + insert("scan", "IRSpeckle.pseudo_color_section_3", "'abc'")
            + insert("scan", "IRSpeckle.pseudo_color_section_5", "-4")
            + insert("scan", "IRSpeckle.pseudo_color_section_6", "NULL")
            + insert("scan", "IRSpeckle.pseudo_color_section_7", "99")
            + insert("scan", "IRSpeckle.pseudo_color_bound_1", "'255,0,0'")
            + insert("scan", "IRSpeckle.pseudo_color_bound_2", "'255,0'")
            + insert("scan", "IRSpeckle.pseudo_color_bound_3", "''")
            + insert("scan", "IRSpeckle.pseudo_color_bound_4", "'256,0,0'")
            + insert("scan", "IRSpeckle.pseudo_color_bound_5", "'-1,0,0'")
            + insert("scan", "IRSpeckle.pseudo_color_bound_6", "'a,b,c'")
            + insert("scan", "IRSpeckle.pseudo_color_bound_7", "'1,2,3'");
    QVariantMap expected = baseSettings();
    expected.insert({{"enableSecondCameraWindow", true},
                     {"enableSaveCaliImage", false},
                     {"enableReadCaliImage", true},
                     {"enableSaveScanImage", true},
                     {"enableSaveScanImage_GrayPic", false},
                     {"enableSaveScanImage_ColorPic", false},
                     {"enableReadScanImage", true},
                     {"pseudo_color_section_1", 10},
                     {"pseudo_color_section_2", 2.5},
                     {"pseudo_color_section_3", QStringLiteral("abc")},
                     {"pseudo_color_section_4", QVariant()},
                     {"pseudo_color_section_5", -4},
                     {"pseudo_color_section_6", QVariant()},
                     {"pseudo_color_bound_1", QColor(255, 0, 0)},
                     {"pseudo_color_bound_2", QColor(Qt::black)},
                     {"pseudo_color_bound_3", QColor(Qt::black)},
                     {"pseudo_color_bound_4", QColor()},
                     {"pseudo_color_bound_5", QColor()},
                     {"pseudo_color_bound_6", QColor(Qt::black)},
                     {"enableWatermark", true}});
    QTest::newRow("mixed forms, watermark missing") << seed << expected;

    seed = insert("calibration", "calibSavePic", "'true'") + insert("calibration", "readPicMod", "'false'")
            + insert("scan", "IRSpeckle.If_Save_Pic", "'true'")
            + insert("scan", "IRSpeckle.If_Save_GrayPic", "1")
            + insert("scan", "IRSpeckle.If_Save_ColorPic", "-1")
            + insert("scan", "IRSpeckle.If_Read_Pic", "0")
            + insert("scan", "IRSpeckle.pseudo_color_section_6", "0.5")
            + insert("scan", "IRSpeckle.pseudo_color_bound_1", "'0,0,255'")
            + insert("scan", "IRSpeckle.pseudo_color_bound_2", "'0,128,255,0'")
            + insert("scan", "IRSpeckle.pseudo_color_bound_3", "'12,34,56'")
            + insert("scan", "IRSpeckle.pseudo_color_bound_4", "NULL")
            + insert("scan", "IRSpeckle.pseudo_color_bound_6", "'255,255,255'")
            + insert("config", "watermarkEnabled", "'false'")
            // The same keys in the wrong tables must not be read.
            + insert("config", "readPicMod", "'true'") + insert("ui", "IRSpeckle.If_Read_Pic", "1");
    expected = baseSettings();
    expected.insert({{"enableSecondCameraWindow", false},
                     {"enableSaveCaliImage", true},
                     {"enableReadCaliImage", false},
                     // The text "true" is not an integer: read as 0.
                     {"enableSaveScanImage", false},
                     {"enableSaveScanImage_GrayPic", true},
                     {"enableSaveScanImage_ColorPic", true},
                     {"enableReadScanImage", false},
                     {"pseudo_color_section_1", QVariant()},
                     {"pseudo_color_section_2", QVariant()},
                     {"pseudo_color_section_3", QVariant()},
                     {"pseudo_color_section_4", QVariant()},
                     {"pseudo_color_section_5", QVariant()},
                     {"pseudo_color_section_6", 0.5},
                     {"pseudo_color_bound_1", QColor(0, 0, 255)},
                     {"pseudo_color_bound_2", QColor(Qt::black)},
                     {"pseudo_color_bound_3", QColor(12, 34, 56)},
                     {"pseudo_color_bound_4", QColor(Qt::black)},
                     {"pseudo_color_bound_5", QColor(Qt::black)},
                     {"pseudo_color_bound_6", QColor(255, 255, 255)},
                     {"enableWatermark", false}});
    QTest::newRow("opposite values, keys in other tables") << seed << expected;
}

void tst_DeveloperModeController::firstEntryReadsDatabase()
{
    QFETCH(QString, seed);
    QFETCH(QVariantMap, expected);
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

    QObject *devMode = enterDeveloperMode(controller);
    QVERIFY(devMode);

    const QList<QVariantMap> messages = controller.published();
    QCOMPARE(controller.publishedCommands(),
             QStringList({"developerModeEnabledChanged", "developerModeQuerySetting",
                          "developerModeSettingChanged"}));
    QCOMPARE(messages.at(1), QVariantMap({{"cmd", "developerModeQuerySetting"}, {"key", "rollbackFrame"}}));
    QCOMPARE(snapshotAtMessage, QList<bool>({false, false, true}));
    QCOMPARE(messages.at(2).value("changedKey").toString(), QStringLiteral("all"));
    const QVariantMap settings = messages.at(2).value("settings").toMap();
    const QString mismatch = settingsDiff(settings, expected);
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
    const QString changed = diff(dump(db.fileName()), before);
    QVERIFY2(changed.isEmpty(), qPrintable(changed));
}

void tst_DeveloperModeController::updateValueWritesThrough_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("row"); // "table|database key", empty: no write
    QTest::addColumn<QVariant>("stored");
    QTest::addColumn<QString>("type");
    QTest::addColumn<bool>("known");

    QTest::newRow("readPicMod on is integer 1")
            << "enableReadCaliImage" << QVariant(true) << "calibration|readPicMod" << QVariant(1) << "integer"
            << true;
    QTest::newRow("readPicMod off is integer 0")
            << "enableReadCaliImage" << QVariant(false) << "calibration|readPicMod" << QVariant(0)
            << "integer" << true;
    QTest::newRow("calibSavePic is boolean")
            << "enableSaveCaliImage" << QVariant(true) << "calibration|calibSavePic" << QVariant("true")
            << "text" << true;
    QTest::newRow("second camera is boolean")
            << "enableSecondCameraWindow" << QVariant(false) << "ui|cameraVideo.E7.needRightCamera"
            << QVariant("false") << "text" << true;
    QTest::newRow("save scan image from 2")
            << "enableSaveScanImage" << QVariant(2) << "scan|IRSpeckle.If_Save_Pic" << QVariant(1)
            << "integer" << true;
    QTest::newRow("gray pic") << "enableSaveScanImage_GrayPic" << QVariant(true)
                              << "scan|IRSpeckle.If_Save_GrayPic" << QVariant(1) << "integer" << true;
    QTest::newRow("color pic from text false")
            << "enableSaveScanImage_ColorPic" << QVariant("false") << "scan|IRSpeckle.If_Save_ColorPic"
            << QVariant(0) << "integer" << true;
    QTest::newRow("read scan image") << "enableReadScanImage" << QVariant(true)
                                     << "scan|IRSpeckle.If_Read_Pic" << QVariant(1) << "integer" << true;
    QTest::newRow("watermark is boolean") << "enableWatermark" << QVariant(false) << "config|watermarkEnabled"
                                          << QVariant("false") << "text" << true;
    QTest::newRow("bound colour drops alpha")
            << "pseudo_color_bound_2" << QVariant(QColor(255, 128, 0, 10))
            << "scan|IRSpeckle.pseudo_color_bound_2" << QVariant("255,128,0") << "text" << true;
    QTest::newRow("bound from colour name")
            << "pseudo_color_bound_3" << QVariant("#0000ff") << "scan|IRSpeckle.pseudo_color_bound_3"
            << QVariant("0,0,255") << "text" << true;
    QTest::newRow("bound not a colour")
            << "pseudo_color_bound_4" << QVariant("no colour") << "scan|IRSpeckle.pseudo_color_bound_4"
            << QVariant("0,0,0") << "text" << true;
    QTest::newRow("section integer as sent")
            << "pseudo_color_section_4" << QVariant(37) << "scan|IRSpeckle.pseudo_color_section_4"
            << QVariant(37) << "integer" << true;
    QTest::newRow("section real as sent")
            << "pseudo_color_section_5" << QVariant(2.5) << "scan|IRSpeckle.pseudo_color_section_5"
            << QVariant(2.5) << "real" << true;
    QTest::newRow("section text as sent")
            << "pseudo_color_section_6" << QVariant("12") << "scan|IRSpeckle.pseudo_color_section_6"
            << QVariant("12") << "text" << true;
    QTest::newRow("bound and section is a section")
            << "pseudo_color_bound_section_9" << QVariant(3) << "scan|IRSpeckle.pseudo_color_bound_section_9"
            << QVariant(3) << "integer" << true;
    QTest::newRow("pseudo colour prefix only")
            << "pseudo_color_x" << QVariant(5) << "" << QVariant() << "" << true;
    QTest::newRow("rollback frame") << "rollbackFrame" << QVariant(5) << "" << QVariant() << "" << true;
    QTest::newRow("pseudo colour switch")
            << "enablePseudoColor" << QVariant(false) << "" << QVariant() << "" << true;
    QTest::newRow("scan distance") << "enableScanDistanceValue" << QVariant(true) << "" << QVariant() << ""
                                   << true;
    QTest::newRow("key differs in case")
            << "EnableWatermark" << QVariant(false) << "" << QVariant() << "" << false;
    QTest::newRow("empty key") << "" << QVariant(1) << "" << QVariant() << "" << false;
}

void tst_DeveloperModeController::updateValueWritesThrough()
{
    QFETCH(QString, key);
    QFETCH(QVariant, value);
    QFETCH(QString, row);
    QFETCH(QVariant, stored);
    QFETCH(QString, type);
    QFETCH(bool, known);

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
    if (!row.isEmpty())
        expectedDb.insert(row, Stored(stored, type));
    const QString dbDiff = diff(dump(m_shared->db.fileName()), expectedDb);
    QVERIFY2(dbDiff.isEmpty(), qPrintable(dbDiff));

    if (!known) {
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
    VoraTest::TempDatabase db(schema() + insert("scan", "IRSpeckle.pseudo_color_section_1", "10"));
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
    const QString resp = QStringLiteral("developerModeQuerySettingResp");
    const QList<Step> steps = {
            {"query, module case differs", deliverParam("queryDeveloperModeSetting", {}, "developermode"), 0,
             "rollbackFrame", QJsonValue::Null, QJsonValue::Null, false},
            {"answer, module case differs",
             deliverParam("developerModeQuerySettingResp", {{"key", "rollbackFrame"}, {"value", 3}},
                          "Developermode"),
             0, "rollbackFrame", QJsonValue::Null, QJsonValue::Null, false},
            {"answer without module", QVariantMap{{"cmd", resp}, {"key", "rollbackFrame"}, {"value", 3}}, 0,
             "rollbackFrame", QJsonValue::Null, QJsonValue::Null, false},
            {"answer for a key not in the map",
             deliverParam("developerModeQuerySettingResp", {{"key", "rollbackframe"}, {"value", 3}}), 0,
             "rollbackFrame", QJsonValue::Null, QJsonValue::Null, false},
            {"answer for a filled key",
             deliverParam("developerModeQuerySettingResp", {{"key", "enableWatermark"}, {"value", 0}}), 0,
             "enableWatermark", true, true, false},
            {"answer for a filled key the user changed",
             deliverParam("developerModeQuerySettingResp", {{"key", "pseudo_color_section_1"}, {"value", 5}}),
             0, "pseudo_color_section_1", 10, 77, false},
            {"first answer, numeric text",
             deliverParam("developerModeQuerySettingResp", {{"key", "rollbackFrame"}, {"value", "12"}}), 1,
             "rollbackFrame", 12, 12, false},
            {"second answer ignored",
             deliverParam("developerModeQuerySettingResp", {{"key", "rollbackFrame"}, {"value", 7}}), 1,
             "rollbackFrame", 12, 12, false},
            {"answer that is not a number",
             deliverParam("developerModeQuerySettingResp",
                          {{"key", "pseudo_color_section_4"}, {"value", "abc"}}),
             2, "pseudo_color_section_4", 0, 0, false},
            {"query answered with the current map", deliverParam("queryDeveloperModeSetting"), 2,
             "rollbackFrame", 12, 12, true},
            {"unknown command", deliverParam("QueryDeveloperModeSetting"), 2, "rollbackFrame", 12, 12, false},
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

void tst_DeveloperModeController::leavingRestoresDatabase_data()
{
    QTest::addColumn<QString>("seed");
    QTest::addColumn<QByteArray>("snapshot"); // empty: first entry from the database
    QTest::addColumn<Dump>("restored"); // rows expected to differ from the seed afterwards
    QTest::addColumn<int>("publishedKeys");

    const QString sentinels = insert("scan", "IRSpeckle.pseudo_color_section_0", "-1")
            + insert("scan", "IRSpeckle.pseudo_color_section_7", "-7")
            + insert("scan", "IRSpeckle.pseudo_color_bound_0", "'9,9,9'")
            + insert("scan", "IRSpeckle.pseudo_color_bound_7", "'7,7,7'");

    QString seed = sentinels + insert("ui", "cameraVideo.E7.needRightCamera", "'true'")
            + insert("calibration", "calibSavePic", "'false'") + insert("calibration", "readPicMod", "1")
            + insert("scan", "IRSpeckle.If_Save_Pic", "2") + insert("scan", "IRSpeckle.If_Save_ColorPic", "0")
            + insert("scan", "IRSpeckle.If_Read_Pic", "'3'")
            + insert("scan", "IRSpeckle.pseudo_color_section_1", "10")
            + insert("scan", "IRSpeckle.pseudo_color_section_2", "2.5")
            + insert("scan", "IRSpeckle.pseudo_color_section_3", "'abc'")
            + insert("scan", "IRSpeckle.pseudo_color_section_5", "-4")
            + insert("scan", "IRSpeckle.pseudo_color_bound_1", "'255,0,0'")
            + insert("scan", "IRSpeckle.pseudo_color_bound_2", "'0,0,255'")
            + insert("scan", "IRSpeckle.pseudo_color_bound_3", "'256,0,0'")
            + insert("scan", "IRSpeckle.pseudo_color_bound_4", "'x'")
            + insert("scan", "IRSpeckle.pseudo_color_bound_6", "'1,2,3'")
            + insert("config", "watermarkEnabled", "'true'")
            + insert("config", "developerModeEnabled", "'true'");
    Dump restored{{"config|developerModeEnabled", stored("false", "text")},
                  // A change writes 0/1, leaving writes a boolean.
                  {"calibration|readPicMod", stored("true", "text")},
                  {"scan|IRSpeckle.If_Save_Pic", stored(1, "integer")},
                  {"scan|IRSpeckle.If_Save_GrayPic", stored(0, "integer")},
                  {"scan|IRSpeckle.If_Read_Pic", stored(1, "integer")},
                  {"scan|IRSpeckle.pseudo_color_section_4", stored(QVariant(), "null")},
                  {"scan|IRSpeckle.pseudo_color_section_6", stored(QVariant(), "null")},
                  {"scan|IRSpeckle.pseudo_color_bound_3", stored("0,0,0", "text")},
                  {"scan|IRSpeckle.pseudo_color_bound_4", stored("0,0,0", "text")},
                  {"scan|IRSpeckle.pseudo_color_bound_5", stored("0,0,0", "text")},
                  // Not restored: the watermark change outlives the mode.
                  {"config|watermarkEnabled", stored("false", "text")}};
    QTest::newRow("entered from the database") << seed << QByteArray() << restored << 24;

    // Resumed from a snapshot that lacks most keys: each missing one is
    // restored from an invalid value.
    seed = sentinels + insert("ui", "cameraVideo.E7.needRightCamera", "'true'")
            + insert("calibration", "calibSavePic", "'true'") + insert("calibration", "readPicMod", "0")
            + insert("scan", "IRSpeckle.If_Save_Pic", "0")
            + insert("scan", "IRSpeckle.pseudo_color_section_2", "3")
            + insert("scan", "IRSpeckle.pseudo_color_bound_1", "'1,1,1'")
            + insert("config", "watermarkEnabled", "'true'");
    const QJsonObject init{{"enableReadCaliImage", true},       {"enableSaveScanImage", true},
                           {"pseudo_color_bound_1", "#0000ff"}, {"pseudo_color_section_2", 10},
                           {"enableWatermark", false},          {"rollbackFrame", 3}};
    restored = {{"config|developerModeEnabled", stored("false", "text")},
                {"ui|cameraVideo.E7.needRightCamera", stored("false", "text")},
                {"calibration|calibSavePic", stored("false", "text")},
                {"calibration|readPicMod", stored("true", "text")},
                {"scan|IRSpeckle.If_Save_Pic", stored(1, "integer")},
                {"scan|IRSpeckle.If_Save_GrayPic", stored(0, "integer")},
                {"scan|IRSpeckle.If_Save_ColorPic", stored(0, "integer")},
                {"scan|IRSpeckle.If_Read_Pic", stored(0, "integer")},
                // Qt 5.15 reads an integral JSON number as a 64-bit
                // integer, so the weight goes back as an INTEGER.
                {"scan|IRSpeckle.pseudo_color_section_2", stored(10, "integer")},
                {"scan|IRSpeckle.pseudo_color_bound_1", stored("0,0,255", "text")},
                {"config|watermarkEnabled", stored("false", "text")}};
    for (int n = 1; n <= 6; ++n) {
        if (n != 2)
            restored.insert(QStringLiteral("scan|IRSpeckle.pseudo_color_section_%1").arg(n),
                            stored(QVariant(), "null"));
        if (n != 1)
            restored.insert(QStringLiteral("scan|IRSpeckle.pseudo_color_bound_%1").arg(n),
                            stored("0,0,0", "text"));
    }
    QTest::newRow("resumed from a partial snapshot") << seed << snapshotBytes(init, init) << restored << 21;
}

void tst_DeveloperModeController::leavingRestoresDatabase()
{
    QFETCH(QString, seed);
    QFETCH(QByteArray, snapshot);
    QFETCH(Dump, restored);
    QFETCH(int, publishedKeys);

    if (!snapshot.isEmpty())
        QVERIFY(writeFile(snapshotFile(), snapshot));
    VoraTest::TempDatabase db(schema() + seed);
    QVERIFY2(db.isValid(), qPrintable(db.errorString()));
    const Dump seeded = dump(db.fileName());
    VoraTest::Controller controller;
    QVERIFY2(controller.isValid(), qPrintable(controller.errorString()));
    QPointer<QObject> devMode = enterDeveloperMode(controller);
    QVERIFY(devMode);
    const QVariantMap initial = snapshot.isEmpty()
            ? controller.published().at(indexOfAll(controller)).value("settings").toMap()
            : QJsonDocument::fromJson(snapshot).object().value("init").toObject().toVariantMap();

    // Change every setting while in the developer mode.
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
    QVERIFY(QFile::exists(snapshotFile()));
    controller.box().clearMessages();

    QList<bool> snapshotAtMessage;
    connect(&controller.box(), &CommonLib::VoraBox::messagePublished, this,
            [&](const CommonLib::VoraBusMessage &) {
                snapshotAtMessage.append(QFile::exists(snapshotFile()));
            });

    // The page's exit button.
    QVERIFY(QMetaObject::invokeMethod(devMode, "quitDeveloperMode"));
    // The snapshot goes only after the restored values are announced.
    QCOMPARE(snapshotAtMessage, QList<bool>({true, false}));

    QCOMPARE(controller.publishedCommands(),
             QStringList({"developerModeSettingChanged", "developerModeEnabledChanged"}));
    const QVariantMap announced = controller.published().at(0);
    QCOMPARE(announced.value("changedKey").toString(), QStringLiteral("all"));
    const QVariantMap settings = announced.value("settings").toMap();
    QCOMPARE(settings.size(), publishedKeys);
    for (auto it = settings.cbegin(); it != settings.cend(); ++it) {
        const QVariant want = initial.value(it.key());
        QVERIFY2(sameSetting(it.value(), want), qPrintable(it.key()));
    }
    QCOMPARE(controller.published().at(1).value("enabled"), QVariant(false));

    Dump expected = seeded;
    for (auto it = restored.cbegin(); it != restored.cend(); ++it)
        expected.insert(it.key(), it.value());
    const QString mismatch = diff(dump(db.fileName()), expected);
    QVERIFY2(mismatch.isEmpty(), qPrintable(mismatch));

    QVERIFY(!QFile::exists(snapshotFile()));
    QVERIFY(devMode); // deletion is deferred: the exit button's call is still on the stack
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!devMode);
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
    VoraTest::TempDatabase db(schema() + insert("calibration", "readPicMod", "'true'")
                              + insert("config", "watermarkEnabled", "'true'"));
    QVERIFY2(db.isValid(), qPrintable(db.errorString()));
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
    controller.deliver(deliverParam("queryDeveloperModeSetting"));
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
    QCOMPARE(restored.keys(), [] {
        QStringList keys = restoredKeys();
        keys.sort();
        return keys;
    }());
    for (const QVariant &value : restored)
        QVERIFY(!value.isValid());
    QCOMPARE(db.value("calibration", "readPicMod"), qMakePair(QVariant("false"), QStringLiteral("text")));
    QCOMPARE(db.value("scan", "IRSpeckle.pseudo_color_bound_6"),
             qMakePair(QVariant("0,0,0"), QStringLiteral("text")));
    QCOMPARE(db.value("scan", "IRSpeckle.pseudo_color_section_6").second, QStringLiteral("null"));
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
    // Both fail for root as well, unlike missing write permissions.
    QStringList expectedFunctions;
    QStringList expectedTexts;
    if (folderIsFile) {
        QVERIFY(writeFile(snapshotDir(), "not a folder"));
    } else {
        QVERIFY(QDir().mkpath(snapshotFile()));
        QFile reader(snapshotFile());
        QVERIFY(!reader.open(QIODevice::ReadOnly));
        expectedFunctions << "void DeveloperModeController::initConfig()";
        expectedTexts << reader.errorString();
    }
    QSaveFile writer(snapshotFile());
    QVERIFY(!writer.open(QIODevice::WriteOnly));
    expectedFunctions << "void DeveloperModeController::saveConfig()";
    expectedTexts << writer.errorString();

    VoraTest::TempDatabase db(schema() + insert("calibration", "readPicMod", "1"));
    QVERIFY2(db.isValid(), qPrintable(db.errorString()));
    LogCollector log;
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

    const QList<LogLine> lines = log.from("src/DeveloperMode/DeveloperModeController.cpp");
    QCOMPARE(lines.size(), expectedTexts.size());
    for (int i = 0; i < lines.size(); ++i) {
        QCOMPARE(lines.at(i).type, QtWarningMsg);
        QCOMPARE(lines.at(i).category, QStringLiteral("default"));
        QCOMPARE(lines.at(i).function, expectedFunctions.at(i));
        QCOMPARE(lines.at(i).text, expectedTexts.at(i));
    }

    // A change still reaches the database and the bus; the save warns again.
    QVERIFY(QMetaObject::invokeMethod(devMode, "updateValue", Q_ARG(QString, "enableReadCaliImage"),
                                      Q_ARG(QVariant, false)));
    QCOMPARE(db.value("calibration", "readPicMod"), qMakePair(QVariant(0), QStringLiteral("integer")));
    QCOMPARE(controller.publishedCommands().last(), QStringLiteral("developerModeSettingChanged"));
    const QList<LogLine> after = log.from("src/DeveloperMode/DeveloperModeController.cpp");
    QCOMPARE(after.size(), lines.size() + 1);
    QCOMPARE(after.last().function, QStringLiteral("void DeveloperModeController::saveConfig()"));
    QCOMPARE(after.last().text, writer.errorString());

    // Leaving restores and silently fails to remove what is in the way.
    QVERIFY(QMetaObject::invokeMethod(devMode, "quitDeveloperMode"));
    QCOMPARE(db.value("calibration", "readPicMod"), qMakePair(QVariant("true"), QStringLiteral("text")));
    QCOMPARE(log.from("src/DeveloperMode/DeveloperModeController.cpp").size(), after.size());
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
