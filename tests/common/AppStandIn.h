#pragma once

// A stand-in for the host's "$app" context object: records the page that
// calls init(), every message a page publishes and every log line, and
// delivers messages to the page the way the host does.

#include <QDateTime>
#include <QJSValue>
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
        m_root = root;
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
            result.append(entry.toMap().value("param"));
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
        QMetaObject::invokeMethod(m_root, "onSubscribeData", Q_ARG(QVariant, ""), Q_ARG(QVariant, ""),
                                  Q_ARG(QVariant, ""), Q_ARG(QVariant, QVariant(param)));
    }
    Q_INVOKABLE void respond(const QString &text)
    {
        deliver({{"cmd", "dataBaseResponseCmd"}, {"dataBaseResponse", text}});
    }

    // Log lines (console.log and qDebug alike) since the last clearLogs().
    Q_INVOKABLE QStringList logs() const { return lines(); }
    Q_INVOKABLE bool logged(const QString &line) const { return lines().contains(line); }
    Q_INVOKABLE void clearLogs()
    {
        // The test logger puts its own handler in place when a run starts;
        // each clear puts this one back in front of it.
        const QtMessageHandler current = qInstallMessageHandler(record);
        if (current != record)
            previous() = current;
        lines().clear();
    }

    QObject *root() const { return m_root; }
    int publishedCount() const { return m_published.size(); }

signals:
    void changed();

private slots:
    void onPagePublish(const QString &topic, const QString &type, const QString &cmd, const QVariant &param,
                       bool bSync)
    {
        const QVariant plain = param.userType() == qMetaTypeId<QJSValue>()
                ? param.value<QJSValue>().toVariant()
                : param;
        m_published.append(QVariantMap{{"topic", topic},
                                       {"type", type},
                                       {"cmd", cmd},
                                       {"param", plain},
                                       {"bSync", bSync},
                                       {"ms", QDateTime::currentMSecsSinceEpoch()}});
        emit changed();
    }

private:
    static QStringList &lines()
    {
        static QStringList lines;
        return lines;
    }
    static QtMessageHandler &previous()
    {
        static QtMessageHandler handler = nullptr;
        return handler;
    }
    static void record(QtMsgType type, const QMessageLogContext &context, const QString &message)
    {
        lines().append(message);
        if (previous())
            previous()(type, context, message);
    }

    QPointer<QObject> m_root;
    QVariantList m_published;
};
