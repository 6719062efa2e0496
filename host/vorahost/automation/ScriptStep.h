#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>
#include <QVariantMap>

// One line of a script, read and checked before anything runs: a blank line
// or a comment, a valid step with its arguments, or the error text that stops
// the script. Needs no windows and no application object, so tests and the
// fuzzer call parse() on any bytes. The steps: docs/vorahost.md.
struct ScriptStep
{
    enum Kind { Invalid, Blank, Deliver, Wait, Eval, Click, Close, Screenshot, Inspect, Revert };

    Kind kind = Invalid;
    QVariantMap message; // deliver
    int waitMs = 0; // wait
    QString window; // eval, click, close, screenshot: the window's title
    QString text; // eval's JavaScript, screenshot's file, revert's setting key
    double x = 0; // click
    double y = 0;

    // A line as read, its line break included or not; any bytes. Invalid
    // sets *error (never null), and only Invalid does.
    static ScriptStep parse(const QByteArray &line, QString *error);
    // The steps for --help: the form of each and what it does.
    static QList<QPair<QString, QString>> usage();
};
