// The controller the host creates, through the real plug-in: its start-up
// timer, dispatch through its handler table, hand-on to the sub-controllers
// and forwarding of their messages.

#include "LogCollector.h"
#include "PluginHarness.h"

#include <QElapsedTimer>
#include <QtTest>

namespace {

const char NotifySignal[] = SIGNAL(notifySubscribeData(QString, QString, QString, QVariantMap, QString));
const QString Schema = VoraTest::TempDatabase::tableSql({"config", "ui", "calibration", "scan"});
const QString StoredOn = "INSERT INTO config VALUES ('developerModeEnabled', 'true', '');";

// {"cmd": cmd, flag: value}, without flag for an invalid value.
QVariantMap command(const QString &cmd, const QVariant &value)
{
    QVariantMap param{{"cmd", cmd}};
    if (value.isValid())
        param.insert(cmd == "showConfigEditor" ? "visible" : "enabled", value);
    return param;
}
QVariantMap enable(const QVariant &on)
{
    return command("enableDeveloperMode", on);
}
QVariantMap showEditor(const QVariant &visible)
{
    return command("showConfigEditor", visible);
}
QList<QVariantMap> enabledChanged(bool on)
{
    return {{{"cmd", "developerModeEnabledChanged"}, {"enabled", on}}};
}

QJsonArray table(const char *name)
{
    return VoraTest::dataTable("plugin/applicationtoolscontroller.json", name).toArray();
}

} // namespace

class tst_ApplicationToolsController : public QObject
{
    Q_OBJECT

private slots:
    // The bus records the time of every message as it is published.
    void startsTenMillisecondsAfterItIsMade()
    {
        VoraTest::TempDatabase db(Schema + StoredOn);
        QElapsedTimer clock;
        clock.start();
        VoraTest::Controller controller;
        QSignalSpy handedOn(controller.object(), NotifySignal);
        QList<qint64> publishedAt;
        int handedOnAtRestore = -1;
        connect(&controller.box(), &CommonLib::VoraBox::messagePublished, this, [&] {
            publishedAt << clock.elapsed();
            // The developer mode comes back before the config editor command is
            // known: right now that is still handed on.
            const int before = handedOn.count();
            controller.deliver(showEditor(false));
            handedOnAtRestore = handedOn.count() - before;
        });
        // Until then the table is empty: even the controller's own command is
        // handed on.
        QCOMPARE(controller.deliver(enable(false)), 0);
        QCOMPARE(handedOn.count(), 1);
        QTRY_COMPARE(publishedAt.size(), 1);
        QVERIFY2(publishedAt.first() >= 10, qPrintable(QString::number(publishedAt.first())));
        QCOMPARE(controller.published(), enabledChanged(true));
        QCOMPARE(handedOnAtRestore, 1);
        QVERIFY(controller.child("DeveloperModeController"));
        controller.deliver(showEditor(false));
        QCOMPARE(handedOn.count(), 2);
    }
    // Its timer is bound to it: a controller gone before the timer fires never
    // restores the developer mode, so the next one does.
    void destroyedBeforeItsStartRunsNothing()
    {
        VoraTest::TempDatabase db(Schema + StoredOn);
        std::make_unique<VoraTest::Controller>().reset();
        VoraTest::Controller controller;
        QTRY_COMPARE(controller.published(), enabledChanged(true));
        QVERIFY(controller.child("DeveloperModeController"));
    }
    void restoresDeveloperModeAtStart_data()
    {
        QTest::addColumn<QString>("rows");
        QTest::addColumn<bool>("restored");
        for (const QJsonValue r : table("restoresAtStart"))
            QTest::newRow(qPrintable(r[0].toString())) << r[1].toString() << r[2].toBool();
    }
    void restoresDeveloperModeAtStart()
    {
        QFETCH(QString, rows);
        QFETCH(bool, restored);
        VoraTest::TempDatabase db(Schema + rows);
        VoraTest::Controller controller;
        QVERIFY(controller.waitUntilStarted());
        QCOMPARE(controller.published(), restored ? enabledChanged(true) : QList<QVariantMap>());
        QCOMPARE(controller.child("DeveloperModeController") != nullptr, restored);
    }
    // "commands": tag, what exists before ("developer mode", "switched off",
    // "editor"), whether the developer mode publishes it rather than the host
    // delivering it, the message, and the outcome: published commands | handed
    // on | the developer mode | the editor | log lines.
    void commands_data()
    {
        QTest::addColumn<QString>("before");
        QTest::addColumn<bool>("fromDeveloperMode");
        QTest::addColumn<QVariantMap>("param");
        QTest::addColumn<QString>("outcome");
        for (const QJsonValue r : table("commands"))
            QTest::newRow(qPrintable(r[0].toString()))
                    << r[1].toString() << r[2].toBool() << r[3].toObject().toVariantMap() << r[4].toString();
    }
    // The handler table after start-up: its two commands switch their
    // sub-controller, everything else is handed on with all its fields; what
    // the developer mode publishes is run here when it is one of the two, and
    // goes to the bus otherwise.
    void commands()
    {
        QFETCH(QString, before);
        QFETCH(bool, fromDeveloperMode);
        QFETCH(QVariantMap, param);
        QFETCH(QString, outcome);
        VoraTest::TempDatabase db(Schema);
        VoraTest::Controller c;
        QVERIFY(c.waitUntilStarted());
        if (before.contains("developer mode") || before.contains("switched off"))
            c.deliver(enable(true));
        QPointer<QObject> devMode = c.child("DeveloperModeController");
        if (before.contains("switched off"))
            c.deliver(enable(false));
        if (before.contains("editor"))
            c.deliver(showEditor(true));
        QPointer<QObject> editor = c.child("ConfigEditorController");
        c.box().clearMessages();
        QSignalSpy handedOn(c.object(), NotifySignal);
        VoraTest::LogCollector log;
        if (fromDeveloperMode)
            QVERIFY(QMetaObject::invokeMethod(devMode, "publish", Q_ARG(QVariantMap, param)));
        else
            QCOMPARE(c.box().deliver(c.object(), "topic", "type", "event", param), 0);

        // Each sub-controller after the event loop has run: the same, a new one,
        // none, or the one before deleted at once or later.
        const bool aliveRightAfter[] = {!devMode.isNull(), !editor.isNull()};
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QStringList states;
        for (int i = 0; i < 2; ++i) {
            const QPointer<QObject> &old = i ? editor : devMode;
            QObject *now = c.child(i ? "ConfigEditorController" : "DeveloperModeController");
            const bool existed = i ? before.contains("editor")
                                   : before.contains("developer") || before.contains("switched");
            states << (now                                  ? (now == old ? "same" : "new")
                               : !existed                   ? "none"
                               : aliveRightAfter[i] && !old ? "deleted later"
                                                            : "deleted");
        }
        QCOMPARE(QStringList({c.publishedCommands().join(','), QString::number(handedOn.count()),
                              states.join(" | "),
                              QString::number(log.lines("src/ApplicationToolsController.cpp").size())})
                         .join(" | "),
                 outcome);
        // Handed on with all its fields, module read from the map as text.
        if (!handedOn.isEmpty())
            QCOMPARE(handedOn.first(),
                     QVariantList({"topic", "type", "event", param, param.value("module").toString()}));
        // Published in the plug-in's envelope: empty topic, type and event, flag
        // false, no payload; the same map as the developer mode's.
        for (const CommonLib::VoraBusMessage &m : c.box().messages()) {
            QVERIFY(m.topic.isEmpty() && m.type.isEmpty() && m.event.isEmpty() && !m.flag && !m.payload);
            QCOMPARE(m.sender, QString("ApplicationToolsController"));
            if (fromDeveloperMode && m.param.value("cmd") == param.value("cmd"))
                QCOMPARE(m.param, param);
        }
        // The editor's one debug line, with the handler as its context.
        for (const QString &line : log.lines("src/ApplicationToolsController.cpp"))
            QVERIFY2(line.startsWith("debug default src/ApplicationToolsController.cpp ")
                             && line.contains(" ApplicationToolsController::")
                             && line.endsWith(": show config editor"),
                     qPrintable(line));
    }
    void oneOfEachPerProcess_data()
    {
        QTest::addColumn<QString>("cmd");
        QTest::addColumn<QByteArray>("className");
        QTest::newRow("developer mode") << "enableDeveloperMode" << QByteArray("DeveloperModeController");
        QTest::newRow("config editor") << "showConfigEditor" << QByteArray("ConfigEditorController");
    }
    // Whichever controller made it, there is one developer mode and one config
    // editor in the process; one destroyed with the controller that made it is
    // gone for the others too.
    void oneOfEachPerProcess()
    {
        QFETCH(QString, cmd);
        QFETCH(QByteArray, className);
        VoraTest::TempDatabase db(Schema);
        auto first = std::make_unique<VoraTest::Controller>();
        VoraTest::Controller second;
        QVERIFY(first->waitUntilStarted() && second.waitUntilStarted());
        first->deliver(command(cmd, true));
        QPointer<QObject> made = first->child(className);
        QVERIFY(made);
        second.deliver(command(cmd, true));
        QVERIFY(!second.child(className));
        QVERIFY(second.published().isEmpty());
        second.deliver(command(cmd, false));
        QTRY_VERIFY(!made);

        first->deliver(command(cmd, true));
        made = first->child(className);
        first.reset();
        QVERIFY(!made);
        second.deliver(command(cmd, true));
        QVERIFY(second.child(className));
    }
};

QTEST_MAIN(tst_ApplicationToolsController)
#include "tst_applicationtoolscontroller.moc"
