// The controller the host creates: start-up, dispatch through its handler
// table, hand-on to sub-controllers, and forwarding of their messages.

#include "LogCollector.h"
#include "PluginHarness.h"

#include <QtTest>

namespace {

const char NotifySignal[] = SIGNAL(notifySubscribeData(QString, QString, QString, QVariantMap, QString));

QVariantMap msg(std::initializer_list<std::pair<const QString, QVariant>> entries)
{
    return QVariantMap(entries);
}

} // namespace

class tst_ApplicationToolsController : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void beforeInitEverythingIsHandedOn();
    void handOnCarriesAllFields_data();
    void handOnCarriesAllFields();
    void developerModeSwitch();
    void subControllerMessages_data();
    void subControllerMessages();
    void restoresDeveloperModeAtStart_data();
    void restoresDeveloperModeAtStart();
    void configEditorCommand();
    void developerModeIsProcessWide();

private:
    QString m_dbSchema;
};

void tst_ApplicationToolsController::initTestCase()
{
    m_dbSchema = VoraTest::TempDatabase::tableSql({QStringLiteral("config"), QStringLiteral("ui"),
                                                   QStringLiteral("calibration"), QStringLiteral("scan")});
}

void tst_ApplicationToolsController::beforeInitEverythingIsHandedOn()
{
    VoraTest::TempDatabase db(m_dbSchema);
    VoraTest::Controller controller;
    QVERIFY2(controller.isValid(), qPrintable(controller.errorString()));
    QSignalSpy notified(controller.object(), NotifySignal);
    QVERIFY(notified.isValid());

    // The table is empty until the 10 ms timer has run.
    controller.deliver(msg({{"cmd", "enableDeveloperMode"}, {"enabled", true}}));
    QCOMPARE(notified.count(), 1);
    QCOMPARE(notified.at(0).at(3).toMap().value("cmd").toString(), QStringLiteral("enableDeveloperMode"));
    QVERIFY(controller.published().isEmpty());
    QVERIFY(!controller.child("DeveloperModeController"));

    // Afterwards the same command is the controller's own.
    QTest::qWait(30);
    controller.deliver(msg({{"cmd", "enableDeveloperMode"}, {"enabled", true}}));
    QCOMPARE(notified.count(), 1);
    QVERIFY(controller.child("DeveloperModeController"));
    controller.deliver(msg({{"cmd", "enableDeveloperMode"}, {"enabled", false}}));
}

void tst_ApplicationToolsController::handOnCarriesAllFields_data()
{
    QTest::addColumn<QVariantMap>("param");
    QTest::addColumn<QString>("module");
    QTest::newRow("no module") << msg({{"cmd", "showDeveloperModeView"}}) << QString("");
    QTest::newRow("module") << msg({{"cmd", "x"}, {"module", "DeveloperMode"}})
                            << QStringLiteral("DeveloperMode");
    QTest::newRow("no cmd") << msg({{"module", "scan"}, {"value", 3}}) << QStringLiteral("scan");
    QTest::newRow("cmd case differs")
            << msg({{"cmd", "EnableDeveloperMode"}, {"enabled", true}}) << QString("");
    QTest::newRow("numeric module") << msg({{"cmd", "y"}, {"module", 7}}) << QStringLiteral("7");
}

void tst_ApplicationToolsController::handOnCarriesAllFields()
{
    QFETCH(QVariantMap, param);
    QFETCH(QString, module);
    VoraTest::TempDatabase db(m_dbSchema);
    VoraTest::Controller controller;
    QVERIFY2(controller.isValid(), qPrintable(controller.errorString()));
    QTest::qWait(30);
    QSignalSpy notified(controller.object(), NotifySignal);

    QCOMPARE(controller.object()->box()->deliver(controller.object(), "topic", "type", "event", param), 0);
    QCOMPARE(notified.count(), 1);
    const QList<QVariant> args = notified.takeFirst();
    QCOMPARE(args.at(0).toString(), QStringLiteral("topic"));
    QCOMPARE(args.at(1).toString(), QStringLiteral("type"));
    QCOMPARE(args.at(2).toString(), QStringLiteral("event"));
    QCOMPARE(args.at(3).toMap(), param);
    QCOMPARE(args.at(4).toString(), module);
    QVERIFY(controller.published().isEmpty());
    QVERIFY(!controller.child("DeveloperModeController"));
}

void tst_ApplicationToolsController::developerModeSwitch()
{
    VoraTest::TempDatabase db(m_dbSchema);
    VoraTest::Controller controller;
    QVERIFY2(controller.isValid(), qPrintable(controller.errorString()));
    QTest::qWait(30);
    QSignalSpy notified(controller.object(), NotifySignal);

    // Off while off: nothing.
    controller.deliver(msg({{"cmd", "enableDeveloperMode"}, {"enabled", false}}));
    QVERIFY(controller.published().isEmpty());

    // On twice: one controller, one announcement.
    controller.deliver(msg({{"cmd", "enableDeveloperMode"}, {"enabled", true}}));
    QObject *first = controller.child("DeveloperModeController");
    QVERIFY(first);
    controller.deliver(msg({{"cmd", "enableDeveloperMode"}, {"enabled", "true"}}));
    QCOMPARE(controller.child("DeveloperModeController"), first);
    QCOMPARE(controller.published(),
             QList<QVariantMap>{msg({{"cmd", "developerModeEnabledChanged"}, {"enabled", true}})});
    const auto message = controller.box().messages().first();
    QVERIFY(message.topic.isEmpty() && message.type.isEmpty() && message.event.isEmpty());
    QVERIFY(!message.flag);
    QVERIFY(!message.payload);
    QCOMPARE(message.sender, QStringLiteral("ApplicationToolsController"));
    QCOMPARE(notified.count(), 0);

    // Off without "enabled": deleted later, announced at once; switching on
    // again right away makes a new one although the old one still exists.
    controller.box().clearMessages();
    QPointer<QObject> old(first);
    controller.deliver(msg({{"cmd", "enableDeveloperMode"}}));
    QVERIFY(old);
    QCOMPARE(controller.published().last(),
             msg({{"cmd", "developerModeEnabledChanged"}, {"enabled", false}}));
    controller.deliver(msg({{"cmd", "enableDeveloperMode"}, {"enabled", true}}));
    QCOMPARE(controller.published().last(), msg({{"cmd", "developerModeEnabledChanged"}, {"enabled", true}}));
    QVERIFY(old);
    QTRY_VERIFY(!old);
    QVERIFY(controller.child("DeveloperModeController"));
    controller.deliver(msg({{"cmd", "enableDeveloperMode"}, {"enabled", false}}));
}

void tst_ApplicationToolsController::subControllerMessages_data()
{
    QTest::addColumn<QVariantMap>("sent");
    QTest::addColumn<bool>("reachesBus");
    QTest::addColumn<bool>("developerModeStaysOn");
    QTest::newRow("foreign command is published")
            << msg({{"cmd", "developerModeQuerySetting"}, {"key", "rollbackFrame"}}) << true << true;
    QTest::newRow("no cmd is published") << msg({{"key", "x"}}) << true << true;
    QTest::newRow("config editor command runs locally")
            << msg({{"cmd", "showConfigEditor"}, {"visible", false}}) << false << true;
    QTest::newRow("switch-off runs locally")
            << msg({{"cmd", "enableDeveloperMode"}, {"enabled", false}}) << false << false;
}

void tst_ApplicationToolsController::subControllerMessages()
{
    QFETCH(QVariantMap, sent);
    QFETCH(bool, reachesBus);
    QFETCH(bool, developerModeStaysOn);

    VoraTest::TempDatabase db(m_dbSchema);
    VoraTest::Controller controller;
    QVERIFY2(controller.isValid(), qPrintable(controller.errorString()));
    QTest::qWait(30);
    controller.deliver(msg({{"cmd", "enableDeveloperMode"}, {"enabled", true}}));
    QObject *developerMode = controller.child("DeveloperModeController");
    QVERIFY(developerMode);
    controller.box().clearMessages();

    // The sub-controller speaks through its publish signal.
    QVERIFY(QMetaObject::invokeMethod(developerMode, "publish", Q_ARG(QVariantMap, sent)));

    const QList<QVariantMap> published = controller.published();
    QCOMPARE(published.contains(sent), reachesBus);
    for (const QVariantMap &p : published) {
        // Commands of the controller itself never reach the bus.
        QVERIFY(p.value("cmd") != QLatin1String("enableDeveloperMode"));
        QVERIFY(p.value("cmd") != QLatin1String("showConfigEditor"));
    }
    if (reachesBus) {
        const auto message = controller.box().messages().last();
        QVERIFY(message.topic.isEmpty() && message.type.isEmpty() && message.event.isEmpty());
    }
    if (developerModeStaysOn) {
        QVERIFY(controller.child("DeveloperModeController"));
        controller.deliver(msg({{"cmd", "enableDeveloperMode"}, {"enabled", false}}));
    } else {
        QCOMPARE(published.last(), msg({{"cmd", "developerModeEnabledChanged"}, {"enabled", false}}));
    }
}

void tst_ApplicationToolsController::restoresDeveloperModeAtStart_data()
{
    QTest::addColumn<QString>("rows");
    QTest::addColumn<bool>("restored");
    QTest::newRow("stored true as text")
            << QStringLiteral("INSERT INTO config VALUES ('developerModeEnabled','true','');") << true;
    QTest::newRow("stored 1") << QStringLiteral("INSERT INTO config VALUES ('developerModeEnabled',1,'');")
                              << true;
    QTest::newRow("stored false") << QStringLiteral(
            "INSERT INTO config VALUES ('developerModeEnabled','false','');")
                                  << false;
    QTest::newRow("missing key") << QString() << false;
    QTest::newRow("other table") << QStringLiteral(
            "INSERT INTO ui VALUES ('developerModeEnabled','true','');")
                                 << false;
}

void tst_ApplicationToolsController::restoresDeveloperModeAtStart()
{
    QFETCH(QString, rows);
    QFETCH(bool, restored);
    VoraTest::TempDatabase db(m_dbSchema + rows);
    QVERIFY2(db.isValid(), qPrintable(db.errorString()));
    VoraTest::Controller controller;
    QVERIFY2(controller.isValid(), qPrintable(controller.errorString()));

    QVERIFY(controller.published().isEmpty()); // nothing before the event loop
    QTest::qWait(50);
    if (restored) {
        QCOMPARE(controller.published().value(0),
                 msg({{"cmd", "developerModeEnabledChanged"}, {"enabled", true}}));
        QVERIFY(controller.child("DeveloperModeController"));
        controller.deliver(msg({{"cmd", "enableDeveloperMode"}, {"enabled", false}}));
    } else {
        QVERIFY(controller.published().isEmpty());
        QVERIFY(!controller.child("DeveloperModeController"));
    }
}

void tst_ApplicationToolsController::configEditorCommand()
{
    VoraTest::TempDatabase db(m_dbSchema);
    VoraTest::Controller controller;
    QVERIFY2(controller.isValid(), qPrintable(controller.errorString()));
    QTest::qWait(30);

    VoraTest::LogCollector log;
    controller.deliver(msg({{"cmd", "showConfigEditor"}, {"visible", true}}));
    QObject *editor = controller.child("ConfigEditorController");
    QVERIFY(editor);
    controller.deliver(msg({{"cmd", "showConfigEditor"}, {"visible", true}}));
    QCOMPARE(controller.child("ConfigEditorController"), editor);

    const QList<VoraTest::LogLine> lines = log.withText(QStringLiteral("show config editor"));
    QCOMPARE(lines.size(), 1);
    QCOMPARE(lines.first().type, QtDebugMsg);
    QCOMPARE(lines.first().category, QStringLiteral("default"));
    QCOMPARE(lines.first().file, QStringLiteral("src/ApplicationToolsController.cpp"));
    QVERIFY2(lines.first().function.contains(QLatin1String("ApplicationToolsController::")),
             qPrintable(lines.first().function));

    // Closed at once (not deferred) without "visible"; closing again is a
    // no-op. The command publishes nothing either way.
    QPointer<QObject> guard(editor);
    controller.deliver(msg({{"cmd", "showConfigEditor"}}));
    QVERIFY(!guard);
    QVERIFY(!controller.child("ConfigEditorController"));
    controller.deliver(msg({{"cmd", "showConfigEditor"}, {"visible", false}}));
    QVERIFY(controller.published().isEmpty());
    QCOMPARE(log.withText(QStringLiteral("show config editor")).size(), 1);
}

void tst_ApplicationToolsController::developerModeIsProcessWide()
{
    VoraTest::TempDatabase db(m_dbSchema);
    VoraTest::Controller first;
    VoraTest::Controller second;
    QVERIFY2(first.isValid() && second.isValid(), qPrintable(first.errorString()));
    QTest::qWait(30);

    first.deliver(msg({{"cmd", "enableDeveloperMode"}, {"enabled", true}}));
    // The second controller sees the first one's developer mode.
    second.deliver(msg({{"cmd", "enableDeveloperMode"}, {"enabled", true}}));
    QVERIFY(second.published().isEmpty());
    QVERIFY(!second.child("DeveloperModeController"));
    second.deliver(msg({{"cmd", "enableDeveloperMode"}, {"enabled", false}}));
    QCOMPARE(second.published().last(), msg({{"cmd", "developerModeEnabledChanged"}, {"enabled", false}}));

    // A developer mode destroyed with the controller that made it is gone
    // for the next controller too.
    first.deliver(msg({{"cmd", "enableDeveloperMode"}, {"enabled", true}}));
    {
        VoraTest::Controller doomed;
        QTest::qWait(30);
        doomed.deliver(msg({{"cmd", "enableDeveloperMode"}, {"enabled", false}}));
        doomed.deliver(msg({{"cmd", "enableDeveloperMode"}, {"enabled", true}}));
    }
    second.box().clearMessages();
    second.deliver(msg({{"cmd", "enableDeveloperMode"}, {"enabled", true}}));
    QCOMPARE(second.published().value(0), msg({{"cmd", "developerModeEnabledChanged"}, {"enabled", true}}));
    second.deliver(msg({{"cmd", "enableDeveloperMode"}, {"enabled", false}}));
}

QTEST_MAIN(tst_ApplicationToolsController)
#include "tst_applicationtoolscontroller.moc"
