#pragma once

// Collects every log line (with its category, file and function) while it
// lives, and passes each on to the previous handler.

#include <QList>
#include <QString>
#include <QStringList>
#include <QtGlobal>

namespace VoraTest {

struct LogLine
{
    QtMsgType type;
    QString category;
    QString file;
    QString function;
    QString text;
};

class LogCollector
{
public:
    LogCollector()
    {
        records().clear();
        previous() = qInstallMessageHandler(handler);
    }
    ~LogCollector() { qInstallMessageHandler(previous()); }

    QList<LogLine> all() const { return records(); }
    void clear() { records().clear(); }

    // The lines, each as "<type> <category> <file> <function>: <text>", that
    // contain part.
    QStringList lines(const QString &part = QString()) const
    {
        const char *types[] = {"debug", "warning", "critical", "fatal", "info"};
        QStringList result;
        for (const LogLine &l : records())
            result << QStringLiteral("%1 %2 %3 %4: %5")
                              .arg(types[l.type], l.category, l.file, l.function, l.text);
        return result.filter(part);
    }

    // The lines logged from the given source file.
    QList<LogLine> from(const QString &file) const
    {
        QList<LogLine> result;
        for (const LogLine &line : qAsConst(records()))
            if (line.file == file)
                result.append(line);
        return result;
    }

    // The lines whose text is exactly text.
    QList<LogLine> withText(const QString &text) const
    {
        QList<LogLine> result;
        for (const LogLine &line : qAsConst(records()))
            if (line.text == text)
                result.append(line);
        return result;
    }

    // The warnings, each as "category: text".
    QStringList warnings() const
    {
        QStringList result;
        for (const LogLine &line : qAsConst(records()))
            if (line.type == QtWarningMsg)
                result.append(line.category + QLatin1String(": ") + line.text);
        return result;
    }

private:
    static void handler(QtMsgType type, const QMessageLogContext &context, const QString &text)
    {
        records().append({type, QString::fromLatin1(context.category), QString::fromLatin1(context.file),
                          QString::fromLatin1(context.function), text});
        if (previous())
            previous()(type, context, text);
    }
    static QList<LogLine> &records()
    {
        static QList<LogLine> l;
        return l;
    }
    static QtMessageHandler &previous()
    {
        static QtMessageHandler h = nullptr;
        return h;
    }
};

} // namespace VoraTest
