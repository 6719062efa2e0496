#include "VoraQObject.h"

#include "VoraBox.h"

#include <VoraConfigSQLite.h>

#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcVoraObject, "vora.host.object")

namespace CommonLib {

VoraQObject::VoraQObject(QObject *parent) : QObject(parent)
{ }

VoraQObject::~VoraQObject()
{
    if (m_box)
        m_box->detach(this);
}

int VoraQObject::start()
{
    return VoraConfigOk;
}

int VoraQObject::stop()
{
    return VoraConfigOk;
}

QVariant VoraQObject::readConfig(const QString &key, VoraConfigStrategy *strategy, int *status)
{
    if (!strategy) {
        qCWarning(lcVoraObject, "%s: no configuration strategy; \"%s\" not read", metaObject()->className(),
                  qUtf8Printable(key));
        *status = VoraConfigNoStrategy;
        return QVariant();
    }
    VoraConfigSQLite db;
    *status = db.open(strategy);
    if (*status != VoraConfigOk)
        return QVariant();
    const QVariant value = db.getConfig(key, QVariant(), strategy);
    if (!value.isValid())
        *status = VoraConfigSqlError;
    return value;
}

int VoraQObject::writeConfig(const QString &key, const QVariant &value, VoraConfigStrategy *strategy)
{
    if (!strategy) {
        qCWarning(lcVoraObject, "%s: no configuration strategy; \"%s\" not written",
                  metaObject()->className(), qUtf8Printable(key));
        return VoraConfigNoStrategy;
    }
    VoraConfigSQLite db;
    const int status = db.open(strategy);
    if (status != VoraConfigOk)
        return status;
    return db.setConfig(key, value, strategy);
}

namespace {
template<typename T>
int readInto(const QVariant &v, int status, T &out)
{
    if (status == VoraConfigOk && v.canConvert<T>())
        out = v.value<T>();
    return status;
}
} // namespace

int VoraQObject::getConfig(QString key, int &value, VoraConfigStrategy *strategy)
{
    int status = VoraConfigOk;
    const QVariant v = readConfig(key, strategy, &status);
    return readInto(v, status, value);
}

int VoraQObject::getConfig(QString key, float &value, VoraConfigStrategy *strategy)
{
    int status = VoraConfigOk;
    const QVariant v = readConfig(key, strategy, &status);
    return readInto(v, status, value);
}

int VoraQObject::getConfig(QString key, double &value, VoraConfigStrategy *strategy)
{
    int status = VoraConfigOk;
    const QVariant v = readConfig(key, strategy, &status);
    return readInto(v, status, value);
}

int VoraQObject::getConfig(QString key, bool &value, VoraConfigStrategy *strategy)
{
    int status = VoraConfigOk;
    const QVariant v = readConfig(key, strategy, &status);
    return readInto(v, status, value);
}

int VoraQObject::getConfig(QString key, QString &value, VoraConfigStrategy *strategy)
{
    int status = VoraConfigOk;
    const QVariant v = readConfig(key, strategy, &status);
    return readInto(v, status, value);
}

QVariant VoraQObject::getConfig(const QString &key, VoraConfigStrategy *strategy)
{
    int status = VoraConfigOk;
    return readConfig(key, strategy, &status);
}

int VoraQObject::setConfig(QString key, int value, VoraConfigStrategy *strategy)
{
    return writeConfig(key, value, strategy);
}

int VoraQObject::setConfig(QString key, float value, VoraConfigStrategy *strategy)
{
    return writeConfig(key, value, strategy);
}

int VoraQObject::setConfig(QString key, double value, VoraConfigStrategy *strategy)
{
    return writeConfig(key, value, strategy);
}

int VoraQObject::setConfig(QString key, bool value, VoraConfigStrategy *strategy)
{
    return writeConfig(key, value, strategy);
}

int VoraQObject::setConfig(QString key, QString value, VoraConfigStrategy *strategy)
{
    return writeConfig(key, value, strategy);
}

int VoraQObject::setConfig(QString key, QVariant value, VoraConfigStrategy *strategy)
{
    return writeConfig(key, value, strategy);
}

int VoraQObject::execQuery(QString query)
{
    VoraConfigSQLite db;
    const int status = db.open(nullptr);
    if (status != VoraConfigOk)
        return status;
    return db.exec(query);
}

VoraBox *VoraQObject::box()
{
    return m_box;
}

void VoraQObject::setBox(VoraBox *box)
{
    if (m_box == box)
        return;
    if (m_box)
        m_box->detach(this);
    m_box = box;
    if (box)
        box->attach(this);
}

int VoraQObject::onSubscribeData(QString topic, QString type, QString event, QVariantMap param,
                                 std::shared_ptr<AbstractSerializableObject> payload)
{
    Q_UNUSED(topic)
    Q_UNUSED(type)
    Q_UNUSED(event)
    Q_UNUSED(param)
    Q_UNUSED(payload)
    return 0;
}

void VoraQObject::publish(QString topic, QString type, QString event, QVariantMap param, bool flag,
                          std::shared_ptr<AbstractSerializableObject> payload)
{
    if (!m_box) {
        qCWarning(lcVoraObject, "%s is in no box; message \"%s\" dropped", metaObject()->className(),
                  qUtf8Printable(param.value(QStringLiteral("cmd")).toString()));
        return;
    }
    m_box->publish(this, topic, type, event, param, flag, std::move(payload));
}

} // namespace CommonLib
