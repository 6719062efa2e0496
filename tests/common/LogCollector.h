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
        lines().clear();
        previous() = qInstallMessageHandler(handler);
    }
    ~LogCollector() { qInstallMessageHandler(previous()); }

    QList<LogLine> all() const { return lines(); }
    void clear() { lines().clear(); }

    // The lines logged from the given source file.
    QList<LogLine> from(const QString &file) const
    {
        QList<LogLine> result;
        for (const LogLine &line : qAsConst(lines()))
            if (line.file == file)
                result.append(line);
        return result;
    }

    // The lines whose text is exactly text.
    QList<LogLine> withText(const QString &text) const
    {
        QList<LogLine> result;
        for (const LogLine &line : qAsConst(lines()))
            if (line.text == text)
                result.append(line);
        return result;
    }

    // The warnings, each as "category: text".
    QStringList warnings() const
    {
        QStringList result;
        for (const LogLine &line : qAsConst(lines()))
            if (line.type == QtWarningMsg)
                result.append(line.category + QLatin1String(": ") + line.text);
        return result;
    }

private:
    static void handler(QtMsgType type, const QMessageLogContext &context, const QString &text)
    {
        lines().append({type, QString::fromLatin1(context.category), QString::fromLatin1(context.file),
                        QString::fromLatin1(context.function), text});
        if (previous())
            previous()(type, context, text);
    }
    static QList<LogLine> &lines()
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
