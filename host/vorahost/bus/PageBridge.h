#pragma once

#include <QObject>
#include <QPointer>
#include <QVariant>
#include <QVector>

// The context object "$app" of the host's main QML engine. A page calls
// $app.init(root) once; from then on the root's signal
//   publish(string topic, string type, string cmd, variant param, bool bSync)
// goes onto the bus (pagePublished), and host messages for the pages are
// handed to the root's function onSubscribeData(topic, type, cmd, param).
class PageBridge : public QObject
{
    Q_OBJECT

public:
    explicit PageBridge(QObject *parent = nullptr);
    ~PageBridge() override;

    Q_INVOKABLE void init(QObject *root);

    // Calls onSubscribeData on every page root that is still alive.
    void deliverToPages(const QVariantMap &param);

    int pageCount() const;

signals:
    void pagePublished(const QVariantMap &param);

private slots:
    void onPagePublish(const QString &topic, const QString &type, const QString &cmd, const QVariant &param,
                       bool bSync);

private:
    QVector<QPointer<QObject>> m_roots;
};
