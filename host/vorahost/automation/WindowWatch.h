#pragma once

#include <QObject>
#include <QPointer>
#include <QWindow>
#include <QString>

// Follows the visible Qt Quick window with a title (a plug-in window the
// host does not own): check() looks it up again after something that may
// have opened it, and hiding or destroying it is noticed by itself.
class WindowWatch : public QObject
{
    Q_OBJECT

public:
    explicit WindowWatch(const QString &title, QObject *parent = nullptr);
    ~WindowWatch() override;

    QWindow *window() const { return m_window; }
    bool isOpen() const { return m_open; }

    void check();

signals:
    // The window opened, closed or was replaced by another one.
    void changed();

private:
    QString m_title;
    // A QWindow, not a QQuickWindow: the window says it hides while it is
    // being destroyed, when it is no longer a QQuickWindow.
    QPointer<QWindow> m_window;
    bool m_open = false;
};
