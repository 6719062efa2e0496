#include "ControllerStandIn.h"

void ControllerStandIn::updateValue(const QString &key, const QVariant &value)
{
    m_calls.append(QVariantMap{{QStringLiteral("key"), key}, {QStringLiteral("value"), value}});
    m_rawValues.append(value);
    // The real controller ignores keys it does not hold.
    if (m_storesValues && m_config.contains(key)) {
        m_config.insert(key, value);
        emit configChanged();
    }
    emit callsChanged();
}

void ControllerStandIn::quitDeveloperMode()
{
    ++m_quitCount;
    emit callsChanged();
}

void ControllerStandIn::reset(const QVariantMap &config)
{
    m_config = config;
    m_calls.clear();
    m_rawValues.clear();
    m_quitCount = 0;
    m_storesValues = true;
    emit configChanged();
    emit callsChanged();
}

QString ControllerStandIn::typeNameOfCall(int index) const
{
    if (index < 0 || index >= m_rawValues.size())
        return QString();
    return QString::fromLatin1(m_rawValues.at(index).typeName());
}
