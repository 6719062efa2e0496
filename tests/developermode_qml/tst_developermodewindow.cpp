// The developer-mode window with the real plug-in and its real QML page from
// the plug-in's resources: one window per request, the host's engine or a
// private one, a new page after a close by the window's frame.

#include "DeveloperModeFixture.h"

#include <QGuiApplication>
#include <QPointer>
#include <QQmlContext>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QtTest>
#include <qpa/qwindowsysteminterface.h>

#include <memory>

using namespace DevModeTest;

namespace {

const char EngineProperty[] = "__vora_MainQmlEngine__";
const QString WindowTitle = QStringLiteral("开发者模式");
const QVariantMap ShowView{{"module", "DeveloperMode"}, {"cmd", "showDeveloperModeView"}};

QList<QQuickView *> developerModeWindows()
{
    QList<QQuickView *> result;
    for (QWindow *window : QGuiApplication::topLevelWindows()) {
        if (window->title() == WindowTitle && qobject_cast<QQuickView *>(window))
            result.append(static_cast<QQuickView *>(window));
    }
    return result;
}

// Closes the window as its frame's close button does.
void closeByFrame(QWindow *window)
{
    QWindowSystemInterface::handleCloseEvent<QWindowSystemInterface::SynchronousDelivery>(window);
}

QQuickItem *item(QQuickView *view, const char *objectName, QQuickItem *in = nullptr)
{
    in = in ? in : view->rootObject();
    return in ? in->findChild<QQuickItem *>(QLatin1String(objectName)) : nullptr;
}

// A left click on target (in its middle by default), delivered to its window.
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

private:
    // Enters the developer mode and opens its one window.
    QQuickView *show()
    {
        m_controller->deliver(ShowView);
        const auto windows = developerModeWindows();
        return windows.size() == 1 && QTest::qWaitForWindowExposed(windows.first()) ? windows.first()
                                                                                    : nullptr;
    }

    std::unique_ptr<VoraTest::TempDatabase> m_db;
    std::unique_ptr<VoraTest::Controller> m_controller;
};

void tst_DeveloperModeWindow::init()
{
    removeSnapshotDir();
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
    removeSnapshotDir();
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

    QVERIFY(m_controller->waitUntilStarted());
    m_controller->deliver({{"cmd", "enableDeveloperMode"}, {"enabled", true}});
    QObject *devMode = m_controller->child("DeveloperModeController");
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
    m_controller->deliver(ShowView);
    QVariantMap otherModule = ShowView;
    otherModule.insert("module", "developermode");
    m_controller->deliver(otherModule);
    QCOMPARE(developerModeWindows(), QList<QQuickView *>{view});
    QCOMPARE(view->rootObject(), page);
    QCOMPARE(view->windowState(), Qt::WindowMinimized);

    // QML on the host's engine sees the controller, also after the window is
    // gone; a private engine leaves the host's untouched.
    const auto seen = [&] {
        return engine.rootContext()->contextProperty("$developerModeController").value<QObject *>();
    };
    QCOMPARE(seen(), hostEngine ? devMode : nullptr);
    QPointer<QQuickView> closed = view;
    closeByFrame(view);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!closed);
    QCOMPARE(seen(), hostEngine ? devMode : nullptr);
}

void tst_DeveloperModeWindow::closeThenShowGivesNewPage()
{
    QQmlEngine engine;
    qApp->setProperty(EngineProperty, QVariant::fromValue(&engine));
    QObject *devMode = enterDeveloperMode(*m_controller);
    QVERIFY(devMode);
    QPointer<QQuickView> first = show();
    QVERIFY(first);
    QPointer<QQuickItem> firstPage = first->rootObject();

    // Another window's close passes the controller's filter untouched.
    QQuickView other;
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
    QVERIFY(first && first->isVisible());
    QCOMPARE(developerModeWindows(), QList<QQuickView *>{first.data()});

    // The section's master is on; the section is opened by a click beside
    // its switch.
    QQuickItem *master = item(first, "enableSaveReadImage");
    QVERIFY(master && master->property("checked").toBool());
    QQuickItem *header = item(first, "header", master);
    click(first, header, QPointF(5, header->height() / 2));
    QTRY_VERIFY(item(first, "childColumn", master)->isVisible());

    closeByFrame(first);
    QVERIFY(first); // still inside its close event's aftermath until the loop runs
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!first);
    QVERIFY(!firstPage);
    QVERIFY(developerModeWindows().isEmpty());

    QPointer<QQuickView> second = show();
    QVERIFY(second);
    // The setting lives in the controller; the opened section lived in the
    // page and is gone with it.
    master = item(second, "enableSaveReadImage");
    QVERIFY(master && master->property("checked").toBool());
    QVERIFY(!item(second, "childColumn", master)->isVisible());

    // The window goes with the developer mode, once the event loop runs.
    m_controller->deliver({{"cmd", "enableDeveloperMode"}, {"enabled", false}});
    QVERIFY(second);
    QTRY_VERIFY(!second);
}

QTEST_MAIN(tst_DeveloperModeWindow)
#include "tst_developermodewindow.moc"
