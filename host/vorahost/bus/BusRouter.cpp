#include "BusRouter.h"

#include "HostLogging.h"
#include "Protocol.h"

#include <VoraBox.h>
#include <VoraQObject.h>

#include <utility>

BusRouter::Route BusRouter::routeOf(const QVariantMap &param)
{
    const QString cmd = param.value(Protocol::Cmd).toString();
    if (cmd != Protocol::Query)
        return {cmd, QString()};
    return {cmd, param.value(QStringLiteral("target")).toString()};
}

BusRouter::BusRouter(CommonLib::VoraBox *box, QObject *parent) : QObject(parent), m_box(box)
{
    // A host that runs for hours must not keep every message.
    m_box->setRecording(false);
    connect(m_box, &CommonLib::VoraBox::messagePublished, this, &BusRouter::onBoxPublished);
}

BusRouter::~BusRouter() = default;

void BusRouter::setPlugin(CommonLib::VoraQObject *controller)
{
    m_plugin = controller;
}

void BusRouter::setHandlers(Table handlers)
{
    m_handlers = std::move(handlers);
}

void BusRouter::deliverToPlugin(const QVariantMap &param)
{
    emit messageRouted(Protocol::FromHost, param);
    if (!m_plugin) {
        qCWarning(lcHostBus, "no plug-in loaded; %s not delivered",
                  qUtf8Printable(param.value(Protocol::Cmd).toString()));
        return;
    }
    m_box->deliver(m_plugin, QString(), QString(), QString(), param);
}

void BusRouter::deliverToPages(const QVariantMap &param)
{
    emit messageRouted(Protocol::FromHost, param);
    emit pageDelivery(param);
}

void BusRouter::publishFromPage(const QVariantMap &param)
{
    emit messageRouted(Protocol::FromPage, param);
    dispatch(param, 0);
}

void BusRouter::onBoxPublished(const CommonLib::VoraBusMessage &message)
{
    emit messageRouted(Protocol::FromPlugin, message.param);
    dispatch(message.param, message.unstoredWrites);
}

void BusRouter::dispatch(const QVariantMap &param, int unstoredWrites)
{
    const auto handler = m_handlers.constFind(routeOf(param));
    if (handler == m_handlers.constEnd()) {
        qCDebug(lcHostBus, "no host module takes %s", qUtf8Printable(param.value(Protocol::Cmd).toString()));
        return;
    }
    (*handler)(param, unstoredWrites);
}
