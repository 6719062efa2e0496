#include "ControllerStandIn.h"

void ControllerStandIn::updateValue(const QString &key, const QVariant &value)
{
    // The type name shows what the page really sent ("int", "double", "bool",
    // "QColor").
    m_calls.append(QVariantMap{{QStringLiteral("key"), key},
                               {QStringLiteral("value"), value},
                               {QStringLiteral("type"), QString::fromLatin1(value.typeName())}});
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
    m_quitCount = 0;
    m_storesValues = true;
    emit configChanged();
    emit callsChanged();
}
