#pragma once

#include <QString>
#include <QVariant>

class VoraConfigStrategy;

namespace CommonLib {

// The configuration-access half of VoraQObject. Only the twelve overloads are
// virtual and there is deliberately no virtual destructor: objects are always
// destroyed through their QObject half. The order is part of the host's
// binary interface.
class VoraConfigAccess
{
public:
    virtual int getConfig(QString key, int &value, VoraConfigStrategy *strategy = nullptr) = 0;
    virtual int getConfig(QString key, float &value, VoraConfigStrategy *strategy = nullptr) = 0;
    virtual int getConfig(QString key, double &value, VoraConfigStrategy *strategy = nullptr) = 0;
    virtual int getConfig(QString key, bool &value, VoraConfigStrategy *strategy = nullptr) = 0;
    virtual int getConfig(QString key, QString &value, VoraConfigStrategy *strategy = nullptr) = 0;
    virtual QVariant getConfig(const QString &key, VoraConfigStrategy *strategy = nullptr) = 0;
    virtual int setConfig(QString key, int value, VoraConfigStrategy *strategy = nullptr) = 0;
    virtual int setConfig(QString key, float value, VoraConfigStrategy *strategy = nullptr) = 0;
    virtual int setConfig(QString key, double value, VoraConfigStrategy *strategy = nullptr) = 0;
    virtual int setConfig(QString key, bool value, VoraConfigStrategy *strategy = nullptr) = 0;
    virtual int setConfig(QString key, QString value, VoraConfigStrategy *strategy = nullptr) = 0;
    virtual int setConfig(QString key, QVariant value, VoraConfigStrategy *strategy = nullptr) = 0;

protected:
    ~VoraConfigAccess() = default;
};

} // namespace CommonLib
