#pragma once

// Collects every log line while it lives, each as "<type> <category> <file>
// <function>: <text>", and passes it on to the previous handler.

#include <QStringList>
#include <QtGlobal>

namespace VoraTest {

class LogCollector
{
public:
    LogCollector()
    {
        all().clear();
        // A second collector on top of a first one must not call itself.
        const QtMessageHandler before = qInstallMessageHandler(handler);
        previous() = before == handler ? nullptr : before;
    }
    ~LogCollector() { qInstallMessageHandler(previous()); }

    // The lines that contain part.
    QStringList lines(const QString &part = QString()) const { return all().filter(part); }

private:
    static void handler(QtMsgType type, const QMessageLogContext &context, const QString &text)
    {
        const char *types[] = {"debug", "warning", "critical", "fatal", "info"};
        all() << QStringLiteral("%1 %2 %3 %4: %5")
                         .arg(types[type], context.category, context.file, context.function, text);
        if (previous())
            previous()(type, context, text);
    }
    static QStringList &all()
    {
        static QStringList lines;
        return lines;
    }
    static QtMessageHandler &previous()
    {
        static QtMessageHandler handler = nullptr;
        return handler;
    }
};

} // namespace VoraTest
