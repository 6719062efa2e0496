// The developer-mode window with the real plug-in, its real QML page from the
// plug-in's resources and a real SQLite file: one window per request, a new
// page after a close, the host's engine or a private one, clicks on the page
// reaching the database and the bus.

#include "PluginHarness.h"

#include <QGuiApplication>
#include <QPointer>
#include <QQmlComponent>
#include <QQmlContext>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QScopeGuard>
#include <QtTest>
#include <qpa/qwindowsysteminterface.h>

#include <memory>

namespace {

const char EngineProperty[] = "__vora_MainQmlEngine__";
const QString WindowTitle = QStringLiteral("开发者模式");

QVariantMap showParam()
{
    return {{QStringLiteral("module"), QStringLiteral("DeveloperMode")},
            {QStringLiteral("cmd"), QStringLiteral("showDeveloperModeView")}};
}

QList<QQuickView *> developerModeWindows()
{
    QList<QQuickView *> result;
    const auto windows = QGuiApplication::topLevelWindows();
    for (QWindow *window : windows) {
        auto *view = qobject_cast<QQuickView *>(window);
        if (view && view->title() == WindowTitle)
            result.append(view);
    }
    return result;
}

QString schema()
{
    return VoraTest::TempDatabase::tableSql({QStringLiteral("config"), QStringLiteral("ui"),
                                             QStringLiteral("calibration"), QStringLiteral("scan")})
            + QStringLiteral(
                    "INSERT INTO ui (key, value) VALUES ('cameraVideo.E7.needRightCamera', 'false');\n"
                    "INSERT INTO calibration (key, value) VALUES ('readPicMod', 1);\n");
}

// Closes the window as its frame's close button does.
void closeByFrame(QWindow *window)
{
    QWindowSystemInterface::handleCloseEvent<QWindowSystemInterface::SynchronousDelivery>(window);
}

QQuickItem *item(QQuickView *view, const char *objectName)
{
    return view && view->rootObject() ? view->rootObject()->findChild<QQuickItem *>(QLatin1String(objectName))
                                      : nullptr;
}

// A left click in the middle of item, delivered to its window.
void click(QQuickView *view, QQuickItem *target, QPointF at = QPointF(-1, -1))
{
    if (at.x() < 0)
        at = QPointF(target->width() / 2, target->height() / 2);
    QTest::mouseClick(view, Qt::LeftButton, Qt::NoModifier, target->mapToScene(at).toPoint());
}

} // namespace

class tst_DeveloperModeWindow : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void oneWindowForTwoRequests_data();
    void oneWindowForTwoRequests();
    void closeThenShowGivesNewPage();
    void switchClickWritesThrough();
    void exitButtonLeavesDeveloperMode();
    void foreignCloseEventPassedOn();

private:
    // Enters the developer mode and waits until its settings are loaded.
    QObject *enter();
    QQuickView *show();

    std::unique_ptr<VoraTest::TempDatabase> m_db;
    std::unique_ptr<VoraTest::Controller> m_controller;
};

void tst_DeveloperModeWindow::init()
{
    QDir(QCoreApplication::applicationDirPath() + QStringLiteral("/../Resources")).removeRecursively();
    m_db = std::make_unique<VoraTest::TempDatabase>(schema());
    QVERIFY2(m_db->isValid(), qPrintable(m_db->errorString()));
    m_controller = std::make_unique<VoraTest::Controller>();
    QVERIFY2(m_controller->isValid(), qPrintable(m_controller->errorString()));
}

void tst_DeveloperModeWindow::cleanup()
{
    m_controller.reset();
    m_db.reset();
    qApp->setProperty(EngineProperty, QVariant());
    QDir(QCoreApplication::applicationDirPath() + QStringLiteral("/../Resources")).removeRecursively();
}

QObject *tst_DeveloperModeWindow::enter()
{
    const QVariantMap enable{{QStringLiteral("cmd"), QStringLiteral("enableDeveloperMode")},
                             {QStringLiteral("enabled"), true}};
    // The controller registers its handlers 10 ms after it was made.
    const bool made = QTest::qWaitFor(
            [&] {
                if (!m_controller->child("DeveloperModeController"))
                    m_controller->deliver(enable);
                return m_controller->child("DeveloperModeController") != nullptr;
            },
            2000);
    if (!made)
        return nullptr;
    // Settings are loaded one second later and announced as a whole.
    const bool loaded = QTest::qWaitFor(
            [&] {
                const auto published = m_controller->published();
                for (const QVariantMap &param : published) {
                    if (param.value(QStringLiteral("changedKey")) == QLatin1String("all"))
                        return true;
                }
                return false;
            },
            5000);
    return loaded ? m_controller->child("DeveloperModeController") : nullptr;
}

QQuickView *tst_DeveloperModeWindow::show()
{
    m_controller->deliver(showParam());
    const auto windows = developerModeWindows();
    if (windows.size() != 1)
        return nullptr;
    QQuickView *view = windows.first();
    if (!QTest::qWaitForWindowExposed(view))
        return nullptr;
    return view;
}

void tst_DeveloperModeWindow::oneWindowForTwoRequests_data()
{
    // How the host publishes its engine: not at all, as a QQmlEngine*, as a
    // plain QObject*, or as something that is no engine.
    QTest::addColumn<int>("published");
    QTest::addColumn<bool>("hostEngine");
    QTest::newRow("private engine") << 0 << false;
    QTest::newRow("host engine") << 1 << true;
    QTest::newRow("host engine as QObject") << 2 << true;
    QTest::newRow("property of another type") << 3 << false;
}

void tst_DeveloperModeWindow::oneWindowForTwoRequests()
{
    QFETCH(int, published);
    QFETCH(bool, hostEngine);
    QQmlEngine engine;
    if (published == 1)
        qApp->setProperty(EngineProperty, QVariant::fromValue(&engine));
    else if (published == 2)
        qApp->setProperty(EngineProperty, QVariant::fromValue(static_cast<QObject *>(&engine)));
    else if (published == 3)
        qApp->setProperty(EngineProperty, QStringLiteral("engine"));

    QObject *devMode = enter();
    QVERIFY(devMode);
    QQuickView *view = show();
    QVERIFY(view);
    QCOMPARE(view->status(), QQuickView::Ready);
    QVERIFY2(view->errors().isEmpty(), qPrintable(view->errors().value(0).toString()));
    QCOMPARE(view->engine() == &engine, hostEngine);
    QCOMPARE(view->size(), QSize(600, 400));
    QCOMPARE(view->rootObject()->property("title").toString(), WindowTitle);
    QQuickItem *page = view->rootObject();

    QCOMPARE(view->source(), QUrl(QStringLiteral("qrc:/DeveloperMode/views/DeveloperModeView.qml")));
    QCOMPARE(view->resizeMode(), QQuickView::SizeRootObjectToView);

    // The second request changes nothing, even for a minimised window; a
    // request for another module (letter case counts) is not for us.
    view->showMinimized();
    m_controller->deliver(showParam());
    QVariantMap otherModule = showParam();
    otherModule.insert(QStringLiteral("module"), QStringLiteral("developermode"));
    m_controller->deliver(otherModule);
    QCOMPARE(developerModeWindows(), QList<QQuickView *>{view});
    QCOMPARE(view->rootObject(), page);
    QCOMPARE(view->windowState(), Qt::WindowMinimized);

    // Other QML on the host's engine sees the controller, also after the
    // window is gone; a private engine leaves the host's untouched.
    QQmlComponent reader(&engine);
    reader.setData("import QtQml 2.15\n"
                   "QtObject { property bool seen: typeof $developerModeController !== 'undefined' }",
                   QUrl());
    const auto seen = [&] {
        std::unique_ptr<QObject> object(reader.create());
        return object && object->property("seen").toBool();
    };
    QCOMPARE(seen(), hostEngine);
    if (hostEngine)
        QCOMPARE(engine.rootContext()
                         ->contextProperty(QStringLiteral("$developerModeController"))
                         .value<QObject *>(),
                 devMode);

    QPointer<QQuickView> closed = view;
    closeByFrame(view);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!closed);
    QCOMPARE(seen(), hostEngine);
}

void tst_DeveloperModeWindow::closeThenShowGivesNewPage()
{
    QQmlEngine engine;
    qApp->setProperty(EngineProperty, QVariant::fromValue(&engine));
    QObject *devMode = enter();
    QVERIFY(devMode);
    QPointer<QQuickView> first = show();
    QVERIFY(first);
    QPointer<QQuickItem> firstPage = first->rootObject();

    // The section's master is on (switched on if the database had it off),
    // then the section is opened by a click beside its switch.
    QQuickItem *master = item(first, "enableSaveReadImage");
    QVERIFY(master);
    QQuickItem *masterHeader = master->findChild<QQuickItem *>(QStringLiteral("header"));
    QVERIFY(masterHeader);
    if (!master->property("checked").toBool())
        click(first, masterHeader->findChild<QQuickItem *>(QStringLiteral("track")));
    QTRY_VERIFY(master->property("checked").toBool());
    click(first, masterHeader, QPointF(5, masterHeader->height() / 2));
    QQuickItem *children = master->findChild<QQuickItem *>(QStringLiteral("childColumn"));
    QVERIFY(children);
    QTRY_VERIFY(children->isVisible());

    closeByFrame(first);
    QVERIFY(first); // still inside its close event's aftermath until the loop runs
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!first);
    QVERIFY(!firstPage);
    QVERIFY(developerModeWindows().isEmpty());

    QQuickView *second = show();
    QVERIFY(second);
    QVERIFY(second->rootObject());
    // The setting lives in the controller; the opened section lived in the
    // page and is gone with it.
    QQuickItem *secondMaster = item(second, "enableSaveReadImage");
    QVERIFY(secondMaster);
    QVERIFY(secondMaster->property("checked").toBool());
    QVERIFY(!secondMaster->findChild<QQuickItem *>(QStringLiteral("childColumn"))->isVisible());
}

void tst_DeveloperModeWindow::switchClickWritesThrough()
{
    QVERIFY(enter());
    QQuickView *view = show();
    QVERIFY(view);
    QQuickItem *row = item(view, "enableSecondCameraWindow");
    QVERIFY(row);
    QVERIFY(!row->property("checked").toBool());
    const int before = m_controller->published().size();

    click(view, row->findChild<QQuickItem *>(QStringLiteral("track")));
    QCOMPARE(m_db->value(QStringLiteral("ui"), QStringLiteral("cameraVideo.E7.needRightCamera")),
             qMakePair(QVariant(QStringLiteral("true")), QStringLiteral("text")));
    const auto published = m_controller->published().mid(before);
    QCOMPARE(published.size(), 1);
    QCOMPARE(published.at(0).value(QStringLiteral("cmd")).toString(),
             QStringLiteral("developerModeSettingChanged"));
    QCOMPARE(published.at(0).value(QStringLiteral("changedKey")).toString(),
             QStringLiteral("enableSecondCameraWindow"));
    QVERIFY(row->property("checked").toBool());
}

void tst_DeveloperModeWindow::exitButtonLeavesDeveloperMode()
{
    QVERIFY(enter());
    QPointer<QQuickView> view = show();
    QVERIFY(view);
    QQuickItem *button = item(view, "quitButton");
    QVERIFY(button);
    QVERIFY(!button->isVisible());
    click(view, item(view, "tab1"));
    QTRY_VERIFY(button->isVisible());
    const int before = m_controller->published().size();

    click(view, button);
    const auto published = m_controller->published().mid(before);
    QCOMPARE(published.size(), 2);
    QCOMPARE(published.at(0).value(QStringLiteral("changedKey")).toString(), QStringLiteral("all"));
    QCOMPARE(published.at(1).value(QStringLiteral("cmd")).toString(),
             QStringLiteral("developerModeEnabledChanged"));
    QCOMPARE(published.at(1).value(QStringLiteral("enabled")), QVariant(false));
    // Restored as a boolean on leaving, where a change writes 0 or 1.
    QCOMPARE(m_db->value(QStringLiteral("calibration"), QStringLiteral("readPicMod")),
             qMakePair(QVariant(QStringLiteral("true")), QStringLiteral("text")));
    QCOMPARE(m_db->value(QStringLiteral("config"), QStringLiteral("developerModeEnabled")),
             qMakePair(QVariant(QStringLiteral("false")), QStringLiteral("text")));

    // The window goes with the controller, once the event loop runs.
    QTRY_VERIFY(!view);
    QVERIFY(!m_controller->child("DeveloperModeController"));
}

void tst_DeveloperModeWindow::foreignCloseEventPassedOn()
{
    QObject *devMode = enter();
    QVERIFY(devMode);
    QPointer<QQuickView> view = show();
    QVERIFY(view);

    QQuickView other;
    other.setTitle(QStringLiteral("other"));
    other.installEventFilter(devMode);
    other.show();
    QVERIFY(QTest::qWaitForWindowExposed(&other));

    QCloseEvent event;
    event.ignore();
    QCOMPARE(devMode->eventFilter(&other, &event), false);
    QCOMPARE(event.isAccepted(), false);

    closeByFrame(&other);
    QVERIFY(!other.isVisible());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(view);
    QVERIFY(view->isVisible());
    QCOMPARE(developerModeWindows(), QList<QQuickView *>{view.data()});
    other.removeEventFilter(devMode);
}

QTEST_MAIN(tst_DeveloperModeWindow)
#include "tst_developermodewindow.moc"
