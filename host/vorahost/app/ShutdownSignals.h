#pragma once

#include <QObject>

class QSocketNotifier;

// Turns SIGINT and SIGTERM into a Qt signal, so Ctrl+C or a service stop
// shuts the host down in order (plug-in first) instead of killing it on the
// spot. The handler only writes a byte to a pipe; the rest runs in the event
// loop.
class ShutdownSignals : public QObject
{
    Q_OBJECT

public:
    explicit ShutdownSignals(QObject *parent = nullptr);
    ~ShutdownSignals() override;

    bool isValid() const { return m_notifier != nullptr; }

signals:
    void requested(int signalNumber);

private:
    static void handle(int signalNumber);
    void onReadable();

    QSocketNotifier *m_notifier = nullptr;
};
