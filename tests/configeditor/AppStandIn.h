#pragma once

// A stand-in for the host's "$app" context object: records the page that
// calls init(), every message a page publishes and every log line, and can
// deliver messages to the page the way the host does.

#include <QDateTime>
#include <QJSValue>
#include <QMutex>
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QVariant>

class AppStandIn : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QObject *root READ root NOTIFY changed)
    Q_PROPERTY(int publishedCount READ publishedCount NOTIFY changed)

public:
    Q_INVOKABLE void init(QObject *root)
    {
        if (m_root)
            disconnect(m_root, nullptr, this, nullptr);
        m_root = root;
        if (root)
            connect(root, SIGNAL(publish(QString, QString, QString, QVariant, bool)), this,
                    SLOT(onPagePublish(QString, QString, QString, QVariant, bool)));
        emit changed();
    }

    // Each entry: {"topic", "type", "cmd", "param", "bSync", "ms"}, ms the
    // wall-clock time it was published.
    Q_INVOKABLE QVariantList published() const { return m_published; }
    // The "param" maps only, oldest first.
    Q_INVOKABLE QVariantList params() const
    {
        QVariantList result;
        for (const QVariant &entry : m_published)
            result.append(entry.toMap().value(QStringLiteral("param")));
        return result;
    }
    Q_INVOKABLE void clear()
    {
        m_published.clear();
        emit changed();
    }

    // Calls root.onSubscribeData("", "", "", param) as the host does.
    Q_INVOKABLE void deliver(const QVariantMap &param)
    {
        if (m_root)
            QMetaObject::invokeMethod(m_root, "onSubscribeData", Q_ARG(QVariant, QString()),
                                      Q_ARG(QVariant, QString()), Q_ARG(QVariant, QString()),
                                      Q_ARG(QVariant, QVariant(param)));
    }
    // Delivers {"cmd": "dataBaseResponseCmd", "dataBaseResponse": text}.
    Q_INVOKABLE void respond(const QString &text)
    {
        deliver({{QStringLiteral("cmd"), QStringLiteral("dataBaseResponseCmd")},
                 {QStringLiteral("dataBaseResponse"), text}});
    }

    // Log lines (console.log and qDebug alike) since the last clearLogs().
    Q_INVOKABLE QStringList logs() const
    {
        QMutexLocker lock(&log().mutex);
        return log().lines;
    }
    Q_INVOKABLE bool logged(const QString &line) const { return logs().contains(line); }
    Q_INVOKABLE void clearLogs()
    {
        installLogRecorder();
        QMutexLocker lock(&log().mutex);
        log().lines.clear();
    }

    QObject *root() const { return m_root; }
    int publishedCount() const { return m_published.size(); }

    // The test logger installs its own handler when a test run starts, so
    // this is called again from clearLogs() and keeps that handler as the
    // one lines are passed on to.
    static void installLogRecorder()
    {
        const QtMessageHandler current = qInstallMessageHandler(record);
        if (current != record)
            log().previous = current;
    }

signals:
    void changed();

private slots:
    void onPagePublish(const QString &topic, const QString &type, const QString &cmd, const QVariant &param,
                       bool bSync)
    {
        const QVariant plain = param.userType() == qMetaTypeId<QJSValue>()
                ? param.value<QJSValue>().toVariant()
                : param;
        m_published.append(QVariantMap{{QStringLiteral("topic"), topic},
                                       {QStringLiteral("type"), type},
                                       {QStringLiteral("cmd"), cmd},
                                       {QStringLiteral("param"), plain},
                                       {QStringLiteral("bSync"), bSync},
                                       {QStringLiteral("ms"), QDateTime::currentMSecsSinceEpoch()}});
        emit changed();
    }

private:
    struct Log
    {
        QMutex mutex;
        QStringList lines;
        QtMessageHandler previous = nullptr;
    };
    static Log &log()
    {
        static Log instance;
        return instance;
    }
    static void record(QtMsgType type, const QMessageLogContext &context, const QString &message)
    {
        {
            QMutexLocker lock(&log().mutex);
            log().lines.append(message);
        }
        if (log().previous)
            log().previous(type, context, message);
    }

    QPointer<QObject> m_root;
    QVariantList m_published;
};
