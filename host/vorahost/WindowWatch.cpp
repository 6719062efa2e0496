#include "WindowWatch.h"

#include "WindowDriver.h"

#include <QQuickWindow>

WindowWatch::WindowWatch(const QString &title, QObject *parent) : QObject(parent), m_title(title)
{ }

WindowWatch::~WindowWatch() = default;

void WindowWatch::check()
{
    QQuickWindow *found = WindowDriver::find(m_title);
    const bool replaced = found != m_window;
    if (replaced) {
        if (m_window)
            disconnect(m_window, nullptr, this, nullptr);
        m_window = found;
        if (found) {
            connect(found, &QWindow::visibleChanged, this, &WindowWatch::check);
            // Queued: the window is half destroyed while it says so.
            connect(found, &QObject::destroyed, this, &WindowWatch::check, Qt::QueuedConnection);
        }
    }
    if (replaced || m_open != (found != nullptr)) {
        m_open = found != nullptr;
        emit changed();
    }
}
