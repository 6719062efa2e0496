// The host's bus routing as a unit: the router and "$app" linked in, a real
// configuration database made from the host's sample, a probe object in the
// plug-in's place and a real QML page on an engine with "$app".

#include "AppBridge.h"
#include "BusRouter.h"
#include "ConfigDatabase.h"
#include "DatabaseService.h"

#include <PluginHarness.h>
#include <VoraBox.h>
#include <VoraQObject.h>

#include <QQmlComponent>
#include <QQmlContext>
#include <QQmlEngine>
#include <QtTest>

#include <memory>

namespace {

// Stands in for the plug-in's controller: records what the host delivers and
// how many bus lines had been routed when it arrived.
class Probe : public CommonLib::VoraQObject
{
public:
    explicit Probe(const QList<QPair<QString, QVariantMap>> *routed) : m_routed(routed) { }

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
    const QList<QPair<QString, QVariantMap>> *m_routed;
};

const char *kPage = R"(
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
}
)";

} // namespace

class tst_BusRouter : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void storesWhatThePluginAnnounces_data();
    void storesWhatThePluginAnnounces();
    void rollbackQueryAnsweredOnALaterTurn();
    void settingQueryLeftUnanswered_data();
    void settingQueryLeftUnanswered();
    void hostMessageIsRoutedBeforeDelivery();
    void databaseQueryFromPageAnsweredToPages();
    void pageMessagesForOtherModulesGetNoAnswer_data();
    void pageMessagesForOtherModulesGetNoAnswer();

private:
    std::unique_ptr<QObject> makePage();
    // Runs the event loop until everything queued so far has run.
    void drainQueued();

    std::unique_ptr<VoraTest::TempDatabase> m_db;
    std::unique_ptr<CommonLib::VoraBox> m_box;
    std::unique_ptr<BusRouter> m_router;
    std::unique_ptr<AppBridge> m_app;
    std::unique_ptr<DatabaseService> m_service;
    std::unique_ptr<Probe> m_probe;
    std::unique_ptr<QQmlEngine> m_engine;
    QList<QPair<QString, QVariantMap>> m_routed;
};

void tst_BusRouter::initTestCase()
{
    Q_INIT_RESOURCE(vorahost);
    QVERIFY(!ConfigDatabase::sampleSql().isEmpty());
}

void tst_BusRouter::init()
{
    m_db = std::make_unique<VoraTest::TempDatabase>(ConfigDatabase::sampleSql());
    QVERIFY2(m_db->isValid(), qPrintable(m_db->errorString()));
    QCOMPARE(m_db->value("scan", "rollbackFrame"), qMakePair(QVariant(qlonglong(5)), QString("integer")));

    m_routed.clear();
    m_box = std::make_unique<CommonLib::VoraBox>();
    m_router = std::make_unique<BusRouter>(m_box.get());
    m_app = std::make_unique<AppBridge>();
    m_service = std::make_unique<DatabaseService>(m_db->fileName());
    m_probe = std::make_unique<Probe>(&m_routed);
    m_box->attach(m_probe.get());
    m_router->setPlugin(m_probe.get());
    m_router->setDatabaseService(m_service.get());
    connect(m_router.get(), &BusRouter::messageRouted, this,
            [this](const QString &from, const QVariantMap &param) {
                m_routed.append({from, param});
            });
    connect(m_app.get(), &AppBridge::pagePublished, m_router.get(), &BusRouter::publishFromPage);
    connect(m_router.get(), &BusRouter::pageDelivery, m_app.get(), &AppBridge::deliverToPages);
    m_engine = std::make_unique<QQmlEngine>();
    m_engine->rootContext()->setContextProperty("$app", m_app.get());
}

void tst_BusRouter::cleanup()
{
    m_engine.reset();
    m_router.reset();
    m_probe.reset();
    m_box.reset();
    m_app.reset();
    m_service.reset();
    m_db.reset();
}

std::unique_ptr<QObject> tst_BusRouter::makePage()
{
    QQmlComponent component(m_engine.get());
    component.setData(kPage, QUrl("qrc:/tst/Page.qml"));
    std::unique_ptr<QObject> page(component.create());
    if (!page)
        qWarning() << component.errorString();
    return page;
}

void tst_BusRouter::drainQueued()
{
    bool ran = false;
    QMetaObject::invokeMethod(
            this, [&ran] { ran = true; }, Qt::QueuedConnection);
    QTRY_VERIFY(ran);
}

void tst_BusRouter::storesWhatThePluginAnnounces_data()
{
    QTest::addColumn<QVariantMap>("param");
    QTest::addColumn<QString>("table");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("type");

    auto settings = [](const QVariant &rollback) {
        QVariantMap settings{{"enableWatermark", true}};
        if (rollback.isValid() || rollback.isNull())
            settings.insert("rollbackFrame", rollback);
        return QVariantMap{
                {"cmd", "developerModeSettingChanged"}, {"changedKey", "all"}, {"settings", settings}};
    };
    const QVariant unchanged = qlonglong(5);

    QTest::newRow("developer mode on is remembered as a bool")
            << QVariantMap{{"cmd", "developerModeEnabledChanged"}, {"enabled", true}} << "config"
            << "developerModeEnabled" << QVariant("true") << "text";
    QTest::newRow("developer mode off is left to the plug-in")
            << QVariantMap{{"cmd", "developerModeEnabledChanged"}, {"enabled", false}} << "config"
            << "developerModeEnabled" << QVariant("false") << "text";
    QTest::newRow("rollbackFrame int") << settings(9) << "scan"
                                       << "rollbackFrame" << QVariant(qlonglong(9)) << "integer";
    QTest::newRow("rollbackFrame from a snapshot (double)")
            << settings(9.0) << "scan"
            << "rollbackFrame" << QVariant(qlonglong(9)) << "integer";
    QTest::newRow("rollbackFrame as text") << settings("12") << "scan"
                                           << "rollbackFrame" << QVariant(qlonglong(12)) << "integer";
    QTest::newRow("rollbackFrame placeholder") << settings(QVariant()) << "scan"
                                               << "rollbackFrame" << unchanged << "integer";
    QTest::newRow("rollbackFrame not whole") << settings(2.5) << "scan"
                                             << "rollbackFrame" << unchanged << "integer";
    QTest::newRow("rollbackFrame not a number") << settings("abc") << "scan"
                                                << "rollbackFrame" << unchanged << "integer";
    QTest::newRow("per-key change without rollbackFrame")
            << QVariantMap{{"cmd", "developerModeSettingChanged"},
                           {"changedKey", "enableWatermark"},
                           {"settings", QVariantMap{{"enableWatermark", false}}}}
            << "scan"
            << "rollbackFrame" << unchanged << "integer";
}

void tst_BusRouter::storesWhatThePluginAnnounces()
{
    QFETCH(QVariantMap, param);
    QFETCH(QString, table);
    QFETCH(QString, key);
    QFETCH(QVariant, value);
    QFETCH(QString, type);

    m_probe->publish(QString(), QString(), QString(), param);
    QCOMPARE(m_routed.size(), 1);
    QCOMPARE(m_routed.first().first, QString("plugin"));
    QCOMPARE(m_db->value(table, key), qMakePair(value, type));
    // Nothing of this goes back to the plug-in.
    drainQueued();
    QVERIFY(m_probe->received.isEmpty());
}

void tst_BusRouter::rollbackQueryAnsweredOnALaterTurn()
{
    QVERIFY(m_db->exec("UPDATE scan SET value = 7 WHERE key = 'rollbackFrame'"));
    m_probe->publish(QString(), QString(), QString(),
                     {{"cmd", "developerModeQuerySetting"}, {"key", "rollbackFrame"}});
    // Not from inside the publish call.
    QVERIFY(m_probe->received.isEmpty());
    QTRY_COMPARE(m_probe->received.size(), 1);
    const QVariantMap answer = m_probe->received.first();
    QCOMPARE(answer,
             (QVariantMap{{"cmd", "developerModeQuerySettingResp"},
                          {"module", "DeveloperMode"},
                          {"key", "rollbackFrame"},
                          {"value", 7}}));
    QCOMPARE(answer.value("value").userType(), int(QMetaType::Int));
    QCOMPARE(m_routed.size(), 2);
    QCOMPARE(m_routed.at(0).first, QString("plugin"));
    QCOMPARE(m_routed.at(1), qMakePair(QString("host"), answer));
    drainQueued();
    QCOMPARE(m_probe->received.size(), 1);
}

void tst_BusRouter::settingQueryLeftUnanswered_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("sql");
    QTest::newRow("a key no host module holds") << "enableWatermark" << QString();
    QTest::newRow("rollbackFrame missing") << "rollbackFrame"
                                           << "DELETE FROM scan WHERE key = 'rollbackFrame'";
    QTest::newRow("rollbackFrame not a number")
            << "rollbackFrame"
            << "UPDATE scan SET value = 'many' WHERE key = 'rollbackFrame'";
}

void tst_BusRouter::settingQueryLeftUnanswered()
{
    QFETCH(QString, key);
    QFETCH(QString, sql);
    if (!sql.isEmpty())
        QVERIFY(m_db->exec(sql));
    m_probe->publish(QString(), QString(), QString(), {{"cmd", "developerModeQuerySetting"}, {"key", key}});
    drainQueued();
    drainQueued();
    QVERIFY(m_probe->received.isEmpty());
    QCOMPARE(m_routed.size(), 1);
}

void tst_BusRouter::hostMessageIsRoutedBeforeDelivery()
{
    const QVariantMap show{{"module", "DeveloperMode"}, {"cmd", "showDeveloperModeView"}};
    m_router->deliverToPlugin(show);
    QCOMPARE(m_probe->received, QList<QVariantMap>{show});
    // The host's line is out before the plug-in reacts, so the printed
    // order is the order of events.
    QCOMPARE(m_probe->routedBefore, QList<int>{1});
    QCOMPARE(m_routed.first(), qMakePair(QString("host"), show));

    // Without a plug-in the message is still seen on the bus, and dropped.
    m_probe.reset();
    m_router->deliverToPlugin(show);
    QCOMPARE(m_routed.size(), 2);
}

void tst_BusRouter::databaseQueryFromPageAnsweredToPages()
{
    std::unique_ptr<QObject> page = makePage();
    QVERIFY(page);
    std::unique_ptr<QObject> gone = makePage();
    QVERIFY(gone);
    QCOMPARE(m_app->pageCount(), 2);

    const QVariant query = QVariantMap{{"cmd", "query"},
                                       {"target", "dataBaseQuery"},
                                       {"dbName", "scan"},
                                       {"param", "select * from $table$"}};
    QVERIFY(QMetaObject::invokeMethod(page.get(), "send", Q_ARG(QVariant, query)));
    // A page that closes before the answer comes is skipped.
    gone.reset();
    QCOMPARE(page->property("count").toInt(), 0);
    QTRY_COMPARE(page->property("count").toInt(), 1);
    QCOMPARE(page->property("lastCmd").toString(), QString("dataBaseResponseCmd"));
    QVERIFY2(page->property("lastResponse").toString().contains("scan#rollbackFrame#5#"),
             qPrintable(page->property("lastResponse").toString()));

    QCOMPARE(m_routed.size(), 2);
    QCOMPARE(m_routed.at(0).first, QString("page"));
    QCOMPARE(m_routed.at(0).second.value("dbName").toString(), QString("scan"));
    QCOMPARE(m_routed.at(1).first, QString("host"));
    QCOMPARE(m_routed.at(1).second.value("cmd").toString(), QString("dataBaseResponseCmd"));
    // The plug-in's controller is not part of this conversation.
    QVERIFY(m_probe->received.isEmpty());
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
    std::unique_ptr<QObject> page = makePage();
    QVERIFY(page);
    QVERIFY(QMetaObject::invokeMethod(page.get(), "send", Q_ARG(QVariant, param)));
    drainQueued();
    drainQueued();
    QCOMPARE(m_routed.size(), 1);
    QCOMPARE(m_routed.first(), qMakePair(QString("page"), param));
    QCOMPARE(page->property("count").toInt(), 0);
    QVERIFY(m_probe->received.isEmpty());
}

QTEST_MAIN(tst_BusRouter)
#include "tst_busrouter.moc"
