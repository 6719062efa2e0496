#include "WindowWatch.h"

#include "WindowDriver.h"

#include <QQuickWindow>

WindowWatch::WindowWatch(const QString &title, QObject *parent) : QObject(parent), m_title(title)
{ }

WindowWatch::~WindowWatch() = default;

void WindowWatch::check()
{
    QWindow *found = WindowDriver::find(m_title);
    const bool replaced = found != m_window;
    if (replaced) {
        if (m_window)
            disconnect(m_window, nullptr, this, nullptr);
        m_window = found;
        if (found) {
            // Queued: a window also hides, and says it is destroyed, while
            // it is half destroyed.
            connect(found, &QWindow::visibleChanged, this, &WindowWatch::check, Qt::QueuedConnection);
            connect(found, &QObject::destroyed, this, &WindowWatch::check, Qt::QueuedConnection);
        }
    }
    if (replaced || m_open != (found != nullptr)) {
        m_open = found != nullptr;
        emit changed();
    }
}
