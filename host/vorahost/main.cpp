#include "ConfigDatabase.h"
#include "HostApplication.h"
#include "HostLogging.h"
#include "HostOptions.h"
#include "JournalReplay.h"
#include "RenderLoop.h"

#include <QGuiApplication>
#include <QStringList>

#include <cstdio>

namespace {

bool hasDisplay()
{
    return !qEnvironmentVariableIsEmpty("DISPLAY") || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")
            || !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM");
}

QStringList rawArguments(int argc, char **argv)
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    return arguments;
}

} // namespace

int main(int argc, char **argv)
{
    HostLogging::install();

    // The command line is read before QGuiApplication exists: without a
    // display the platform plug-in would abort with a message that does not
    // say what to do.
    HostOptions options;
    QString out;
    QString err;
    const int exitNow = HostOptions::parse(rawArguments(argc, argv), &options, &out, &err);
    if (exitNow >= 0) {
        std::fputs(qUtf8Printable(out), stdout);
        std::fputs(qUtf8Printable(err), stderr);
        return exitNow;
    }

    if (options.isReplay()) {
        // No windows, no plug-in: only the bundle's default database path
        // needs the application object.
        int qtArgc = 1;
        QCoreApplication app(qtArgc, argv);
        return JournalReplay::run(options.replayFile,
                                  options.databaseFile.isEmpty() ? ConfigDatabase::defaultFile()
                                                                 : options.databaseFile,
                                  options.apply);
    }

    if (!hasDisplay()) {
        if (!options.isScripted() && !options.benchStartup) {
            std::fprintf(stderr,
                         "vorahost: no display (neither DISPLAY nor WAYLAND_DISPLAY is set).\n"
                         "  Run it under a virtual X server:  xvfb-run -a vorahost\n"
                         "  or without windows on screen:      QT_QPA_PLATFORM=offscreen vorahost --script "
                         "FILE\n");
            return 1;
        }
        // Scripts need no screen: their windows are drawn offscreen.
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    if (qgetenv("QT_QPA_PLATFORM") == "offscreen" && qEnvironmentVariableIsEmpty("QT_QUICK_BACKEND"))
        qputenv("QT_QUICK_BACKEND", "software");

    // Qt would read "--plugin FILE" as its own generic-plugin option: it only
    // gets the program name, everything else has been read above.
    int qtArgc = 1;
    QGuiApplication app(qtArgc, argv);
    app.setApplicationName(QStringLiteral("vorahost"));
    // A closed developer-mode or editor window must not end the host.
    app.setQuitOnLastWindowClosed(false);
    HostLogging::flushWhenIdle();
    RenderLoop::choose();

    int code = 1;
    {
        HostApplication host(options);
        if (host.start())
            code = app.exec();
    }
    // Tearing the engine down releases items with deleteLater; the event
    // loop is over, so they are deleted here, while the application exists.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return code;
}
