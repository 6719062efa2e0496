// The config editor window with the real plug-in on an engine set up like the
// host's: opened by "showConfigEditor", closed by its frame with a close event
// delivered the way the window system delivers it, and closed by its owner.

#include "AppStandIn.h"
#include "LogCollector.h"
#include "PluginHarness.h"

#include <QGuiApplication>
#include <QPointer>
#include <QQmlContext>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QtTest>
#include <qpa/qwindowsysteminterface.h>

namespace {

const QString kTitle = QStringLiteral("配置工具");

QQuickView *visibleEditorWindow()
{
    QQuickView *found = nullptr;
    const auto windows = QGuiApplication::topLevelWindows();
    for (QWindow *window : windows) {
        if (window->title() == kTitle && window->isVisible()) {
            if (found)
                return nullptr; // one editor per process
            found = qobject_cast<QQuickView *>(window);
        }
    }
    return found;
}

QVariantMap showEditor(bool visible)
{
    return {{QStringLiteral("cmd"), QStringLiteral("showConfigEditor")},
            {QStringLiteral("visible"), visible}};
}

} // namespace

class tst_ConfigEditorWindow : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void cleanupTestCase();

    void openShowsThePageOnTheHostEngine();
    void closeByFrameAsksToBeClosed();
    void closeByFrameDestroysEditorAndView();
    void reopenAfterFrameClose();
    void closeFromTheBusDeletesWindowAtOnce_data();
    void closeFromTheBusDeletesWindowAtOnce();
    void messagesToTheEditorChangeNothing();
    void withoutHostEngineTheWindowStillOpens();

private:
    // Delivers "showConfigEditor" true until the controller has run its
    // start-up (10 ms after creation) and made the editor.
    QObject *openEditor(VoraTest::Controller &controller);

    std::unique_ptr<VoraTest::LogCollector> m_log;
    std::unique_ptr<VoraTest::TempDatabase> m_db;
    std::unique_ptr<AppStandIn> m_app;
    std::unique_ptr<QQmlEngine> m_engine;
};

void tst_ConfigEditorWindow::initTestCase()
{
    m_log = std::make_unique<VoraTest::LogCollector>();
    m_db = std::make_unique<VoraTest::TempDatabase>(VoraTest::TempDatabase::tableSql({"config", "scan"}));
    QVERIFY2(m_db->isValid(), qPrintable(m_db->errorString()));
    m_app = std::make_unique<AppStandIn>();
    m_engine = std::make_unique<QQmlEngine>();
    m_engine->addImportPath(QStringLiteral(VORA_SOURCE_DIR "/tests/configeditor/imports"));
    m_engine->rootContext()->setContextProperty(QStringLiteral("$app"), m_app.get());
}

void tst_ConfigEditorWindow::init()
{
    qApp->setProperty("__vora_MainQmlEngine__", QVariant::fromValue<QQmlEngine *>(m_engine.get()));
    m_app->clear();
    m_log->clear();
}

void tst_ConfigEditorWindow::cleanup()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!visibleEditorWindow());
}

void tst_ConfigEditorWindow::cleanupTestCase()
{
    qApp->setProperty("__vora_MainQmlEngine__", QVariant());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    m_engine.reset();
    m_app.reset();
    m_db.reset();
}

QObject *tst_ConfigEditorWindow::openEditor(VoraTest::Controller &controller)
{
    QTest::qWaitFor(
            [&controller] {
                controller.deliver(showEditor(true));
                return controller.child("ConfigEditorController") != nullptr;
            },
            2000);
    return controller.child("ConfigEditorController");
}

void tst_ConfigEditorWindow::openShowsThePageOnTheHostEngine()
{
    VoraTest::Controller controller;
    QVERIFY2(controller.isValid(), qPrintable(controller.errorString()));
    QVERIFY(openEditor(controller));

    // Shown by the construction alone.
    QQuickView *view = visibleEditorWindow();
    QVERIFY(view);
    QVERIFY(QTest::qWaitForWindowExposed(view));
    QCOMPARE(view->engine(), m_engine.get());
    QCOMPARE(view->resizeMode(), QQuickView::SizeRootObjectToView);
    QCOMPARE(view->source(), QUrl("qrc:/ConfigEditor/views/VoraTableView.qml"));
    QVERIFY2(view->errors().isEmpty(), qPrintable(view->errors().value(0).toString()));
    QQuickItem *page = view->rootObject();
    QVERIFY(page);
    QCOMPARE(page->objectName(), QStringLiteral("realTimeSetUp"));
    QCOMPARE(m_app->root(), page);
    QCOMPARE(m_engine->rootContext()->contextProperty("$configEditorController").value<QObject *>(),
             controller.child("ConfigEditorController"));
    // The page lists every table through "$app", not through the plug-in.
    QTRY_COMPARE(m_app->publishedCount(), 1);
    QCOMPARE(m_app->params().first().toMap().value("param").toString(),
             QStringLiteral("select * from $table$"));
    QVERIFY(controller.published().isEmpty());
}

void tst_ConfigEditorWindow::closeByFrameDestroysEditorAndView()
{
    VoraTest::Controller controller;
    QVERIFY2(controller.isValid(), qPrintable(controller.errorString()));
    QPointer<QObject> editor = openEditor(controller);
    QVERIFY(editor);
    QPointer<QQuickView> view = visibleEditorWindow();
    QVERIFY(view);
    QVERIFY(QTest::qWaitForWindowExposed(view));

    // The window system's close, delivered before this call returns.
    QWindowSystemInterface::handleCloseEvent<QWindowSystemInterface::SynchronousDelivery>(view);

    QVERIFY(!editor);
    QVERIFY(!controller.child("ConfigEditorController"));
    // Hidden at once; its memory is freed on the next turn of the event loop,
    // after the toolkit has finished delivering the close event to it.
    QVERIFY(!visibleEditorWindow());
    QVERIFY(!view || !view->isVisible());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!view);
    // The close never reaches the bus.
    QVERIFY(controller.published().isEmpty());
}

// Unwired from its owner, the editor only says what it wants: exactly one
// "showConfigEditor" false per close, and the window hides.
void tst_ConfigEditorWindow::closeByFrameAsksToBeClosed()
{
    VoraTest::Controller controller;
    QVERIFY2(controller.isValid(), qPrintable(controller.errorString()));
    QPointer<QObject> editor = openEditor(controller);
    QVERIFY(editor);
    QVERIFY(QObject::disconnect(editor, SIGNAL(publish(QVariantMap)), controller.object(), nullptr));
    QSignalSpy publishSpy(editor.data(), SIGNAL(publish(QVariantMap)));
    QPointer<QQuickView> view = visibleEditorWindow();
    QVERIFY(QTest::qWaitForWindowExposed(view));

    QWindowSystemInterface::handleCloseEvent<QWindowSystemInterface::SynchronousDelivery>(view);

    QCOMPARE(publishSpy.count(), 1);
    const QVariantMap sent = publishSpy.first().first().toMap();
    QCOMPARE(sent, showEditor(false));
    QCOMPARE(sent.value("visible").userType(), int(QMetaType::Bool));
    QVERIFY(editor);
    QVERIFY(view);
    QVERIFY(!view->isVisible());
    QVERIFY(controller.published().isEmpty());
    controller.deliver(showEditor(false));
    QVERIFY(!editor);
    QVERIFY(!view);
}

void tst_ConfigEditorWindow::reopenAfterFrameClose()
{
    VoraTest::Controller controller;
    QVERIFY2(controller.isValid(), qPrintable(controller.errorString()));
    QVERIFY(openEditor(controller));
    controller.deliver(showEditor(true));
    QCOMPARE(m_log->withText(QStringLiteral("show config editor")).size(), 1);
    QPointer<QQuickView> first = visibleEditorWindow();
    QVERIFY(first);
    QVERIFY(QTest::qWaitForWindowExposed(first));

    QWindowSystemInterface::handleCloseEvent<QWindowSystemInterface::SynchronousDelivery>(first);
    QVERIFY(!controller.child("ConfigEditorController"));

    controller.deliver(showEditor(true));
    QPointer<QObject> second = controller.child("ConfigEditorController");
    QVERIFY(second);
    QCOMPARE(m_log->withText(QStringLiteral("show config editor")).size(), 2);
    QQuickView *view = visibleEditorWindow();
    QVERIFY(view);
    QVERIFY(view != first.data());
    QVERIFY(QTest::qWaitForWindowExposed(view));
    QVERIFY(view->rootObject());
    QCOMPARE(m_app->root(), view->rootObject());
    // Closing the new one works the same way.
    QWindowSystemInterface::handleCloseEvent<QWindowSystemInterface::SynchronousDelivery>(view);
    QVERIFY(!second);
}

void tst_ConfigEditorWindow::closeFromTheBusDeletesWindowAtOnce_data()
{
    QTest::addColumn<bool>("destroyOwner");
    QTest::newRow("showConfigEditor false") << false;
    QTest::newRow("owner destroyed") << true;
}

void tst_ConfigEditorWindow::closeFromTheBusDeletesWindowAtOnce()
{
    QFETCH(bool, destroyOwner);
    auto controller = std::make_unique<VoraTest::Controller>();
    QVERIFY2(controller->isValid(), qPrintable(controller->errorString()));
    QPointer<QObject> editor = openEditor(*controller);
    QPointer<QQuickView> view = visibleEditorWindow();
    QVERIFY(view);
    QVERIFY(QTest::qWaitForWindowExposed(view));

    QSignalSpy visibleSpy(view.data(), &QWindow::visibleChanged);
    if (destroyOwner)
        controller.reset();
    else
        controller->deliver(showEditor(false));
    // Not deferred: gone before the call returns, hidden before it went.
    QVERIFY(!editor);
    QVERIFY(!view);
    QCOMPARE(visibleSpy.count(), 1);
    QCOMPARE(visibleSpy.first().first().toBool(), false);
    QVERIFY(!visibleEditorWindow());
}

void tst_ConfigEditorWindow::messagesToTheEditorChangeNothing()
{
    VoraTest::Controller controller;
    QVERIFY2(controller.isValid(), qPrintable(controller.errorString()));
    QPointer<QObject> editor = openEditor(controller);
    QQuickView *view = visibleEditorWindow();
    QVERIFY(view);
    QTRY_COMPARE(m_app->publishedCount(), 1);
    QObject *model = view->rootObject()->property("sqlModelCore").value<QObject *>();
    QVERIFY(model);

    // Handed on by the controller to the editor, which ignores them: the
    // page hears only what "$app" delivers.
    controller.deliver({{"cmd", "dataBaseResponseCmd"}, {"dataBaseResponse", "scan#a#1#x"}});
    controller.deliver({{"module", "ConfigEditor"}, {"cmd", "showConfigEditor2"}});
    QCoreApplication::processEvents();
    QVERIFY(editor);
    QCOMPARE(visibleEditorWindow(), view);
    QObject *rows = model->property("sqlData").value<QObject *>();
    QVERIFY(rows);
    QCOMPARE(rows->property("count").toInt(), 0);
    QCOMPARE(m_app->publishedCount(), 1);
    QVERIFY(controller.published().isEmpty());
    m_app->respond("scan#a#1#x");
    QCOMPARE(rows->property("count").toInt(), 1);
}

void tst_ConfigEditorWindow::withoutHostEngineTheWindowStillOpens()
{
    qApp->setProperty("__vora_MainQmlEngine__", QVariant());
    VoraTest::Controller controller;
    QVERIFY2(controller.isValid(), qPrintable(controller.errorString()));
    QPointer<QObject> editor = openEditor(controller);
    QQuickView *view = visibleEditorWindow();
    QVERIFY(view);
    QVERIFY(view->engine() != m_engine.get());
    // No "$app" and no VoraDesign on a private engine: the page cannot load.
    QVERIFY(!view->rootObject());
    QVERIFY(!view->errors().isEmpty());
    QWindowSystemInterface::handleCloseEvent<QWindowSystemInterface::SynchronousDelivery>(view);
    QVERIFY(!editor);
}

QTEST_MAIN(tst_ConfigEditorWindow)
#include "tst_configeditorwindow.moc"
