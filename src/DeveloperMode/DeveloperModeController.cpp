#include "DeveloperModeController.h"

#include "ConfigStrategy.h"

#include <VoraConfigSQLite.h>

#include <QEvent>
#include <QQuickView>

DeveloperModeController::DeveloperModeController(QObject *parent)
    : QObject(parent),
      m_configDb(QSharedPointer<VoraConfigSQLite>::create()),
      m_configStrategy(QSharedPointer<ConfigStrategy>::create(QString(), QString()))
{
}

DeveloperModeController::~DeveloperModeController()
{
    if (m_view) {
        m_view->deleteLater();
        m_view = nullptr;
    }
}

const QVariantMap &DeveloperModeController::config() const
{
    return m_config;
}

void DeveloperModeController::updateValue(const QString &key, const QVariant &value)
{
    Q_UNUSED(key)
    Q_UNUSED(value)
}

void DeveloperModeController::quitDeveloperMode() {}

void DeveloperModeController::doQuitDeveloperMode() {}

void DeveloperModeController::onSubscribeData(const QString &, const QString &, const QString &,
                                              const QVariantMap &, const QString &)
{
}

void DeveloperModeController::showView() {}

bool DeveloperModeController::eventFilter(QObject *watched, QEvent *event)
{
    return QObject::eventFilter(watched, event);
}

void DeveloperModeController::initConfig() {}
void DeveloperModeController::getInitConfigFromDb() {}
void DeveloperModeController::saveConfig() {}
void DeveloperModeController::handleDeveloperModeQuerySettingResp(const QVariantMap &) {}
