#include "ShutdownSignals.h"

#include "HostLogging.h"

#include <QSocketNotifier>

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {
int pipeFds[2] = {-1, -1};
}

ShutdownSignals::ShutdownSignals(QObject *parent) : QObject(parent)
{
    if (::pipe2(pipeFds, O_CLOEXEC | O_NONBLOCK) != 0) {
        qCWarning(lcHostApp, "no pipe for shutdown signals; Ctrl+C ends the host without clean-up");
        return;
    }
    m_notifier = new QSocketNotifier(pipeFds[0], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &ShutdownSignals::onReadable);
    struct sigaction action = {};
    action.sa_handler = &ShutdownSignals::handle;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

ShutdownSignals::~ShutdownSignals()
{
    if (!m_notifier)
        return;
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
    ::close(pipeFds[0]);
    ::close(pipeFds[1]);
    pipeFds[0] = pipeFds[1] = -1;
}

void ShutdownSignals::handle(int signalNumber)
{
    const unsigned char byte = static_cast<unsigned char>(signalNumber);
    // Only async-signal-safe calls here.
    const ssize_t written = ::write(pipeFds[1], &byte, 1);
    (void)written;
}

void ShutdownSignals::onReadable()
{
    unsigned char byte = 0;
    while (::read(pipeFds[0], &byte, 1) == 1) {
        qCInfo(lcHostApp, "signal %d: shutting down", int(byte));
        emit requested(int(byte));
    }
}
