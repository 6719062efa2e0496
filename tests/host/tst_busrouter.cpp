// The host's bus routing as a unit: the router and "$app" linked in, a real
// configuration database made from the host's sample, a probe object in the
// plug-in's place and a real QML page on an engine with "$app".

#include "AppBridge.h"
#include "BusRouter.h"
#include "ConfigDatabase.h"
#include "DatabaseService.h"
#include "HostRun.h"

#include <PluginHarness.h>
#include <VoraBox.h>
#include <VoraQObject.h>

#include <QQmlComponent>
#include <QQmlContext>
#include <QQmlEngine>
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
        router.setDatabaseService(&service);
        QObject::connect(&router, &BusRouter::messageRouted,
                         [this](const QString &from, const QVariantMap &param) {
                             routed.append({from, param});
                         });
        QObject::connect(&app, &AppBridge::pagePublished, &router, &BusRouter::publishFromPage);
        QObject::connect(&router, &BusRouter::pageDelivery, &app, &AppBridge::deliverToPages);
        engine.rootContext()->setContextProperty("$app", &app);
    }

    std::unique_ptr<QObject> makePage()
    {
        QQmlComponent component(&engine);
        component.setData(R"(
import QtQuick 2.9
Item {
    id: root
    property int count: 0
    property string lastCmd
    property string lastResponse
    signal publish(string topic, string type, string cmd, variant param, bool bSync)
    function send(param) { root.publish("", "", "", param, false) }
    function onSubscribeData(topic, type, cmd, param) {
        root.count += 1
        root.lastCmd = param.cmd
        root.lastResponse = param.dataBaseResponse === undefined ? "" : param.dataBaseResponse
    }
    Component.onCompleted: $app.init(root)
})",
                          QUrl("qrc:/tst/Page.qml"));
        std::unique_ptr<QObject> page(component.create());
        if (!page)
            qWarning() << component.errorString();
        return page;
    }

    QString value(const QString &table, const QString &key)
    {
        return HostTest::value(db.fileName(), table, key);
    }

    VoraTest::TempDatabase db{ConfigDatabase::sampleSql()};
    DatabaseService service{db.fileName()};
    AppBridge app;
    CommonLib::VoraBox box;
    Routed routed;
    std::unique_ptr<Probe> probe = std::make_unique<Probe>(&routed);
    BusRouter router{&box};
    QQmlEngine engine;
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
    void initTestCase();
    void init();
    void cleanup() { m_host.reset(); }

    void storesWhatThePluginAnnounces_data();
    void storesWhatThePluginAnnounces();
    void settingQuery_data();
    void settingQuery();
    void hostMessageIsRoutedBeforeDelivery();
    void databaseQueryFromPageAnsweredToPages();
    void pageMessagesForOtherModulesGetNoAnswer_data();
    void pageMessagesForOtherModulesGetNoAnswer();

private:
    std::unique_ptr<Host> m_host;
};

void tst_BusRouter::initTestCase()
{
    Q_INIT_RESOURCE(vorahost);
    QVERIFY(!ConfigDatabase::sampleSql().isEmpty());
}

void tst_BusRouter::init()
{
    m_host = std::make_unique<Host>();
    QVERIFY(m_host->db.isValid());
    QCOMPARE(m_host->value("scan", "rollbackFrame"), QString("5|integer"));
}

void tst_BusRouter::storesWhatThePluginAnnounces_data()
{
    QTest::addColumn<QVariantMap>("param");
    QTest::addColumn<QString>("table");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("stored");

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
    QTest::newRow("developer mode on is remembered as a bool") << enabled(true) << "config"
                                                               << "developerModeEnabled"
                                                               << "true|text";
    QTest::newRow("developer mode off is left to the plug-in") << enabled(false) << "config"
                                                               << "developerModeEnabled"
                                                               << "false|text";
    QTest::newRow("rollbackFrame int") << settings(9) << "scan"
                                       << "rollbackFrame"
                                       << "9|integer";
    QTest::newRow("rollbackFrame from a snapshot (double)") << settings(9.0) << "scan"
                                                            << "rollbackFrame"
                                                            << "9|integer";
    QTest::newRow("rollbackFrame as text") << settings("12") << "scan"
                                           << "rollbackFrame"
                                           << "12|integer";
    QTest::newRow("rollbackFrame placeholder") << settings(QVariant()) << "scan"
                                               << "rollbackFrame"
                                               << "5|integer";
    QTest::newRow("rollbackFrame not whole") << settings(2.5) << "scan"
                                             << "rollbackFrame"
                                             << "5|integer";
    QTest::newRow("rollbackFrame not a number") << settings("abc") << "scan"
                                                << "rollbackFrame"
                                                << "5|integer";
    QTest::newRow("per-key change without rollbackFrame")
            << QVariantMap{{"cmd", "developerModeSettingChanged"},
                           {"changedKey", "enableWatermark"},
                           {"settings", QVariantMap{{"enableWatermark", false}}}}
            << "scan"
            << "rollbackFrame"
            << "5|integer";
}

void tst_BusRouter::storesWhatThePluginAnnounces()
{
    QFETCH(QVariantMap, param);
    QFETCH(QString, table);
    QFETCH(QString, key);
    QFETCH(QString, stored);
    m_host->probe->publish(QString(), QString(), QString(), param);
    QCOMPARE(m_host->routed, (Routed{{"plugin", param}}));
    QCOMPARE(m_host->value(table, key), stored);
    // Nothing of this goes back to the plug-in.
    drainQueued();
    QVERIFY(m_host->probe->received.isEmpty());
}

void tst_BusRouter::settingQuery_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("sql");
    QTest::addColumn<QVariant>("answer");
    QTest::newRow("rollbackFrame") << "rollbackFrame"
                                   << "UPDATE scan SET value = 7 WHERE key = 'rollbackFrame'" << QVariant(7);
    QTest::newRow("a key no host module holds") << "enableWatermark" << QString() << QVariant();
    QTest::newRow("rollbackFrame missing") << "rollbackFrame"
                                           << "DELETE FROM scan WHERE key = 'rollbackFrame'" << QVariant();
    QTest::newRow("rollbackFrame not a number")
            << "rollbackFrame"
            << "UPDATE scan SET value = 'many' WHERE key = 'rollbackFrame'" << QVariant();
}

void tst_BusRouter::settingQuery()
{
    QFETCH(QString, key);
    QFETCH(QString, sql);
    QFETCH(QVariant, answer);
    if (!sql.isEmpty())
        QVERIFY(m_host->db.exec(sql));
    const QVariantMap query{{"cmd", "developerModeQuerySetting"}, {"key", key}};
    m_host->probe->publish(QString(), QString(), QString(), query);
    // Never from inside the publish call.
    QVERIFY(m_host->probe->received.isEmpty());
    drainQueued();
    if (!answer.isValid()) {
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

void tst_BusRouter::hostMessageIsRoutedBeforeDelivery()
{
    const QVariantMap show{{"module", "DeveloperMode"}, {"cmd", "showDeveloperModeView"}};
    m_host->router.deliverToPlugin(show);
    QCOMPARE(m_host->probe->received, QList<QVariantMap>{show});
    // The host's line is out before the plug-in reacts, so the printed
    // order is the order of events.
    QCOMPARE(m_host->probe->routedBefore, QList<int>{1});
    QCOMPARE(m_host->routed, (Routed{{"host", show}}));

    // Without a plug-in the message is still seen on the bus, and dropped.
    m_host->probe.reset();
    m_host->router.deliverToPlugin(show);
    QCOMPARE(m_host->routed.size(), 2);
}

void tst_BusRouter::databaseQueryFromPageAnsweredToPages()
{
    std::unique_ptr<QObject> page = m_host->makePage();
    std::unique_ptr<QObject> gone = m_host->makePage();
    QVERIFY(page && gone);
    QCOMPARE(m_host->app.pageCount(), 2);

    const QVariantMap query{{"cmd", "query"},
                            {"target", "dataBaseQuery"},
                            {"dbName", "scan"},
                            {"param", "select * from $table$"}};
    QVERIFY(QMetaObject::invokeMethod(page.get(), "send", Q_ARG(QVariant, query)));
    // A page that closes before the answer comes is skipped.
    gone.reset();
    QCOMPARE(page->property("count").toInt(), 0);
    QTRY_COMPARE(page->property("count").toInt(), 1);
    QCOMPARE(page->property("lastCmd").toString(), QString("dataBaseResponseCmd"));
    const QString response = page->property("lastResponse").toString();
    QVERIFY2(response.contains("scan#rollbackFrame#5#"), qPrintable(response));
    QCOMPARE(m_host->routed,
             (Routed{{"page", query},
                     {"host", QVariantMap{{"cmd", "dataBaseResponseCmd"}, {"dataBaseResponse", response}}}}));
    // The plug-in's controller is not part of this conversation.
    QVERIFY(m_host->probe->received.isEmpty());
}

void tst_BusRouter::pageMessagesForOtherModulesGetNoAnswer_data()
{
    QTest::addColumn<QVariantMap>("param");
    QTest::newRow("query for another target")
            << QVariantMap{{"cmd", "query"}, {"target", "somethingElse"}, {"param", "select 1"}};
    QTest::newRow("real-time refresh") << QVariantMap{{"cmd", "refreshRealTimeSetup"},
                                                      {"isLaserScan", false},
                                                      {"target", "VoraLaserRebuildProcessController"}};
    QTest::newRow("unknown command") << QVariantMap{{"cmd", "nobodyListens"}};
}

void tst_BusRouter::pageMessagesForOtherModulesGetNoAnswer()
{
    QFETCH(QVariantMap, param);
    std::unique_ptr<QObject> page = m_host->makePage();
    QVERIFY(page);
    QVERIFY(QMetaObject::invokeMethod(page.get(), "send", Q_ARG(QVariant, param)));
    drainQueued();
    QCOMPARE(m_host->routed, (Routed{{"page", param}}));
    QCOMPARE(page->property("count").toInt(), 0);
    QVERIFY(m_host->probe->received.isEmpty());
}

QTEST_MAIN(tst_BusRouter)
#include "tst_busrouter.moc"
