// Runs the Qt Quick Test cases in qml/ against the config editor's real QML,
// compiled in from its resource bundle, with a recording "$app" and a
// stand-in VoraDesign module on the engine.

#include "AppStandIn.h"

#include <QFile>
#include <QJsonDocument>
#include <QQmlContext>
#include <QQmlEngine>
#include <QtQuickTest>

class Setup : public QObject
{
    Q_OBJECT

public:
    Setup() { Q_INIT_RESOURCE(ConfigEditor); }

public slots:
    void qmlEngineAvailable(QQmlEngine *engine)
    {
        // After the test logger has put its own handler in place, so both
        // see every line.
        m_app.clearLogs();
        engine->addImportPath(QStringLiteral(VORA_SOURCE_DIR "/tests/common/imports"));
        engine->rootContext()->setContextProperty(QStringLiteral("$app"), &m_app);
        QFile tables(QStringLiteral(VORA_SOURCE_DIR "/tests/plugin/configeditor/qml/tables.json"));
        tables.open(QIODevice::ReadOnly);
        engine->rootContext()->setContextProperty("$tables",
                                                  QJsonDocument::fromJson(tables.readAll()).toVariant());
    }

private:
    AppStandIn m_app;
};

QUICK_TEST_MAIN_WITH_SETUP(configeditor_qml, Setup)

#include "tst_configeditorqml.moc"
