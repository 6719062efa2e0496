#include "BusRouter.h"

#include "DatabaseService.h"
#include "HostConfigStrategy.h"
#include "HostLogging.h"

#include <VoraBox.h>
#include <VoraConfigSQLite.h>
#include <VoraQObject.h>

namespace {

const QString kCmd = QStringLiteral("cmd");
const QString kRollbackFrame = QStringLiteral("rollbackFrame");

QVariant readSetting(const QString &table, const QString &key)
{
    HostConfigStrategy strategy(table);
    VoraConfigSQLite db;
    db.open(&strategy);
    return db.getConfig(key, QVariant(), &strategy);
}

bool writeSetting(const QString &table, const QString &key, const QVariant &value)
{
    HostConfigStrategy strategy(table);
    VoraConfigSQLite db;
    if (db.open(&strategy) != VoraConfigOk)
        return false;
    return db.setConfig(key, value, &strategy) == VoraConfigOk;
}

} // namespace

BusRouter::BusRouter(CommonLib::VoraBox *box, QObject *parent) : QObject(parent), m_box(box)
{
    // A host that runs for hours must not keep every message.
    m_box->setRecording(false);
    connect(m_box, &CommonLib::VoraBox::messagePublished, this, &BusRouter::onBoxPublished);
}

BusRouter::~BusRouter() = default;

void BusRouter::setPlugin(CommonLib::VoraQObject *controller)
{
    m_plugin = controller;
}

void BusRouter::setDatabaseService(DatabaseService *service)
{
    m_databaseService = service;
}

void BusRouter::deliverToPlugin(const QVariantMap &param)
{
    emit messageRouted(QStringLiteral("host"), param);
    if (!m_plugin) {
        qCWarning(lcHostBus, "no plug-in loaded; %s not delivered",
                  qUtf8Printable(param.value(kCmd).toString()));
        return;
    }
    m_box->deliver(m_plugin, QString(), QString(), QString(), param);
}

void BusRouter::publishFromPage(const QVariantMap &param)
{
    emit messageRouted(QStringLiteral("page"), param);
    serveHostModules(param);
}

void BusRouter::onBoxPublished(const CommonLib::VoraBusMessage &message)
{
    emit messageRouted(QStringLiteral("plugin"), message.param);
    serveHostModules(message.param);
}

void BusRouter::serveHostModules(const QVariantMap &param)
{
    const QString cmd = param.value(kCmd).toString();
    if (cmd == QLatin1String("developerModeEnabledChanged")) {
        // The plug-in only ever writes false; remembering true is the host's
        // part, so that the developer mode survives a restart.
        if (param.value(QStringLiteral("enabled")).toBool()) {
            if (!writeSetting(QStringLiteral("config"), QStringLiteral("developerModeEnabled"), true))
                qCWarning(lcHostBus, "could not store config/developerModeEnabled");
        }
    } else if (cmd == QLatin1String("developerModeQuerySetting")) {
        answerSettingQuery(param);
    } else if (cmd == QLatin1String("developerModeSettingChanged")) {
        applySettings(param);
    } else if (cmd == QLatin1String("query")
               && param.value(QStringLiteral("target")).toString() == QLatin1String("dataBaseQuery")) {
        answerDatabaseQuery(param);
    } else if (cmd == QLatin1String("refreshRealTimeSetup")) {
        qCInfo(lcHostScanner, "real-time setup refreshed (isLaserScan %s, target %s)",
               param.value(QStringLiteral("isLaserScan")).toBool() ? "true" : "false",
               qUtf8Printable(param.value(QStringLiteral("target")).toString()));
    } else {
        qCDebug(lcHostBus, "no host module takes %s", qUtf8Printable(cmd));
    }
}

void BusRouter::answerSettingQuery(const QVariantMap &param)
{
    const QString key = param.value(QStringLiteral("key")).toString();
    if (key != kRollbackFrame) {
        qCWarning(lcHostBus, "no host module holds the setting '%s'; query not answered",
                  qUtf8Printable(key));
        return;
    }
    // Read and answered on the next turn, as a real bus would carry it.
    QMetaObject::invokeMethod(
            this,
            [this, key] {
                bool ok = false;
                const int value = readSetting(QStringLiteral("scan"), key).toInt(&ok);
                if (!ok) {
                    qCWarning(lcHostBus, "scan/%s is missing or not a number; query not answered",
                              qUtf8Printable(key));
                    return;
                }
                deliverToPlugin({{kCmd, QStringLiteral("developerModeQuerySettingResp")},
                                 {QStringLiteral("module"), QStringLiteral("DeveloperMode")},
                                 {QStringLiteral("key"), key},
                                 {QStringLiteral("value"), value}});
            },
            Qt::QueuedConnection);
}

void BusRouter::applySettings(const QVariantMap &param)
{
    const QVariantMap settings = param.value(QStringLiteral("settings")).toMap();
    const QVariant value = settings.value(kRollbackFrame);
    if (!value.isValid() || value.isNull())
        return;
    bool ok = false;
    const double number = value.toDouble(&ok);
    if (!ok || number != double(qRound(number))) {
        qCWarning(lcHostBus, "rollbackFrame '%s' is not a whole number; not stored",
                  qUtf8Printable(value.toString()));
        return;
    }
    if (!writeSetting(QStringLiteral("scan"), kRollbackFrame, qRound(number)))
        qCWarning(lcHostBus, "could not store scan/rollbackFrame");
}

void BusRouter::answerDatabaseQuery(const QVariantMap &param)
{
    if (!m_databaseService) {
        qCWarning(lcHostBus, "no database service; dataBaseQuery not answered");
        return;
    }
    QMetaObject::invokeMethod(
            this, [this, param] { deliverToPages(m_databaseService->answer(param)); }, Qt::QueuedConnection);
}

void BusRouter::deliverToPages(const QVariantMap &param)
{
    emit messageRouted(QStringLiteral("host"), param);
    emit pageDelivery(param);
}
