// The host's bus routing as a unit: the router and the host's modules linked
// in, a real configuration database made from the host's sample and a probe
// object in the plug-in's place. The pages' side, the scanning module and the
// snapshot keeper run end to end (tst_configeditorhost, tst_hostsafety).

#include "BusRouter.h"
#include "ConfigDatabase.h"
#include "HostModules.h"

#include <LogCollector.h>
#include <PluginHarness.h>
#include <VoraBox.h>
#include <VoraQObject.h>

#include <QtTest>

#include <memory>

namespace {

using Routed = QList<QPair<QString, QVariantMap>>;

// Stands in for the plug-in's controller: records what the host delivers and
// how many bus lines had been routed when it arrived.
class Probe : public CommonLib::VoraQObject
{
public:
    explicit Probe(const Routed *routed) : m_routed(routed) { }

    int onSubscribeData(QString, QString, QString, QVariantMap param,
                        std::shared_ptr<AbstractSerializableObject>) override
    {
        received.append(param);
        routedBefore.append(m_routed->size());
        return 0;
    }

    QList<QVariantMap> received;
    QList<int> routedBefore;

private:
    const Routed *m_routed;
};

// The host's parts wired as vorahost wires them, destroyed in reverse order.
struct Host
{
    Host()
    {
        box.attach(probe.get());
        router.setPlugin(probe.get());
        QObject::connect(&router, &BusRouter::messageRouted,
                         [this](const QString &from, const QVariantMap &param) {
                             routed.append({from, param});
                         });
    }

    QString value(const QString &table, const QString &key) { return db.stored(table, key); }

    VoraTest::TempDatabase db{ConfigDatabase::sampleSql()};
    CommonLib::VoraBox box;
    Routed routed;
    std::unique_ptr<Probe> probe = std::make_unique<Probe>(&routed);
    BusRouter router{&box};
    HostModules modules{&router, db.fileName()};
};

// Runs the event loop until everything queued so far has run.
void drainQueued()
{
    for (int i = 0; i < 2; ++i) {
        bool ran = false;
        QMetaObject::invokeMethod(
                qApp, [&ran] { ran = true; }, Qt::QueuedConnection);
        QTRY_VERIFY(ran);
    }
}

} // namespace

class tst_BusRouter : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        Q_INIT_RESOURCE(vorahost);
        QVERIFY(!ConfigDatabase::sampleSql().isEmpty());
    }
    void init()
    {
        m_host = std::make_unique<Host>();
        QVERIFY(m_host->db.isValid());
        QCOMPARE(m_host->value("scan", "rollbackFrame"), QString("5|integer"));
    }
    void cleanup() { m_host.reset(); }

    void routes_data()
    {
        QTest::addColumn<QVariantMap>("param");
        QTest::addColumn<QString>("handler"); // the host modules' row that takes it, "" for none
        auto row = [](const char *cmd, const char *target, const char *handler) {
            QTest::newRow(cmd + QByteArray(" ") + target)
                    << QVariantMap{{"cmd", cmd}, {"target", target}} << QString(handler);
        };
        row("developerModeEnabledChanged", "", "developerModeEnabledChanged");
        row("developerModeQuerySetting", "", "developerModeQuerySetting");
        row("developerModeSettingChanged", "", "developerModeSettingChanged");
        row("refreshRealTimeSetup", "dataBaseQuery", "refreshRealTimeSetup");
        // Only a "query" aimed at "dataBaseQuery" is the database service's.
        row("query", "dataBaseQuery", "query dataBaseQuery");
        row("query", "other", "");
        row("other", "dataBaseQuery", "");
        row("dataBaseQuery", "", "");
        row("developerModeQuerySettingResp", "", "");
    }
    void routes()
    {
        QFETCH(QVariantMap, param);
        QFETCH(QString, handler);
        // The modules' own table, each handler replaced by one that records its row.
        BusRouter::Table table = m_host->modules.handlers();
        QStringList took;
        for (auto it = table.begin(); it != table.end(); ++it) {
            const QString name = (it.key().first + ' ' + it.key().second).trimmed();
            it.value() = [&took, name](const QVariantMap &, int) { took << name; };
        }
        m_host->router.setHandlers(table);
        m_host->probe->publish(QString(), QString(), QString(), param);
        m_host->router.publishFromPage(param);
        QCOMPARE(took, (handler.isEmpty() ? QStringList() : QStringList{handler, handler}));
        QCOMPARE(m_host->routed, (Routed{{"plugin", param}, {"page", param}}));
    }
    void storesWhatThePluginAnnounces_data()
    {
        QTest::addColumn<QVariantMap>("param");
        QTest::addColumn<QString>("enabled"); // config/developerModeEnabled afterwards
        QTest::addColumn<QString>("rollback"); // scan/rollbackFrame afterwards
        QTest::addColumn<QString>("warning"); // why rollbackFrame was not stored
        auto row = [](const char *name, const QVariantMap &param, const char *enabled, const char *rollback,
                      const char *warning = "") {
            QTest::newRow(name) << param << QString(enabled) << QString(rollback) << QString(warning);
        };
        auto settings = [](const QVariant &rollback) {
            QVariantMap settings{{"enableWatermark", true}};
            if (rollback.isValid() || rollback.isNull())
                settings.insert("rollbackFrame", rollback);
            return QVariantMap{
                    {"cmd", "developerModeSettingChanged"}, {"changedKey", "all"}, {"settings", settings}};
        };
        auto enabled = [](bool on) {
            return QVariantMap{{"cmd", "developerModeEnabledChanged"}, {"enabled", on}};
        };
        row("developer mode on is remembered as a bool", enabled(true), "true|text", "5|integer");
        row("developer mode off (its stored false: tst_hostsafety)", enabled(false), "false|text",
            "5|integer");
        row("rollbackFrame int", settings(9), "false|text", "9|integer");
        row("rollbackFrame from a snapshot (double)", settings(9.0), "false|text", "9|integer");
        row("rollbackFrame as text", settings("12"), "false|text", "12|integer");
        row("rollbackFrame placeholder", settings(QVariant()), "false|text", "5|integer");
        row("rollbackFrame not whole", settings(2.5), "false|text", "5|integer",
            "'2.5' is not a whole number");
        row("rollbackFrame not a number", settings("abc"), "false|text", "5|integer",
            "'abc' is not a whole number");
        row("rollbackFrame beyond an int", settings(3e9), "false|text", "5|integer",
            "'3e+09' is out of range");
        row("rollbackFrame infinite", settings(qInf()), "false|text", "5|integer", "'inf' is out of range");
        row("rollbackFrame NaN", settings(qQNaN()), "false|text", "5|integer", "'nan' is out of range");
        row("per-key change without rollbackFrame",
            {{"cmd", "developerModeSettingChanged"},
             {"changedKey", "enableWatermark"},
             {"settings", QVariantMap{{"enableWatermark", false}}}},
            "false|text", "5|integer");
    }
    void storesWhatThePluginAnnounces()
    {
        QFETCH(QVariantMap, param);
        QFETCH(QString, enabled);
        QFETCH(QString, rollback);
        QFETCH(QString, warning);
        VoraTest::LogCollector log;
        m_host->probe->publish(QString(), QString(), QString(), param);
        // The message after the logging function's name.
        QCOMPARE(log.lines("warning").join('\n').section("): ", 1),
                 warning.isEmpty() ? QString() : "rollbackFrame " + warning + "; not stored");
        QCOMPARE(m_host->routed, (Routed{{"plugin", param}}));
        QCOMPARE(m_host->value("config", "developerModeEnabled"), enabled);
        QCOMPARE(m_host->value("scan", "rollbackFrame"), rollback);
        // Nothing of this is answered.
        drainQueued();
        QVERIFY(m_host->probe->received.isEmpty());
        QCOMPARE(m_host->routed.size(), 1);
    }
    void settingQuery_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("sql");
        QTest::addColumn<QVariant>("answer");
        QTest::addColumn<QString>("warning"); // why it went unanswered
        auto row = [](const char *name, const char *key, const char *sql, const QVariant &answer,
                      const char *warning) {
            QTest::newRow(name) << QString(key) << QString(sql) << answer << QString(warning);
        };
        const char *missing = "scan/rollbackFrame is missing or not a number; query not answered";
        row("rollbackFrame", "rollbackFrame", "UPDATE scan SET value = 7 WHERE key = 'rollbackFrame'", 7, "");
        row("a key no host module holds", "enableWatermark", "", QVariant(),
            "no host module holds the setting 'enableWatermark'; query not answered");
        row("rollbackFrame missing", "rollbackFrame", "DELETE FROM scan WHERE key = 'rollbackFrame'",
            QVariant(), missing);
        row("rollbackFrame not a number", "rollbackFrame",
            "UPDATE scan SET value = 'many' WHERE key = 'rollbackFrame'", QVariant(), missing);
    }
    void settingQuery()
    {
        QFETCH(QString, key);
        QFETCH(QString, sql);
        QFETCH(QVariant, answer);
        QFETCH(QString, warning);
        VoraTest::LogCollector log;
        if (!sql.isEmpty())
            QVERIFY(m_host->db.exec(sql));
        const QVariantMap query{{"cmd", "developerModeQuerySetting"}, {"key", key}};
        m_host->probe->publish(QString(), QString(), QString(), query);
        // Never from inside the publish call.
        QVERIFY(m_host->probe->received.isEmpty());
        drainQueued();
        if (!answer.isValid()) {
            QVERIFY(log.lines().last().endsWith(": " + warning));
            QVERIFY(m_host->probe->received.isEmpty());
            QCOMPARE(m_host->routed.size(), 1);
            return;
        }
        const QVariantMap expected{{"cmd", "developerModeQuerySettingResp"},
                                   {"module", "DeveloperMode"},
                                   {"key", key},
                                   {"value", answer}};
        QCOMPARE(m_host->probe->received, QList<QVariantMap>{expected});
        QCOMPARE(m_host->probe->received.first().value("value").userType(), int(QMetaType::Int));
        QCOMPARE(m_host->routed, (Routed{{"plugin", query}, {"host", expected}}));
    }
    void hostMessageIsRoutedBeforeDelivery()
    {
        const QVariantMap show{{"module", "DeveloperMode"}, {"cmd", "showDeveloperModeView"}};
        m_host->router.deliverToPlugin(show);
        QCOMPARE(m_host->probe->received, QList<QVariantMap>{show});
        // On the bus once, though attaching a plug-in also sets its box.
        QCOMPARE(m_host->box.objects(), QVector<CommonLib::VoraQObject *>{m_host->probe.get()});
        // The host's line is out before the plug-in reacts, so the printed
        // order is the order of events.
        QCOMPARE(m_host->probe->routedBefore, QList<int>{1});
        QCOMPARE(m_host->routed, (Routed{{"host", show}}));

        // Without a plug-in the message is still seen on the bus, and dropped.
        m_host->probe.reset();
        m_host->router.deliverToPlugin(show);
        QCOMPARE(m_host->routed.size(), 2);
    }

private:
    std::unique_ptr<Host> m_host;
};

QTEST_MAIN(tst_BusRouter)
#include "tst_busrouter.moc"
