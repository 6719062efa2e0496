// The controller the host creates, through the real plug-in: its start-up
// timer, the meta-objects QML and the host see, dispatch through its handler
// table, hand-on to the sub-controllers and forwarding of their messages.

#include "LogCollector.h"
#include "PluginHarness.h"

#include <QElapsedTimer>
#include <QMetaMethod>
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

// A class by its base and the members it adds; a method by access, kind,
// result and signature with parameter names; a property by type and flags.
QString describe(const QMetaObject *mo, const QString &member)
{
    const int index = member.section(' ', 1).toInt();
    if (member.startsWith("method")) {
        const QMetaMethod m = mo->method(mo->methodOffset() + index);
        QStringList parameters;
        for (int i = 0; i < m.parameterCount(); ++i)
            parameters << m.parameterTypes().at(i) + ' ' + m.parameterNames().at(i);
        const char *access[] = {"private", "protected", "public"}, *kind[] = {"method", "signal", "slot", ""};
        return QStringLiteral("%1 %2 %3 %4(%5)")
                .arg(access[m.access()], kind[m.methodType()], m.typeName(), m.name(), parameters.join(", "));
    }
    if (member.startsWith("property")) {
        const QMetaProperty p = mo->property(mo->propertyOffset() + index);
        const bool flags[] = {p.isReadable(),   p.isWritable(),   p.isResettable(),
                              p.isDesignable(), p.isScriptable(), p.isStored(),
                              p.isUser(),       p.isConstant(),   p.isFinal()};
        const char *names[] = {"read",   "write", "reset",    "designable", "script",
                               "stored", "user",  "constant", "final"};
        QStringList words{p.name(), p.typeName()};
        for (int i = 0; i < 9; ++i)
            words << (flags[i] ? "" : "!") + QString(names[i]);
        return words.join(' ') + " notify " + p.notifySignal().name();
    }
    return QStringLiteral("%1: %2 methods, %3 properties, %4 enums, %5 class infos, %6 constructors")
            .arg(mo->superClass()->className())
            .arg(mo->methodCount() - mo->methodOffset())
            .arg(mo->propertyCount() - mo->propertyOffset())
            .arg(mo->enumeratorCount() - mo->enumeratorOffset())
            .arg(mo->classInfoCount() - mo->classInfoOffset())
            .arg(mo->constructorCount());
}

} // namespace

class tst_ApplicationToolsController : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void metaObjects_data();
    void metaObjects();
    void startsTenMillisecondsAfterItIsMade();
    void destroyedBeforeItsStartRunsNothing();
    void restoresDeveloperModeAtStart_data();
    void restoresDeveloperModeAtStart();
    void handOnCarriesAllFields_data();
    void handOnCarriesAllFields();
    void developerModeSwitch();
    void subControllerMessages_data();
    void subControllerMessages();
    void configEditorCommand();
    void oneOfEachPerProcess_data();
    void oneOfEachPerProcess();

private:
    QHash<QByteArray, const QMetaObject *> m_metaObjects;
};

void tst_ApplicationToolsController::initTestCase()
{
    // The meta-objects of the classes built into the plug-in, read from live
    // objects; they stay valid while the plug-in is loaded.
    VoraTest::TempDatabase db(Schema);
    VoraTest::Controller controller;
    QVERIFY2(controller.isValid() && controller.waitUntilStarted(), qPrintable(controller.errorString()));
    controller.deliver(enable(true));
    controller.deliver(showEditor(true));
    for (const QObject *object :
         {static_cast<QObject *>(VoraTest::factory()), controller.child("ConfigEditorController"),
          static_cast<QObject *>(controller.object()), controller.child("DeveloperModeController")})
        m_metaObjects.insert(object->metaObject()->className(), object->metaObject());
    controller.deliver(enable(false));
    controller.deliver(showEditor(false));
}

void tst_ApplicationToolsController::metaObjects_data()
{
    QTest::addColumn<QByteArray>("className");
    QTest::addColumn<QString>("member"); // "class", "method N" or "property N"
    QTest::addColumn<QString>("declared");
    auto row = [](const char *className, const char *member, const char *declared) {
        QTest::addRow("%s %s", className, member) << QByteArray(className) << member << declared;
    };
    const char *none = "0 enums, 0 class infos, 0 constructors";
    row("ApplicationToolsFactoryImp", "class",
        qPrintable(QString("CommonLib::VoraFactory: 0 methods, 0 properties, ") + none));
    row("ApplicationToolsController", "class",
        qPrintable(QString("CommonLib::VoraQObject: 1 methods, 0 properties, ") + none));
    row("ApplicationToolsController", "method 0",
        "public signal void notifySubscribeData(QString topic, QString type, QString event, QVariantMap "
        "param, "
        "QString module)");
    row("DeveloperModeController", "class", qPrintable(QString("QObject: 4 methods, 1 properties, ") + none));
    row("DeveloperModeController", "method 0", "public signal void publish(QVariantMap param)");
    row("DeveloperModeController", "method 1", "public signal void configChanged()");
    row("DeveloperModeController", "method 2", "public method void updateValue(QString key, QVariant value)");
    row("DeveloperModeController", "method 3", "public method void quitDeveloperMode()");
    row("DeveloperModeController", "property 0",
        "config QVariantMap read !write !reset designable script stored !user !constant final notify "
        "configChanged");
    row("ConfigEditorController", "class", qPrintable(QString("QObject: 1 methods, 0 properties, ") + none));
    row("ConfigEditorController", "method 0", "public signal void publish(QVariantMap param)");
}

void tst_ApplicationToolsController::metaObjects()
{
    QFETCH(QByteArray, className);
    QFETCH(QString, member);
    QFETCH(QString, declared);
    QVERIFY(m_metaObjects.contains(className));
    QCOMPARE(describe(m_metaObjects.value(className), member), declared);
}

// The bus records the time of every message as it is published.
void tst_ApplicationToolsController::startsTenMillisecondsAfterItIsMade()
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
void tst_ApplicationToolsController::destroyedBeforeItsStartRunsNothing()
{
    VoraTest::TempDatabase db(Schema + StoredOn);
    std::make_unique<VoraTest::Controller>().reset();
    VoraTest::Controller controller;
    QTRY_COMPARE(controller.published(), enabledChanged(true));
    QVERIFY(controller.child("DeveloperModeController"));
}

void tst_ApplicationToolsController::restoresDeveloperModeAtStart_data()
{
    QTest::addColumn<QString>("rows");
    QTest::addColumn<bool>("restored");
    QTest::newRow("true as text") << StoredOn << true;
    QTest::newRow("1") << "INSERT INTO config VALUES ('developerModeEnabled', 1, '');" << true;
    QTest::newRow("false as text") << "INSERT INTO config VALUES ('developerModeEnabled', 'false', '');"
                                   << false;
    QTest::newRow("missing key") << QString() << false;
    QTest::newRow("other table") << "INSERT INTO ui VALUES ('developerModeEnabled', 'true', '');" << false;
}

void tst_ApplicationToolsController::restoresDeveloperModeAtStart()
{
    QFETCH(QString, rows);
    QFETCH(bool, restored);
    VoraTest::TempDatabase db(Schema + rows);
    VoraTest::Controller controller;
    QVERIFY(controller.waitUntilStarted());
    QCOMPARE(controller.published(), restored ? enabledChanged(true) : QList<QVariantMap>());
    QCOMPARE(controller.child("DeveloperModeController") != nullptr, restored);
}

void tst_ApplicationToolsController::handOnCarriesAllFields_data()
{
    QTest::addColumn<QVariantMap>("param");
    QTest::addColumn<QString>("module");
    QTest::newRow("no module") << QVariantMap{{"cmd", "showDeveloperModeView"}} << "";
    QTest::newRow("module") << QVariantMap{{"cmd", "x"}, {"module", "DeveloperMode"}} << "DeveloperMode";
    QTest::newRow("no cmd") << QVariantMap{{"module", "scan"}, {"value", 3}} << "scan";
    QTest::newRow("cmd case differs") << QVariantMap{{"cmd", "EnableDeveloperMode"}, {"enabled", true}} << "";
    QTest::newRow("numeric module") << QVariantMap{{"cmd", "y"}, {"module", 7}} << "7";
}

void tst_ApplicationToolsController::handOnCarriesAllFields()
{
    QFETCH(QVariantMap, param);
    QFETCH(QString, module);
    VoraTest::TempDatabase db(Schema);
    VoraTest::Controller controller;
    QVERIFY(controller.waitUntilStarted());
    QSignalSpy handedOn(controller.object(), NotifySignal);
    QCOMPARE(controller.box().deliver(controller.object(), "topic", "type", "event", param), 0);
    QCOMPARE(handedOn.count(), 1);
    QCOMPARE(handedOn.first(), QVariantList({"topic", "type", "event", param, module}));
    QVERIFY(controller.published().isEmpty());
    QVERIFY(!controller.child("DeveloperModeController"));
}

void tst_ApplicationToolsController::developerModeSwitch()
{
    VoraTest::TempDatabase db(Schema);
    VoraTest::Controller controller;
    QVERIFY(controller.waitUntilStarted());
    QSignalSpy handedOn(controller.object(), NotifySignal);
    // Off while off: nothing.
    QCOMPARE(controller.deliver(enable(false)), 0);
    QVERIFY(controller.published().isEmpty());
    // On twice: one developer mode, one announcement, in the plug-in's
    // envelope: empty topic, type and event, flag false, no payload.
    QCOMPARE(controller.deliver(enable(true)), 0);
    QPointer<QObject> first = controller.child("DeveloperModeController");
    QVERIFY(first);
    controller.deliver(enable("true"));
    QCOMPARE(controller.child("DeveloperModeController"), first.data());
    QCOMPARE(controller.published(), enabledChanged(true));
    const CommonLib::VoraBusMessage message = controller.box().messages().first();
    QCOMPARE(QStringList({message.topic, message.type, message.event, message.sender}),
             QStringList({"", "", "", "ApplicationToolsController"}));
    QVERIFY(!message.flag && !message.payload);
    QCOMPARE(handedOn.count(), 0);
    // Off without "enabled": deleted later, announced at once; on again at
    // once makes a new one although the old one still exists.
    controller.deliver(enable(QVariant()));
    QVERIFY(first);
    controller.deliver(enable(true));
    QCOMPARE(controller.published().mid(2), enabledChanged(false) + enabledChanged(true));
    QVERIFY(first);
    QTRY_VERIFY(!first);
    QVERIFY(controller.child("DeveloperModeController"));
}

void tst_ApplicationToolsController::subControllerMessages_data()
{
    QTest::addColumn<QVariantMap>("sent");
    QTest::addColumn<QStringList>("published");
    QTest::newRow("foreign command is published")
            << QVariantMap{{"cmd", "developerModeQuerySetting"}, {"key", "rollbackFrame"}}
            << QStringList{"developerModeQuerySetting"};
    QTest::newRow("no cmd is published") << QVariantMap{{"key", "x"}} << QStringList{""};
    QTest::newRow("config editor command runs here") << showEditor(false) << QStringList();
    QTest::newRow("switch-off runs here")
            << enable(false) << QStringList{"developerModeSettingChanged:all", "developerModeEnabledChanged"};
}

void tst_ApplicationToolsController::subControllerMessages()
{
    QFETCH(QVariantMap, sent);
    QFETCH(QStringList, published);
    VoraTest::TempDatabase db(Schema);
    VoraTest::Controller controller;
    QVERIFY(controller.waitUntilStarted());
    controller.deliver(enable(true));
    controller.box().clearMessages();
    // The sub-controller speaks through its publish signal.
    QVERIFY(QMetaObject::invokeMethod(controller.child("DeveloperModeController"), "publish",
                                      Q_ARG(QVariantMap, sent)));
    QCOMPARE(controller.publishedCommands(), published);
    const CommonLib::VoraBusMessage message = controller.box().messages().value(0);
    if (published.value(0) == sent.value("cmd").toString())
        QVERIFY(message.param == sent && message.topic + message.type + message.event == "" && !message.flag);
}

void tst_ApplicationToolsController::configEditorCommand()
{
    VoraTest::TempDatabase db(Schema);
    VoraTest::Controller controller;
    QVERIFY(controller.waitUntilStarted());
    VoraTest::LogCollector log;
    QCOMPARE(controller.deliver(showEditor(true)), 0);
    QPointer<QObject> editor = controller.child("ConfigEditorController");
    QVERIFY(editor);
    controller.deliver(showEditor(true));
    QCOMPARE(controller.child("ConfigEditorController"), editor.data());
    // One debug line, with the handler as its context.
    const QStringList lines = log.lines("src/ApplicationToolsController.cpp");
    QCOMPARE(lines.size(), 1);
    QVERIFY2(lines.first().startsWith("debug default src/ApplicationToolsController.cpp ")
                     && lines.first().contains(" ApplicationToolsController::")
                     && lines.first().endsWith(": show config editor"),
             qPrintable(lines.first()));
    // Closed at once (not deferred) without "visible"; closing again is a
    // no-op. The command publishes and logs nothing else either way.
    controller.deliver(showEditor(QVariant()));
    QVERIFY(!editor);
    controller.deliver(showEditor(false));
    QVERIFY(controller.published().isEmpty());
    QCOMPARE(log.lines("src/ApplicationToolsController.cpp").size(), 1);
}

void tst_ApplicationToolsController::oneOfEachPerProcess_data()
{
    QTest::addColumn<QString>("cmd");
    QTest::addColumn<QByteArray>("className");
    QTest::newRow("developer mode") << "enableDeveloperMode" << QByteArray("DeveloperModeController");
    QTest::newRow("config editor") << "showConfigEditor" << QByteArray("ConfigEditorController");
}

// Whichever controller made it, there is one developer mode and one config
// editor in the process; one destroyed with the controller that made it is
// gone for the others too.
void tst_ApplicationToolsController::oneOfEachPerProcess()
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

QTEST_MAIN(tst_ApplicationToolsController)
#include "tst_applicationtoolscontroller.moc"
