#include "WindowDriver.h"

#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImage>
#include <QPixmap>
#include <QQmlContext>
#include <QQmlEngine>
#include <QQmlExpression>
#include <QQuickItem>
#include <QQuickView>
#include <QQuickWindow>
#include <QSaveFile>
#include <QScreen>
#include <qpa/qwindowsysteminterface.h>

#include <condition_variable>
#include <mutex>
#include <thread>

namespace WindowDriver {

namespace {

QObject *rootOf(QQuickWindow *window)
{
    if (auto *view = qobject_cast<QQuickView *>(window))
        return view->rootObject();
    // A window made from QML (Window, ApplicationWindow) is its own root.
    return window;
}

} // namespace

QQuickWindow *find(const QString &title)
{
    const auto windows = QGuiApplication::topLevelWindows();
    for (QWindow *window : windows) {
        auto *quick = qobject_cast<QQuickWindow *>(window);
        if (quick && quick->isVisible() && quick->title() == title)
            return quick;
    }
    return nullptr;
}

void click(QQuickWindow *window, double x, double y)
{
    using Wsi = QWindowSystemInterface;
    const QPointF local(x, y);
    const QPointF global = window->mapToGlobal(local.toPoint());
    Wsi::handleMouseEvent<Wsi::SynchronousDelivery>(window, local, global, Qt::NoButton, Qt::NoButton,
                                                    QEvent::MouseMove);
    Wsi::handleMouseEvent<Wsi::SynchronousDelivery>(window, local, global, Qt::LeftButton, Qt::LeftButton,
                                                    QEvent::MouseButtonPress);
    Wsi::handleMouseEvent<Wsi::SynchronousDelivery>(window, local, global, Qt::NoButton, Qt::LeftButton,
                                                    QEvent::MouseButtonRelease);
}

void close(QQuickWindow *window)
{
    QWindowSystemInterface::handleCloseEvent<QWindowSystemInterface::SynchronousDelivery>(window);
}

bool screenshot(QQuickWindow *window, const QString &file, QString *error)
{
    QImage image = window->grabWindow();
    // The software scene graph cannot grab on some platforms (offscreen); its
    // frames are in the window's backing store, which the screen can read.
    if (image.isNull() && window->screen())
        image = window->screen()->grabWindow(window->winId()).toImage();
    if (image.isNull()) {
        *error = QStringLiteral("could not grab the window");
        return false;
    }
    const QFileInfo info(file);
    if (!QDir().mkpath(info.absolutePath())) {
        *error = QStringLiteral("cannot create the folder %1").arg(info.absolutePath());
        return false;
    }
    QSaveFile out(info.absoluteFilePath());
    if (!out.open(QIODevice::WriteOnly)) {
        *error = out.errorString();
        return false;
    }
    if (!image.save(&out, "PNG")) {
        out.cancelWriting();
        *error = QStringLiteral("could not encode the PNG");
        return false;
    }
    if (!out.commit()) {
        *error = out.errorString();
        return false;
    }
    return true;
}

QVariant evaluate(QQuickWindow *window, const QString &expression, int timeLimitMs, QString *error)
{
    QObject *root = rootOf(window);
    QQmlContext *context = root ? QQmlEngine::contextForObject(root) : nullptr;
    if (!context) {
        *error = QStringLiteral("the window has no QML root item");
        return QVariant();
    }
    QQmlExpression js(context, root, expression);
    bool undefined = false;

    // The engine runs on this thread; a watchdog interrupts it from another.
    QJSEngine *engine = context->engine();
    std::mutex mutex;
    std::condition_variable finished;
    bool done = false;
    bool interrupted = false;
    std::thread watchdog([&] {
        std::unique_lock<std::mutex> lock(mutex);
        if (!finished.wait_for(lock, std::chrono::milliseconds(timeLimitMs), [&] { return done; })) {
            interrupted = true;
            engine->setInterrupted(true);
        }
    });
    const QVariant result = js.evaluate(&undefined);
    {
        std::lock_guard<std::mutex> lock(mutex);
        done = true;
    }
    finished.notify_one();
    watchdog.join();
    if (interrupted) {
        engine->setInterrupted(false);
        *error = QStringLiteral("the JavaScript ran longer than %1 ms and was stopped").arg(timeLimitMs);
        return QVariant();
    }
    if (js.hasError()) {
        *error = js.error().description();
        return QVariant();
    }
    return undefined ? QVariant() : result;
}

} // namespace WindowDriver
