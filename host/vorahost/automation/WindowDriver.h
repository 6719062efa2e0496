#pragma once

#include <QString>
#include <QVariant>

class QQuickWindow;

// What a user does to the windows, done by the script: find a window by its
// title, click in it, close it by its frame, grab it, and evaluate JavaScript
// in its root item's context.
namespace WindowDriver {

// The visible Qt Quick window with that title, or null.
QQuickWindow *find(const QString &title);

// A left click at window coordinates, through the window-system interface.
void click(QQuickWindow *window, double x, double y);

// The close request of the window frame's close button.
void close(QQuickWindow *window);

// Saves the window's content as PNG (folders are made as needed).
bool screenshot(QQuickWindow *window, const QString &file, QString *error);

// Evaluates expression with the root item's context and the root as scope.
// JavaScript still running after timeLimitMs is interrupted, and error says
// so.
QVariant evaluate(QQuickWindow *window, const QString &expression, int timeLimitMs, QString *error);

} // namespace WindowDriver
