#pragma once

#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QVariant>
#include <QVariantList>

// A stand-in for the host's "$app" context object: records every page that
// calls init(), every message a page publishes and every log line, and can
// deliver messages to the pages the way the host does.
class AppStandIn : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int initCount READ initCount NOTIFY changed)
    Q_PROPERTY(QObject *root READ root NOTIFY changed)
    Q_PROPERTY(int publishedCount READ publishedCount NOTIFY changed)

public:
    explicit AppStandIn(QObject *parent = nullptr);
    ~AppStandIn() override;

    Q_INVOKABLE void init(QObject *root);

    // Each entry: {"topic", "type", "cmd", "param", "bSync"}.
    Q_INVOKABLE QVariantList published() const { return m_published; }
    // The "param" maps only, oldest first.
    Q_INVOKABLE QVariantList params() const;
    Q_INVOKABLE void clear();

    // Calls root.onSubscribeData("", "", "", param) as the host does.
    Q_INVOKABLE void deliver(const QVariantMap &param);
    // Delivers {"cmd": "dataBaseResponseCmd", "dataBaseResponse": text}.
    Q_INVOKABLE void respond(const QString &text);

    // Log lines (console.log and qDebug alike) since the last clearLogs().
    Q_INVOKABLE QStringList logs() const;
    Q_INVOKABLE void clearLogs();
    Q_INVOKABLE bool logged(const QString &line) const;

    int initCount() const { return m_initCount; }
    QObject *root() const { return m_root; }
    int publishedCount() const { return m_published.size(); }

    static void installLogRecorder();

signals:
    void changed();

private slots:
    void onPagePublish(const QString &topic, const QString &type, const QString &cmd, const QVariant &param,
                       bool bSync);

private:
    QPointer<QObject> m_root;
    int m_initCount = 0;
    QVariantList m_published;
};
