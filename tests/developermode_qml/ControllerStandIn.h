#pragma once

#include <QObject>
#include <QVariantList>
#include <QVariantMap>

// Takes the place of the developer-mode controller for the QML pages: the
// same property and invokables, and a record of every call with the type of
// its value. Like the real one, updateValue stores the value and emits
// configChanged before it returns, unless a test turns storing off to see
// what the page does alone.
class ControllerStandIn : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QVariantMap config READ config NOTIFY configChanged FINAL)
    Q_PROPERTY(QVariantList calls READ calls NOTIFY callsChanged FINAL)
    Q_PROPERTY(int quitCount READ quitCount NOTIFY callsChanged FINAL)
    Q_PROPERTY(bool storesValues MEMBER m_storesValues FINAL)

public:
    using QObject::QObject;

    const QVariantMap &config() const { return m_config; }
    QVariantList calls() const { return m_calls; }
    int quitCount() const { return m_quitCount; }

    Q_INVOKABLE void updateValue(const QString &key, const QVariant &value);
    Q_INVOKABLE void quitDeveloperMode();

    // Test controls, not part of the controller's interface.
    Q_INVOKABLE void reset(const QVariantMap &config);

signals:
    void configChanged();
    void callsChanged();

private:
    QVariantMap m_config;
    QVariantList m_calls;
    int m_quitCount = 0;
    bool m_storesValues = true;
};
