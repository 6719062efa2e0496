#pragma once

// Timing of a window from the call that opens it to its first frame on
// screen, shared by the developer-mode page benchmarks.

#include "Median.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QQuickView>
#include <QTest>

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <vector>

namespace FirstFrame {

using Bench::median;

// Milliseconds from calling open (which shows a window and returns it) to
// that window's first swapped frame; -1 if none came within ten seconds.
// openedMs, when given, receives the milliseconds until open returned: the
// page made and the window shown, before anything is drawn.
// frameSwapped comes from the render thread with the threaded render loop,
// hence the atomic and the direct connection. The window cannot draw before
// the event loop runs again, so connecting after open returns misses nothing.
inline double measure(const std::function<QQuickView *()> &open, double *openedMs = nullptr)
{
    // Shared with the connection, which may still fire after this returns.
    struct State
    {
        QElapsedTimer timer;
        std::atomic<qint64> swapped{-1};
    };
    const auto state = std::make_shared<State>();
    state->timer.start();
    QQuickView *view = open();
    if (openedMs)
        *openedMs = state->timer.nsecsElapsed() / 1e6;
    if (!view)
        return -1;
    const QMetaObject::Connection connection = QObject::connect(
            view, &QQuickWindow::frameSwapped, view,
            [state] {
                qint64 expected = -1;
                state->swapped.compare_exchange_strong(expected, state->timer.nsecsElapsed());
            },
            Qt::DirectConnection);
    const bool drawn = QTest::qWaitFor([&] { return state->swapped.load() >= 0; }, 10000);
    QObject::disconnect(connection);
    return drawn ? state->swapped.load() / 1e6 : -1;
}

// Closes a window as a user would and lets deferred deletions run.
inline void close(QQuickView *view)
{
    if (view)
        view->close();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::processEvents();
}

} // namespace FirstFrame
