// The config editor window with the real plug-in on an engine set up like the
// host's: opened by "showConfigEditor", closed by its frame with a close event
// delivered the way the window system delivers it, and closed by its owner.

#include "AppStandIn.h"
#include "PluginHarness.h"

#include <QGuiApplication>
#include <QQmlContext>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QtTest>
#include <qpa/qwindowsysteminterface.h>

namespace {

// The one visible editor window of the process; null for none or several.
QQuickView *editorWindow()
{
    QList<QWindow *> found;
    for (QWindow *window : QGuiApplication::topLevelWindows())
        found << (window->title() == QStringLiteral("配置工具") && window->isVisible() ? window : nullptr);
    found.removeAll(nullptr);
    return found.size() == 1 ? qobject_cast<QQuickView *>(found.first()) : nullptr;
}

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

class tst_ConfigEditorWindow : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        m_engine.addImportPath(QStringLiteral(VORA_SOURCE_DIR "/tests/configeditor/imports"));
        m_engine.rootContext()->setContextProperty(QStringLiteral("$app"), &m_app);
    }
    void init()
    {
        qApp->setProperty("__vora_MainQmlEngine__", QVariant::fromValue<QQmlEngine *>(&m_engine));
        m_app.clear();
    }
    void cleanup()
    {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(!editorWindow());
    }

    void openCloseByFrameAndReopen();
    void closeByFrameAsksToBeClosed();
    void closeFromOutsideDeletesWindowAtOnce_data();
    void closeFromOutsideDeletesWindowAtOnce();
    void withoutHostEngineTheWindowStillOpens();

private:
    // Makes the editor through a started controller; its window, exposed.
    QQuickView *open(VoraTest::Controller &controller, QPointer<QObject> *editor)
    {
        if (!controller.waitUntilStarted())
            return nullptr;
        controller.deliver(showEditor(true));
        *editor = controller.child("ConfigEditorController");
        QQuickView *view = editorWindow();
        return view && QTest::qWaitForWindowExposed(view) ? view : nullptr;
    }

    VoraTest::TempDatabase m_db{VoraTest::TempDatabase::tableSql({"config", "scan"})};
    AppStandIn m_app;
    QQmlEngine m_engine;
};

void tst_ConfigEditorWindow::openCloseByFrameAndReopen()
{
    VoraTest::Controller controller;
    QPointer<QObject> editor;
    QPointer<QQuickView> view = open(controller, &editor);
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
    QObject *rows = view->rootObject()
                            ->property("sqlModelCore")
                            .value<QObject *>()
                            ->property("sqlData")
                            .value<QObject *>();
    controller.deliver({{"cmd", "dataBaseResponseCmd"}, {"dataBaseResponse", "scan#a#1#x"}});
    QCoreApplication::processEvents();
    QCOMPARE(editorWindow(), view.data());
    QCOMPARE(rows->property("count").toInt(), 0);
    QCOMPARE(m_app.publishedCount(), 1);

    // Closed by its frame: editor and view gone before the close returns;
    // the memory of the view is freed on the next turn of the event loop,
    // after the toolkit has finished delivering the close event to it.
    closeByFrame(view);
    QVERIFY(!editor);
    QVERIFY(!editorWindow());
    QVERIFY(!view || !view->isVisible());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!view);

    // Opened again: a new editor with a new window and page.
    view = open(controller, &editor);
    QVERIFY(view && editor);
    QCOMPARE(m_app.root(), view->rootObject());
    closeByFrame(view);
    QVERIFY(!editor);
    // Neither the closes nor the messages reach the bus.
    QVERIFY(controller.published().isEmpty());
}

// Unwired from its owner, the editor only says what it wants: exactly one
// "showConfigEditor" false per close, and the window hides.
void tst_ConfigEditorWindow::closeByFrameAsksToBeClosed()
{
    VoraTest::Controller controller;
    QPointer<QObject> editor;
    QPointer<QQuickView> view = open(controller, &editor);
    QVERIFY(view && editor);
    QVERIFY(QObject::disconnect(editor, SIGNAL(publish(QVariantMap)), controller.object(), nullptr));
    QSignalSpy publishSpy(editor.data(), SIGNAL(publish(QVariantMap)));
    closeByFrame(view);
    QCOMPARE(publishSpy.count(), 1);
    QCOMPARE(publishSpy.first().first().toMap(), showEditor(false));
    QCOMPARE(publishSpy.first().first().toMap().value("visible").userType(), int(QMetaType::Bool));
    QVERIFY(editor && view && !view->isVisible());
    controller.deliver(showEditor(false));
    QVERIFY(!editor && !view);
}

void tst_ConfigEditorWindow::closeFromOutsideDeletesWindowAtOnce_data()
{
    QTest::addColumn<bool>("destroyOwner");
    QTest::newRow("showConfigEditor false") << false;
    QTest::newRow("owner destroyed") << true;
}

void tst_ConfigEditorWindow::closeFromOutsideDeletesWindowAtOnce()
{
    QFETCH(bool, destroyOwner);
    auto controller = std::make_unique<VoraTest::Controller>();
    QPointer<QObject> editor;
    QPointer<QQuickView> view = open(*controller, &editor);
    QVERIFY(view);
    QSignalSpy visibleSpy(view.data(), &QWindow::visibleChanged);
    if (destroyOwner)
        controller.reset();
    else
        controller->deliver(showEditor(false));
    // Not deferred: gone before the call returns, hidden before it went.
    QVERIFY(!editor && !view);
    QCOMPARE(visibleSpy.count(), 1);
    QCOMPARE(visibleSpy.first().first().toBool(), false);
}

void tst_ConfigEditorWindow::withoutHostEngineTheWindowStillOpens()
{
    qApp->setProperty("__vora_MainQmlEngine__", QVariant());
    VoraTest::Controller controller;
    QPointer<QObject> editor;
    QPointer<QQuickView> view = open(controller, &editor);
    QVERIFY(view);
    QVERIFY(view->engine() != &m_engine);
    // No "$app" and no VoraDesign on a private engine: the page cannot load.
    QVERIFY(!view->rootObject());
    QVERIFY(!view->errors().isEmpty());
    closeByFrame(view);
    QVERIFY(!editor);
}

QTEST_MAIN(tst_ConfigEditorWindow)
#include "tst_configeditorwindow.moc"
