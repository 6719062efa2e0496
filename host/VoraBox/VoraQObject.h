#pragma once

#include "VoraBoxExport.h"
#include "VoraConfigAccess.h"

#include <QObject>
#include <QPointer>
#include <QVariantMap>

#include <memory>

class AbstractSerializableObject;

namespace CommonLib {

class VoraBox;

// The host's base object: a QObject that lives in a VoraBox, talks on the
// box's publish/subscribe bus and reads and writes the configuration
// database.
//
// The order of the virtual functions below is part of the host's binary
// interface (a plug-in compiled against this header calls them through the
// virtual table): start, stop, the twelve configuration overloads,
// execQuery, box, setBox, onSubscribeData. Do not reorder or insert.
class VORABOX_EXPORT VoraQObject : public QObject, public VoraConfigAccess
{
    Q_OBJECT

public:
    explicit VoraQObject(QObject *parent = nullptr);
    ~VoraQObject() override;

    virtual int start();
    virtual int stop();

    int getConfig(QString key, int &value, VoraConfigStrategy *strategy = nullptr) override;
    int getConfig(QString key, float &value, VoraConfigStrategy *strategy = nullptr) override;
    int getConfig(QString key, double &value, VoraConfigStrategy *strategy = nullptr) override;
    int getConfig(QString key, bool &value, VoraConfigStrategy *strategy = nullptr) override;
    int getConfig(QString key, QString &value, VoraConfigStrategy *strategy = nullptr) override;
    QVariant getConfig(const QString &key, VoraConfigStrategy *strategy = nullptr) override;
    int setConfig(QString key, int value, VoraConfigStrategy *strategy = nullptr) override;
    int setConfig(QString key, float value, VoraConfigStrategy *strategy = nullptr) override;
    int setConfig(QString key, double value, VoraConfigStrategy *strategy = nullptr) override;
    int setConfig(QString key, bool value, VoraConfigStrategy *strategy = nullptr) override;
    int setConfig(QString key, QString value, VoraConfigStrategy *strategy = nullptr) override;
    int setConfig(QString key, QVariant value, VoraConfigStrategy *strategy = nullptr) override;

    // Runs SQL text on the host's configuration database (the file set with
    // VoraConfigSQLite::setDatabaseFileOverride).
    virtual int execQuery(QString query);

    virtual VoraBox *box();
    virtual void setBox(VoraBox *box);

    // The host's delivery of one bus message to this object.
    virtual int onSubscribeData(QString topic, QString type, QString event, QVariantMap param,
                                std::shared_ptr<AbstractSerializableObject> payload);

    // Hands one message to the bus of the box this object lives in; without
    // a box the message is dropped with a warning.
    void publish(QString topic, QString type, QString event, QVariantMap param, bool flag = false,
                 std::shared_ptr<AbstractSerializableObject> payload = nullptr);

private:
    QVariant readConfig(const QString &key, VoraConfigStrategy *strategy, int *status);
    int writeConfig(const QString &key, const QVariant &value, VoraConfigStrategy *strategy);

    QPointer<VoraBox> m_box;
};

} // namespace CommonLib
