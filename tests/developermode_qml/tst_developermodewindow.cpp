// The developer-mode window with the real plug-in and its real QML page from
// the plug-in's resources: one window per request, on the host's engine or a
// private one, a new page after a close by the window's frame, and gone with
// the developer mode.

#include "DeveloperModeFixture.h"

#include <QGuiApplication>
#include <QQmlContext>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QtTest>
#include <qpa/qwindowsysteminterface.h>

using namespace DevModeTest;

namespace {

const char EngineProperty[] = "__vora_MainQmlEngine__";

QList<QWindow *> developerModeWindows()
{
    QList<QWindow *> result;
    for (QWindow *window : QGuiApplication::topLevelWindows()) {
        if (window->title() == QStringLiteral("开发者模式"))
            result.append(window);
    }
    return result;
}

// The window system's close, as the frame's close button sends it.
void closeByFrame(QWindow *window)
{
    QWindowSystemInterface::handleCloseEvent<QWindowSystemInterface::SynchronousDelivery>(window);
}

} // namespace

class tst_DeveloperModeWindow : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        removeSnapshotDir();
        m_controller = std::make_unique<VoraTest::Controller>();
    }
    void cleanup()
    {
        m_controller.reset();
        qApp->setProperty(EngineProperty, QVariant());
    }

    void oneWindowForTwoRequests_data();
    void oneWindowForTwoRequests();
    void closeThenShowGivesNewPage();

private:
    // Its one window, opened and exposed.
    QQuickView *show()
    {
        m_controller->deliver({{"module", "DeveloperMode"}, {"cmd", "showDeveloperModeView"}});
        const auto windows = developerModeWindows();
        return windows.size() == 1 && QTest::qWaitForWindowExposed(windows.first())
                ? qobject_cast<QQuickView *>(windows.first())
                : nullptr;
    }

    VoraTest::TempDatabase m_db{schema()};
    std::unique_ptr<VoraTest::Controller> m_controller;
};

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
    const QVariant property[] = {QVariant(), QVariant::fromValue(&engine),
                                 QVariant::fromValue(static_cast<QObject *>(&engine)), QVariant("engine")};
    qApp->setProperty(EngineProperty, property[published]);
    QVERIFY(m_controller->waitUntilStarted());
    m_controller->deliver({{"cmd", "enableDeveloperMode"}, {"enabled", true}});
    QObject *devMode = m_controller->child("DeveloperModeController");
    QQuickView *view = show();
    QVERIFY(devMode && view);
    QVERIFY2(view->errors().isEmpty(), qPrintable(view->errors().value(0).toString()));
    QCOMPARE(view->engine() == &engine, hostEngine);
    QCOMPARE(view->size(), QSize(600, 400));
    QCOMPARE(view->source(), QUrl("qrc:/DeveloperMode/views/DeveloperModeView.qml"));
    QCOMPARE(view->resizeMode(), QQuickView::SizeRootObjectToView);
    // The second request changes nothing, even for a minimised window; a
    // request for another module (letter case counts) is not for us.
    QQuickItem *page = view->rootObject();
    view->showMinimized();
    m_controller->deliver({{"module", "DeveloperMode"}, {"cmd", "showDeveloperModeView"}});
    m_controller->deliver({{"module", "developermode"}, {"cmd", "showDeveloperModeView"}});
    QCOMPARE(developerModeWindows(), QList<QWindow *>{view});
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
    QObject *devMode = enterDeveloperMode(*m_controller);
    QPointer<QQuickView> first = show();
    QVERIFY(devMode && first);
    // Another window's close passes the controller's filter untouched.
    QQuickView other;
    other.installEventFilter(devMode);
    other.show();
    QCloseEvent event;
    event.ignore();
    QCOMPARE(devMode->eventFilter(&other, &event), false);
    QCOMPARE(event.isAccepted(), false);
    closeByFrame(&other);
    QVERIFY(!other.isVisible());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCOMPARE(developerModeWindows(), QList<QWindow *>{first.data()});

    // A section opened by a click beside its switch.
    const auto column = [](QQuickView *view) {
        return view->rootObject()->findChild<QQuickItem *>("childColumn");
    };
    QQuickItem *header = first->rootObject()->findChild<QQuickItem *>("header");
    QTest::mouseClick(first, Qt::LeftButton, {},
                      header->mapToScene(QPointF(5, header->height() / 2)).toPoint());
    QTRY_VERIFY(column(first)->isVisible());
    QPointer<QQuickItem> firstPage = first->rootObject();
    closeByFrame(first);
    QVERIFY(first); // still inside its close event's aftermath until the loop runs
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!first && !firstPage);
    QVERIFY(developerModeWindows().isEmpty());

    // A new page: the settings live in the controller, the open section
    // lived in the page and is gone with it.
    QPointer<QQuickView> second = show();
    QVERIFY(second);
    QVERIFY(second->rootObject()
                    ->findChild<QQuickItem *>("enableSaveReadImage")
                    ->property("checked")
                    .toBool());
    QVERIFY(!column(second)->isVisible());
    // The window goes with the developer mode, once the event loop runs.
    m_controller->deliver({{"cmd", "enableDeveloperMode"}, {"enabled", false}});
    QVERIFY(second);
    QTRY_VERIFY(!second);
}

QTEST_MAIN(tst_DeveloperModeWindow)
#include "tst_developermodewindow.moc"
