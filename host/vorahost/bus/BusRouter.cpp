#include "BusRouter.h"

#include "DatabaseService.h"
#include "HostConfigStrategy.h"
#include "HostLogging.h"
#include "SnapshotGuard.h"

#include <VoraBox.h>
#include <VoraConfigSQLite.h>
#include <VoraQObject.h>

#include <cmath>
#include <limits>
#include <utility>

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

void BusRouter::setSnapshotGuard(SnapshotGuard *guard)
{
    m_snapshot = guard;
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
    serveHostModules(param, 0);
}

void BusRouter::onBoxPublished(const CommonLib::VoraBusMessage &message)
{
    emit messageRouted(QStringLiteral("plugin"), message.param);
    serveHostModules(message.param, message.unstoredWrites);
}

void BusRouter::serveHostModules(const QVariantMap &param, int unstoredWrites)
{
    const QString cmd = param.value(kCmd).toString();
    if (cmd == QLatin1String("developerModeEnabledChanged")) {
        developerModeSwitched(param.value(QStringLiteral("enabled")).toBool());
    } else if (cmd == QLatin1String("developerModeQuerySetting")) {
        answerSettingQuery(param);
    } else if (cmd == QLatin1String("developerModeSettingChanged")) {
        // Leaving announces the restored settings before it removes the
        // snapshot: the last moment to keep a copy when the restore did not
        // reach the database (a lock held too long, a full disk, a leave
        // before the plug-in had opened its database).
        if (m_snapshot && param.value(QStringLiteral("changedKey")) == QLatin1String("all"))
            m_keptSnapshot = unstoredWrites > 0 ? m_snapshot->read() : QByteArray();
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

void BusRouter::developerModeSwitched(bool on)
{
    const QString key = QStringLiteral("developerModeEnabled");
    const QByteArray kept = std::exchange(m_keptSnapshot, QByteArray());
    // Put back only when the leave's own "false" did not land either: then
    // none of its restore did (it is stored as a whole or not at all).
    if (!on && !kept.isEmpty() && m_snapshot && !m_snapshot->exists()
        && readSetting(QStringLiteral("config"), key).toBool() && m_snapshot->restore(kept)) {
        qCWarning(lcHostBus,
                  "the developer mode was left but its restore was not stored; its snapshot %s "
                  "is kept, and the developer mode comes back at the next start",
                  qUtf8Printable(SnapshotGuard::snapshotFile()));
        on = true;
    } else if (m_snapshot) {
        if (on)
            m_snapshot->bind();
        else
            m_snapshot->release();
    }
    // The plug-in writes false itself when it leaves, but not when it is
    // switched off before it has opened its database.
    if (!writeSetting(QStringLiteral("config"), key, on))
        qCWarning(lcHostBus, "could not store config/%s", qUtf8Printable(key));
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
    // Range first: rounding NaN, infinity or 3e9 to an int is undefined.
    if (ok
        && !(std::isfinite(number) && number >= std::numeric_limits<int>::min()
             && number <= std::numeric_limits<int>::max())) {
        qCWarning(lcHostBus, "rollbackFrame '%s' is out of range; not stored",
                  qUtf8Printable(value.toString()));
        return;
    }
    if (!ok || number != std::floor(number)) {
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
