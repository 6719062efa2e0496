// Runs the Qt Quick Test cases in qml/ against the developer mode's QML as it
// stands in the source tree, with a recording stand-in for the controller.

#include "ControllerStandIn.h"

#include <QQmlContext>
#include <QQmlEngine>
#include <QtQuickTest>

class Setup : public QObject
{
    Q_OBJECT

public slots:
    void qmlEngineAvailable(QQmlEngine *engine)
    {
        engine->rootContext()->setContextProperty(QStringLiteral("$developerModeController"), &m_controller);
    }

private:
    ControllerStandIn m_controller;
};

QUICK_TEST_MAIN_WITH_SETUP(developermode_qml, Setup)

#include "tst_developermodeqml.moc"
