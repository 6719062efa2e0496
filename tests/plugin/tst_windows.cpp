// The plug-in's two windows, with the real plug-in and its pages from its
// resources, closed by their frame with a close event delivered the way the
// window system delivers it. The developer-mode window: one per request, on
// the host's engine or a private one, a new page after a close, gone with the
// developer mode. The config editor: opened by "showConfigEditor" on an
// engine set up like the host's, and closed by its frame or by its owner.

#include "AppStandIn.h"
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

// The visible top-level windows with that title.
QList<QQuickView *> windows(const char *title)
{
    QList<QQuickView *> found;
    for (QWindow *window : QGuiApplication::topLevelWindows()) {
        if (window->title() == QString::fromUtf8(title) && window->isVisible())
            found << qobject_cast<QQuickView *>(window);
    }
    return found;
}
const char DeveloperMode[] = "开发者模式", Editor[] = "配置工具";

QVariantMap showEditor(bool visible)
{
    return {{"cmd", "showConfigEditor"}, {"visible", visible}};
}

// The window system's close, delivered before this call returns.
void closeByFrame(QWindow *window)
{
    QWindowSystemInterface::handleCloseEvent<QWindowSystemInterface::SynchronousDelivery>(window);
}

} // namespace

class tst_Windows : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        m_engine.addImportPath(QStringLiteral(VORA_SOURCE_DIR "/tests/common/imports"));
        m_engine.rootContext()->setContextProperty(QStringLiteral("$app"), &m_app);
    }
    void init()
    {
        removeSnapshotDir();
        qApp->setProperty(EngineProperty, QVariant::fromValue<QQmlEngine *>(&m_engine));
        m_app.clear();
        m_controller = std::make_unique<VoraTest::Controller>();
        QVERIFY(m_controller->waitUntilStarted());
    }
    void cleanup()
    {
        m_controller.reset();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(windows(DeveloperMode).isEmpty() && windows(Editor).isEmpty());
    }

    void oneDeveloperModeWindowForTwoRequests_data()
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
    void oneDeveloperModeWindowForTwoRequests()
    {
        QFETCH(int, published);
        QFETCH(bool, hostEngine);
        QQmlEngine engine;
        const QVariant property[] = {QVariant(), QVariant::fromValue(&engine),
                                     QVariant::fromValue(static_cast<QObject *>(&engine)),
                                     QVariant("engine")};
        qApp->setProperty(EngineProperty, property[published]);
        m_controller->deliver({{"cmd", "enableDeveloperMode"}, {"enabled", true}});
        QObject *devMode = m_controller->child("DeveloperModeController");
        QQuickView *view = showDeveloperMode();
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
        QCOMPARE(windows(DeveloperMode), QList<QQuickView *>{view});
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
    void developerModeWindowClosedThenShownGivesNewPage()
    {
        QObject *devMode = enterDeveloperMode(*m_controller);
        QPointer<QQuickView> first = showDeveloperMode();
        QVERIFY(devMode && first);
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

        // A new page: the settings live in the controller, the open section
        // lived in the page and is gone with it.
        QPointer<QQuickView> second = showDeveloperMode();
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
    void editorOpenedClosedByFrameAndReopened()
    {
        QPointer<QQuickView> view = show(showEditor(true), Editor);
        QPointer<QObject> editor = m_controller->child("ConfigEditorController");
        // Shown by the construction alone, on the host's engine.
        QVERIFY(view && editor);
        QCOMPARE(view->engine(), &m_engine);
        QCOMPARE(view->resizeMode(), QQuickView::SizeRootObjectToView);
        QCOMPARE(view->source(), QUrl("qrc:/ConfigEditor/views/VoraTableView.qml"));
        QVERIFY2(view->errors().isEmpty(), qPrintable(view->errors().value(0).toString()));
        QCOMPARE(m_app.root(), view->rootObject());
        QCOMPARE(m_engine.rootContext()->contextProperty("$configEditorController").value<QObject *>(),
                 editor.data());
        // Messages handed on to the editor change nothing: the page hears only
        // what "$app" delivers.
        QTRY_COMPARE(m_app.publishedCount(), 1);
        m_controller->deliver({{"cmd", "dataBaseResponseCmd"}, {"dataBaseResponse", "scan#a#1#x"}});
        QCoreApplication::processEvents();
        QCOMPARE(view->rootObject()
                         ->property("sqlModelCore")
                         .value<QObject *>()
                         ->property("sqlData")
                         .value<QObject *>()
                         ->property("count"),
                 0);
        QCOMPARE(m_app.publishedCount(), 1);

        // Closed by its frame: editor and view gone before the close returns;
        // the memory of the view is freed on the next turn of the event loop,
        // after the toolkit has finished delivering the close event to it.
        closeByFrame(view);
        QVERIFY(!editor);
        QVERIFY(windows(Editor).isEmpty());
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(!view);

        // Opened again: a new editor with a new window and page.
        view = show(showEditor(true), Editor);
        editor = m_controller->child("ConfigEditorController");
        QVERIFY(view && editor);
        QCOMPARE(m_app.root(), view->rootObject());
        closeByFrame(view);
        QVERIFY(!editor);
        // Neither the closes nor the messages reach the bus.
        QVERIFY(m_controller->published().isEmpty());
    }
    // Unwired from its owner, the editor only says what it wants: exactly one
    // "showConfigEditor" false per close, and the window hides.
    void editorClosedByFrameAsksToBeClosed()
    {
        QPointer<QQuickView> view = show(showEditor(true), Editor);
        QPointer<QObject> editor = m_controller->child("ConfigEditorController");
        QVERIFY(view && editor);
        QVERIFY(QObject::disconnect(editor, SIGNAL(publish(QVariantMap)), m_controller->object(), nullptr));
        QSignalSpy publishSpy(editor.data(), SIGNAL(publish(QVariantMap)));
        closeByFrame(view);
        QCOMPARE(publishSpy.count(), 1);
        QCOMPARE(publishSpy.first().first().toMap(), showEditor(false));
        QCOMPARE(publishSpy.first().first().toMap().value("visible").userType(), int(QMetaType::Bool));
        QVERIFY(editor && view && !view->isVisible());
        m_controller->deliver(showEditor(false));
        QVERIFY(!editor && !view);
    }
    void editorClosedFromOutsideAtOnce_data()
    {
        QTest::addColumn<bool>("destroyOwner");
        QTest::newRow("showConfigEditor false") << false;
        QTest::newRow("owner destroyed") << true;
    }
    void editorClosedFromOutsideAtOnce()
    {
        QFETCH(bool, destroyOwner);
        QPointer<QQuickView> view = show(showEditor(true), Editor);
        QPointer<QObject> editor = m_controller->child("ConfigEditorController");
        QVERIFY(view);
        QSignalSpy visibleSpy(view.data(), &QWindow::visibleChanged);
        if (destroyOwner)
            m_controller.reset();
        else
            m_controller->deliver(showEditor(false));
        // Not deferred: gone before the call returns, hidden before it went.
        QVERIFY(!editor && !view);
        QCOMPARE(visibleSpy.count(), 1);
        QCOMPARE(visibleSpy.first().first().toBool(), false);
    }
    void editorWithoutHostEngineStillOpens()
    {
        qApp->setProperty(EngineProperty, QVariant());
        QPointer<QQuickView> view = show(showEditor(true), Editor);
        QVERIFY(view);
        QVERIFY(view->engine() != &m_engine);
        // No "$app" and no VoraDesign on a private engine: the page cannot load.
        QVERIFY(!view->rootObject());
        QVERIFY(!view->errors().isEmpty());
        closeByFrame(view);
        QVERIFY(!m_controller->child("ConfigEditorController"));
    }

private:
    // The one window of that title after a request, exposed.
    QQuickView *show(const QVariantMap &request, const char *title)
    {
        m_controller->deliver(request);
        const auto found = windows(title);
        return found.size() == 1 && QTest::qWaitForWindowExposed(found.first(), VoraTest::PatienceMs)
                ? found.first()
                : nullptr;
    }
    QQuickView *showDeveloperMode()
    {
        return show({{"module", "DeveloperMode"}, {"cmd", "showDeveloperModeView"}}, DeveloperMode);
    }

    VoraTest::TempDatabase m_db{schema()};
    AppStandIn m_app;
    QQmlEngine m_engine;
    std::unique_ptr<VoraTest::Controller> m_controller;
};

QTEST_MAIN(tst_Windows)
#include "tst_windows.moc"
