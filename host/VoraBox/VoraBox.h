#pragma once

#include "VoraBoxExport.h"

#include <QList>
#include <QMetaType>
#include <QObject>
#include <QString>
#include <QVariantMap>
#include <QVector>

#include <memory>

class AbstractSerializableObject;

namespace CommonLib {

class VoraQObject;

// One message on the host's publish/subscribe bus.
struct VoraBusMessage
{
    QString topic;
    QString type;
    QString event;
    QVariantMap param;
    bool flag = false;
    std::shared_ptr<AbstractSerializableObject> payload;
    // Class name of the object that published it (empty for the host).
    QString sender;
    // Configuration writes of the process that were not stored (dropped, or
    // lost with a failed commit) since the previous message on this bus: a
    // host module can tell that what a message announces did not all reach
    // the database.
    int unstoredWrites = 0;
};

// The host's container of objects and its bus.
//
// Objects live in a box (VoraQObject::setBox). Everything they publish comes
// here: the box keeps the messages in order (tests and tools read them) and
// emits messagePublished() for the host's own subscribers. The host delivers a
// message to an object with deliver(), which calls the object's
// onSubscribeData().
class VORABOX_EXPORT VoraBox : public QObject
{
    Q_OBJECT

public:
    explicit VoraBox(QObject *parent = nullptr);
    ~VoraBox() override;

    void attach(VoraQObject *object);
    void detach(VoraQObject *object);
    QVector<VoraQObject *> objects() const;

    // Called by VoraQObject::publish. The configuration writes made so far
    // are committed first: whoever hears the message reads what it announces.
    void publish(VoraQObject *sender, const QString &topic, const QString &type, const QString &event,
                 const QVariantMap &param, bool flag, std::shared_ptr<AbstractSerializableObject> payload);

    // Delivers one message to one object; returns its onSubscribeData result.
    int deliver(VoraQObject *target, const QString &topic, const QString &type, const QString &event,
                const QVariantMap &param, std::shared_ptr<AbstractSerializableObject> payload = nullptr);
    // Delivers one message to every object in the box, in the order they
    // were attached.
    void deliverToAll(const QString &topic, const QString &type, const QString &event,
                      const QVariantMap &param,
                      std::shared_ptr<AbstractSerializableObject> payload = nullptr);

    // Every message published since the last clearMessages(), oldest first.
    QList<VoraBusMessage> messages() const;
    void clearMessages();
    // A long-running host may turn the record off; subscribers still hear
    // every message.
    void setRecording(bool on);
    bool isRecording() const;

signals:
    void messagePublished(const CommonLib::VoraBusMessage &message);

private:
    QVector<VoraQObject *> m_objects;
    QList<VoraBusMessage> m_messages;
    bool m_recording = true;
    quint64 m_unstoredWritesSeen = 0;
};

} // namespace CommonLib

Q_DECLARE_METATYPE(CommonLib::VoraBusMessage)
