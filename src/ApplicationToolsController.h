#pragma once

#include <VoraQObject.h>

#include <QMap>
#include <QString>
#include <QVariantMap>

#include <functional>

// The object the host creates from the plug-in. It receives every bus
// message delivered to the plug-in, runs its own two commands
// ("enableDeveloperMode", "showConfigEditor") through a handler table, hands
// everything else to the live sub-controllers through notifySubscribeData(),
// and carries the sub-controllers' messages to the bus (doSelfPublish()).
class ApplicationToolsController : public CommonLib::VoraQObject
{
    Q_OBJECT

public:
    explicit ApplicationToolsController(QObject *parent = nullptr);
    ~ApplicationToolsController() override;

    int start() override;
    int stop() override;
    int onSubscribeData(QString topic, QString type, QString event, QVariantMap param,
                        std::shared_ptr<AbstractSerializableObject> payload) override;

    // Receives the publish(QVariantMap) signal of each sub-controller: a
    // command of this controller runs here and never reaches the bus, any
    // other message is published.
    void doSelfPublish(const QVariantMap &param);

    // Whether the configuration database says the developer mode is on.
    bool isDeveloperMode() const;

signals:
    void notifySubscribeData(const QString &topic, const QString &type, const QString &event,
                             const QVariantMap &param, const QString &module);

private:
    void init();
    void enableDeveloperMode(const QVariantMap &param);
    void showConfigEditor(const QVariantMap &param);

    QMap<QString, std::function<void(const QVariantMap &)>> m_handlers;
};
