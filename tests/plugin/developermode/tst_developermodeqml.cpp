// Runs the Qt Quick Test cases in qml/ against the developer mode's QML as it
// stands in the source tree, with a recording stand-in for the controller.

#include <QFile>
#include <QJsonDocument>
#include <QQmlContext>
#include <QQmlEngine>
#include <QtQuickTest>

// Takes the place of the developer-mode controller for the QML pages: the
// same property and invokables, and a record of every call with the type of
// its value. Like the real one, updateValue stores the value of a key it
// holds and emits configChanged before it returns.
class ControllerStandIn : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QVariantMap config MEMBER m_config NOTIFY configChanged FINAL)
    Q_PROPERTY(QVariantList calls MEMBER m_calls NOTIFY callsChanged FINAL)
    Q_PROPERTY(int quitCount MEMBER m_quitCount NOTIFY callsChanged FINAL)

public:
    Q_INVOKABLE void updateValue(const QString &key, const QVariant &value)
    {
        // The type name shows what the page really sent ("int", "double",
        // "bool", "QColor").
        m_calls.append(QVariantMap{{"key", key}, {"value", value}, {"type", value.typeName()}});
        // The real controller ignores keys it does not hold.
        if (m_config.contains(key)) {
            m_config.insert(key, value);
            emit configChanged();
        }
        emit callsChanged();
    }

    Q_INVOKABLE void quitDeveloperMode()
    {
        ++m_quitCount;
        emit callsChanged();
    }

    // A test control, not part of the controller's interface.
    Q_INVOKABLE void reset(const QVariantMap &config)
    {
        m_config = config;
        m_calls.clear();
        m_quitCount = 0;
        emit configChanged();
        emit callsChanged();
    }

signals:
    void configChanged();
    void callsChanged();

private:
    QVariantMap m_config;
    QVariantList m_calls;
    int m_quitCount = 0;
};

class Setup : public QObject
{
    Q_OBJECT

public slots:
    void qmlEngineAvailable(QQmlEngine *engine)
    {
        engine->rootContext()->setContextProperty(QStringLiteral("$developerModeController"), &m_controller);
        QFile tables(QStringLiteral(VORA_SOURCE_DIR "/tests/plugin/developermode/qml/tables.json"));
        tables.open(QIODevice::ReadOnly);
        engine->rootContext()->setContextProperty("$tables", QJsonDocument::fromJson(tables.readAll()).toVariant());
    }

private:
    ControllerStandIn m_controller;
};

QUICK_TEST_MAIN_WITH_SETUP(developermode_qml, Setup)

#include "tst_developermodeqml.moc"
