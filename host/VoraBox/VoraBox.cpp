#include "VoraBox.h"

#include "VoraQObject.h"

#include <VoraConfigSQLite.h>

namespace CommonLib {

VoraBox::VoraBox(QObject *parent)
    : QObject(parent), m_unstoredWritesSeen(VoraConfigSQLite::unstoredWriteCount())
{
    qRegisterMetaType<CommonLib::VoraBusMessage>();
}

VoraBox::~VoraBox()
{
    // Objects outlive their box in some hosts; they must not call back.
    const auto objects = m_objects;
    m_objects.clear();
    for (VoraQObject *object : objects)
        object->setBox(nullptr);
}

void VoraBox::attach(VoraQObject *object)
{
    if (!object || m_objects.contains(object))
        return;
    m_objects.append(object);
    object->setBox(this);
}

void VoraBox::detach(VoraQObject *object)
{
    m_objects.removeAll(object);
}

QVector<VoraQObject *> VoraBox::objects() const
{
    return m_objects;
}

void VoraBox::publish(VoraQObject *sender, const QString &topic, const QString &type, const QString &event,
                      const QVariantMap &param, bool flag,
                      std::shared_ptr<AbstractSerializableObject> payload)
{
    VoraConfigSQLite::commitPending();
    const quint64 unstored = VoraConfigSQLite::unstoredWriteCount();
    VoraBusMessage message;
    message.unstoredWrites = int(qMin<quint64>(unstored - m_unstoredWritesSeen, INT_MAX));
    m_unstoredWritesSeen = unstored;
    message.topic = topic;
    message.type = type;
    message.event = event;
    message.param = param;
    message.flag = flag;
    message.payload = std::move(payload);
    if (sender)
        message.sender = QString::fromLatin1(sender->metaObject()->className());
    if (m_recording)
        m_messages.append(message);
    emit messagePublished(message);
}

int VoraBox::deliver(VoraQObject *target, const QString &topic, const QString &type, const QString &event,
                     const QVariantMap &param, std::shared_ptr<AbstractSerializableObject> payload)
{
    if (!target)
        return 0;
    return target->onSubscribeData(topic, type, event, param, std::move(payload));
}

void VoraBox::deliverToAll(const QString &topic, const QString &type, const QString &event,
                           const QVariantMap &param, std::shared_ptr<AbstractSerializableObject> payload)
{
    // A delivery may attach or destroy objects; walk a copy and skip the
    // ones that are gone.
    const auto objects = m_objects;
    for (VoraQObject *object : objects) {
        if (m_objects.contains(object))
            object->onSubscribeData(topic, type, event, param, payload);
    }
}

QList<VoraBusMessage> VoraBox::messages() const
{
    return m_messages;
}

void VoraBox::clearMessages()
{
    m_messages.clear();
}

void VoraBox::setRecording(bool on)
{
    m_recording = on;
}

bool VoraBox::isRecording() const
{
    return m_recording;
}

} // namespace CommonLib
