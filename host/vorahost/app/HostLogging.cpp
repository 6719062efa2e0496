#include "HostLogging.h"

#include <QAbstractEventDispatcher>
#include <QStringView>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>

Q_LOGGING_CATEGORY(lcHostApp, "vora.host.app")
Q_LOGGING_CATEGORY(lcHostPlugin, "vora.host.plugin")
// lcHostDb is VoraSqlite's, shared with the configuration library.
Q_LOGGING_CATEGORY(lcHostBus, "vora.host.bus")
Q_LOGGING_CATEGORY(lcHostPage, "vora.host.page")
Q_LOGGING_CATEGORY(lcHostScript, "vora.host.script")
Q_LOGGING_CATEGORY(lcHostScanner, "vora.host.scanner")

namespace {

using Clock = std::chrono::steady_clock;

// The config editor's page logs a line per row of a listing: tens of
// thousands in one go. Qt's own handler writes and flushes each line by
// itself; here lines collect in stderr's buffer and go out together, at the
// latest when the event loop has nothing else to do or this long after the
// last write. Warnings and worse go out at once.
constexpr Clock::duration MaxDelay = std::chrono::milliseconds(20);
constexpr size_t BufferSize = 64 * 1024;

std::atomic<Clock::rep> g_lastFlush{0};
bool g_ownFormat = true;

void flushNow()
{
    std::fflush(stderr);
    g_lastFlush.store(Clock::now().time_since_epoch().count(), std::memory_order_relaxed);
}

// In the locale's encoding, as Qt writes it, but in slices: a page's line can
// be megabytes long, and converting it whole would add a copy of that size
// to the host's peak memory.
void writeText(QStringView text)
{
    constexpr qsizetype Slice = 16 * 1024;
    for (qsizetype from = 0; from < text.size();) {
        qsizetype length = std::min(Slice, text.size() - from);
        // A surrogate pair stays in one slice.
        if (from + length < text.size() && text.at(from + length - 1).isHighSurrogate())
            --length;
        const QByteArray bytes = text.mid(from, length).toLocal8Bit();
        std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stderr);
        from += length;
    }
}

// The format of the pattern
//   "%{if-category}%{category}: %{endif}%{if-warning}warning: %{endif}%{message}"
// written directly; a pattern of the user's (QT_MESSAGE_PATTERN) goes through
// Qt's formatting instead.
void handleMessage(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    // One line at a time, whichever thread logs it (the lock is recursive).
    flockfile(stderr);
    if (g_ownFormat) {
        if (context.category && std::strcmp(context.category, "default") != 0) {
            std::fputs(context.category, stderr);
            std::fputs(": ", stderr);
        }
        if (type == QtWarningMsg)
            std::fputs("warning: ", stderr);
        writeText(message);
    } else {
        writeText(qFormatLogMessage(type, context, message));
    }
    std::fputc('\n', stderr);
    const Clock::rep last = g_lastFlush.load(std::memory_order_relaxed);
    if ((type != QtDebugMsg && type != QtInfoMsg)
        || Clock::now().time_since_epoch().count() - last > MaxDelay.count())
        flushNow();
    funlockfile(stderr);
}

} // namespace

namespace HostLogging {

void install()
{
    // Before anything is written to stderr: the buffer can only be set up
    // on an unused stream. Whatever else writes to stderr (fprintf) shares
    // the buffer, so the order of lines stays as it was.
    std::setvbuf(stderr, nullptr, _IOFBF, BufferSize);
    g_ownFormat = qEnvironmentVariableIsEmpty("QT_MESSAGE_PATTERN");
    flushNow();
    qInstallMessageHandler(handleMessage);
}

void flushWhenIdle()
{
    if (auto *dispatcher = QAbstractEventDispatcher::instance())
        QObject::connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, dispatcher, &flushNow);
}

void flush()
{
    flushNow();
}

} // namespace HostLogging
