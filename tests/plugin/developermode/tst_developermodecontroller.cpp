// The developer mode through the real plug-in: when it loads, the settings it
// reads from a real SQLite file, the value form of every change written
// through, the order in which leaving restores the database, the bus
// protocol, and damaged or unwritable snapshots beside the executable.

#include "DeveloperModeFixture.h"

#include <QColor>
#include <QElapsedTimer>
#include <QJsonArray>
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

// devmode_tables.json: "settings", one line of the settings table per row,
// in reading order: [load, key, the row the database holds ("table|key=SQL
// value"; the key "IRSpeckle." + setting for a bare value; none when empty),
// what the first load makes of it]; two loads, so that a key can be stored
// in two ways. "crafted": a snapshot as the plug-in writes it. "restoreOrder":
// the writes of leaving, "table|key|stored type value", in order; a change
// writes 0/1 where leaving writes a boolean, and the watermark keeps the
// developer mode's choice.
QJsonValue tables(const char *name)
{
    static const QJsonObject all = QJsonDocument::fromJson(
                                           readFile(VORA_SOURCE_DIR
                                                    "/tests/plugin/developermode/devmode_tables.json"))
                                           .object();
    return all.value(name);
}
QJsonArray table(const char *name)
{
    return tables(name).toArray();
}
QJsonObject craftedInit()
{
    return tables("crafted").toObject();
}
// "last" adds two keys that no database row stands for.
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
    void init()
    {
        // restoreOrder goes on with valueForms' developer mode.
        const QString function = QTest::currentTestFunction();
        if (function != m_function && !(function == "restoreOrder" && m_function == "valueForms"))
            m_entry.reset();
        if (!m_entry)
            removeSnapshotDir();
        m_function = function;
    }
    void cleanupTestCase()
    {
        m_entry.reset();
        removeSnapshotDir();
    }

    // Switched off before its second is up, a developer mode never loads; the
    // next one loads once, a second after it was made: the question for
    // "rollbackFrame" first, then the snapshot, configChanged and the settings.
    void loadsOneSecondAfterSwitchOnOnly()
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
            events << QStringLiteral("%1 %2, %3 configChanged, snapshot %4")
                              .arg(controller.publishedCommands().last())
                              .arg(!configChanged                    ? "during the switch-on"
                                           : clock.elapsed() >= 1000 ? ">= 1000 ms after"
                                                                     : "< 1000 ms after")
                              .arg(configChanged ? configChanged->count() : -1)
                              .arg(QFile::exists(snapshotFile()));
        });
        clock.start();
        controller.deliver({{"cmd", "enableDeveloperMode"}, {"enabled", true}});
        configChanged = std::make_unique<QSignalSpy>(controller.child("DeveloperModeController"),
                                                     SIGNAL(configChanged()));
        QTRY_COMPARE_WITH_TIMEOUT(events.size(), 3, VoraTest::PatienceMs);
        QCOMPARE(events,
                 QStringList(
                         {"developerModeEnabledChanged during the switch-on, -1 configChanged, snapshot 0",
                          "developerModeQuerySetting >= 1000 ms after, 0 configChanged, snapshot 0",
                          "developerModeSettingChanged:all >= 1000 ms after, 1 configChanged, snapshot 1"}));
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
    void settingsTable_data()
    {
        QTest::addColumn<QString>("load");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("loaded");
        for (const char *load : {"1", "2"}) {
            for (const QJsonValue s : table("settings")) {
                if (s[0] == load)
                    QTest::addRow("%s %s %s", load, qPrintable(s[1].toString()), qPrintable(s[2].toString()))
                            << s[0].toString() << s[1].toString() << s[3].toString();
            }
        }
    }
    void settingsTable()
    {
        QFETCH(QString, load);
        QFETCH(QString, key);
        QFETCH(QString, loaded);
        QString sql;
        for (const QJsonValue s : table("settings")) {
            const QString stored = s[2].toString();
            if (load == s[0].toString() && !stored.isEmpty() && stored.contains('='))
                sql += row(stored.section('|', 0, 0), stored.section('|', 1).section('=', 0, 0),
                           stored.section('=', 1));
            else if (load == s[0].toString() && !stored.isEmpty())
                sql += row("scan", "IRSpeckle." + s[1].toString(), stored);
        }
        Entry &e = entry(load.toInt(), sql);
        QVERIFY(e.devMode);
        const QVariantMap settings = e.controller.published().last().value("settings").toMap();
        QCOMPARE(describe(settings, key), loaded);
        QCOMPARE(e.devMode->property("config").toMap(), settings);
    }
    void valueForms_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QVariant>("value");
        // The row written, "table|key|value|type" (scan keys without their
        // "IRSpeckle."); "-": a setting with no row; "unknown": a key the map
        // does not hold.
        QTest::addColumn<QString>("written");
        // "valueForms": key, "type value" sent, the row written.
        for (const QJsonValue r : table("valueForms")) {
            const QString type = r[1].toString().section(' ', 0, 0), text = r[1].toString().section(' ', 1);
            QVariant value(text);
            if (type == "QColor")
                value = QColor(text.section(',', 0, 0).toInt(), text.section(',', 1, 1).toInt(),
                               text.section(',', 2, 2).toInt(), text.section(',', 3, 3).toInt());
            else
                value.convert(QMetaType::type(type.toLatin1()));
            QTest::addRow("%s %s", qPrintable(r[0].toString()), qPrintable(value.toString()))
                    << r[0].toString() << value << r[2].toString();
        }
    }
    void valueForms()
    {
        QFETCH(QString, key);
        QFETCH(QVariant, value);
        QFETCH(QString, written);
        if (!m_entry) {
            entry(3, QString(), snapshotBytes(craftedInit(), craftedLast()));
            // Resumed from the snapshot as it stands: no question to the host.
            QCOMPARE(m_entry->controller.publishedCommands(),
                     QStringList({"developerModeEnabledChanged", "developerModeSettingChanged:all"}));
            QCOMPARE(QJsonObject::fromVariantMap(m_entry->devMode->property("config").toMap()),
                     craftedLast());
        }
        QObject *devMode = m_entry->devMode;
        QVERIFY(devMode);
        m_entry->controller.box().clearMessages();
        QFile::remove(snapshotFile());
        QStringList expected = m_entry->db.dump();
        QSignalSpy changed(devMode, SIGNAL(configChanged()));

        QVERIFY(QMetaObject::invokeMethod(devMode, "updateValue", Q_ARG(QString, key),
                                          Q_ARG(QVariant, value)));
        if (written.count('|') == 3)
            VoraTest::setRow(expected, written.section('|', 0, 1).replace("scan|", "scan|IRSpeckle."),
                             written.section('|', 2));
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
    void restoreOrder_data()
    {
        QTest::addColumn<QString>("write"); // "table|key|stored type value"; "" after the last
        const QJsonArray rows = table("restoreOrder");
        for (int i = 0; i < rows.size(); ++i)
            QTest::addRow("%d %s", i, qPrintable(rows[i].toString())) << rows[i].toString();
    }
    // Leaving writes the initial values back, from the snapshot the developer mode
    // resumed from, one write after the other in this order, then announces them
    // and removes the snapshot.
    void restoreOrder()
    {
        QFETCH(QString, write);
        Entry &e = entry(3, QString(), snapshotBytes(craftedInit(), craftedLast()));
        if (e.writes.isEmpty()) {
            QVERIFY(e.devMode);
            VoraConfigSQLite::setWriteObserver([&e](const VoraConfigWrite &w) {
                e.writes << w.table + '|' + w.key + '|' + w.newValue.typeName() + ' ' + w.newValue.toString();
            });
            e.controller.box().clearMessages();
            // The page's exit button only asks its owner, which runs the request
            // itself: it never reaches the bus.
            QSignalSpy asked(e.devMode, SIGNAL(publish(QVariantMap)));
            QVERIFY(QMetaObject::invokeMethod(e.devMode, "quitDeveloperMode"));
            const QVariantMap request = asked.value(1).value(0).toMap(); // after the restore it caused
            QCOMPARE(request, QVariantMap({{"cmd", "enableDeveloperMode"}, {"enabled", false}}));
            QCOMPARE(request.value("enabled").userType(), int(QMetaType::Bool));
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
    void queryAndResponse()
    {
        // Section 4 is missing from the database: a second placeholder besides
        // "rollbackFrame".
        Entry &e = entry(4, row("scan", "IRSpeckle.pseudo_color_section_1", "10"));
        QVERIFY(e.devMode);
        QVERIFY(QMetaObject::invokeMethod(e.devMode, "updateValue", Q_ARG(QString, "pseudo_color_section_1"),
                                          Q_ARG(QVariant, 77)));
        QSignalSpy changed(e.devMode, SIGNAL(configChanged()));
        // Each message, then: configChanged so far, the key, its initial and
        // current values in the snapshot, and whether the whole map went out.
        struct Step
        {
            QVariantMap param;
            int changes;
            const char *key;
            QJsonValue init, last;
            bool answered;
        };
        const QJsonValue null = QJsonValue::Null;
        const QList<Step> steps = {
                {msg("queryDeveloperModeSetting", {}, "developermode"), 0, "rollbackFrame", null, null,
                 false},
                {answer("rollbackFrame", 3, "Developermode"), 0, "rollbackFrame", null, null, false},
                {answer("rollbackFrame", 3, QVariant()), 0, "rollbackFrame", null, null, false},
                {answer("rollbackframe", 3), 0, "rollbackFrame", null, null, false},
                {answer("enableWatermark", 0), 0, "enableWatermark", true, true, false},
                // A filled key stays, even where the user changed it.
                {answer("pseudo_color_section_1", 5), 0, "pseudo_color_section_1", 10, 77, false},
                {answer("rollbackFrame", "12"), 1, "rollbackFrame", 12, 12, false},
                {answer("rollbackFrame", 7), 1, "rollbackFrame", 12, 12, false},
                {answer("pseudo_color_section_4", "abc"), 2, "pseudo_color_section_4", 0, 0, false},
                {msg("queryDeveloperModeSetting"), 2, "rollbackFrame", 12, 12, true},
                {msg("QueryDeveloperModeSetting"), 2, "rollbackFrame", 12, 12, false},
        };
        for (const Step &step : steps) {
            e.controller.box().clearMessages();
            QCOMPARE(e.controller.deliver(step.param), 0);
            const QJsonObject snapshot = readSnapshot();
            const QVariantMap config = e.devMode->property("config").toMap();
            const QByteArray what = QJsonDocument(QJsonObject::fromVariantMap(step.param)).toJson();
            QVERIFY2(changed.count() == step.changes, what);
            QVERIFY2(snapshot["init"][step.key] == step.init && snapshot["last"][step.key] == step.last,
                     what);
            QVERIFY2(QJsonValue::fromVariant(config.value(step.key)) == step.last, what);
            const QVariantMap all = msg("developerModeSettingChanged",
                                        {{"changedKey", "all"}, {"settings", config}}, {});
            QVERIFY2(e.controller.published()
                             == (step.answered ? QList<QVariantMap>{all} : QList<QVariantMap>()),
                     what);
        }
        // A filled placeholder is an int.
        QCOMPARE(e.devMode->property("config").toMap().value("rollbackFrame").userType(),
                 int(QMetaType::Int));
    }
    void damagedSnapshot_data()
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
    void damagedSnapshot()
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

        // Leaving reads every key it restores into the empty map as invalid,
        // and writes each in the form of its kind.
        QStringList writes;
        VoraConfigSQLite::setWriteObserver([&writes](const VoraConfigWrite &w) {
            writes << w.newValue.typeName() + QString(' ') + w.newValue.toString();
        });
        QVERIFY(QMetaObject::invokeMethod(e.devMode, "quitDeveloperMode"));
        const QString forms = QString("QString false;").repeated(4) + QString("int 0;").repeated(4)
                + QString(" ;QString 0,0,0;").repeated(6);
        QCOMPARE(writes.join(';') + ';', forms);
        const QVariantMap restored = e.controller.published().at(2).value("settings").toMap();
        QCOMPARE(restored.size(), 19);
        QCOMPARE(restored.values().count(QVariant()), 19);
        QVERIFY(!QFile::exists(snapshotFile()));
        QCOMPARE(log.lines("src/DeveloperMode/"), QStringList());
    }
    void snapshotCannotBeWritten_data()
    {
        QTest::addColumn<bool>("folderIsFile");
        QTest::newRow("a file where the folder belongs") << true;
        QTest::newRow("a folder where the snapshot belongs") << false;
    }
    void snapshotCannotBeWritten()
    {
        QFETCH(bool, folderIsFile);
        VoraTest::LogCollector log;
        const QString warning = "warning default src/DeveloperMode/DeveloperModeController.cpp "
                                "void DeveloperModeController::%1: %2";
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
        QCOMPARE(log.lines("src/DeveloperMode/"), expected);

        // A change still reaches the database and the bus; the save warns again.
        QVERIFY(QMetaObject::invokeMethod(e.devMode, "updateValue", Q_ARG(QString, "enableReadCaliImage"),
                                          Q_ARG(QVariant, false)));
        QTRY_COMPARE(e.db.stored("calibration", "readPicMod"), QString("0|integer"));
        QCOMPARE(e.controller.publishedCommands().last(),
                 QString("developerModeSettingChanged:enableReadCaliImage"));
        QCOMPARE(log.lines("src/DeveloperMode/"), expected << saveWarning);

        // Leaving restores, and silently fails to remove what is in the way.
        QVERIFY(QMetaObject::invokeMethod(e.devMode, "quitDeveloperMode"));
        QTRY_COMPARE(e.db.stored("calibration", "readPicMod"), QString("true|text"));
        QCOMPARE(log.lines("src/DeveloperMode/"), expected);
        if (folderIsFile) {
            QCOMPARE(readFile(snapshotDir()), QByteArray("not a folder"));
        } else {
            // A failed save leaves no temporary file behind.
            QCOMPARE(QDir(snapshotDir()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
                     QStringList({"developer_mode_temp.json"}));
        }
    }

private:
    // Made by the first row of a table that needs it, kept for its next rows.
    Entry &entry(int load, const QString &sql, const QByteArray &snapshot = QByteArray());

    std::unique_ptr<Entry> m_entry;
    int m_load = 0;
    QString m_function;
};

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

QTEST_MAIN(tst_DeveloperModeController)
#include "tst_developermodecontroller.moc"
