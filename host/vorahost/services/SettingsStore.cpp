#include "SettingsStore.h"

#include "BusRouter.h"
#include "HostConfigStrategy.h"
#include "HostLogging.h"
#include "Protocol.h"

#include <VoraConfigSQLite.h>

#include <cmath>
#include <limits>

namespace {

const QString kRollbackFrame = QStringLiteral("rollbackFrame");

} // namespace

SettingsStore::SettingsStore(BusRouter *router, QObject *parent) : QObject(parent), m_router(router)
{ }

QVariant SettingsStore::read(const QString &table, const QString &key)
{
    HostConfigStrategy strategy(table);
    VoraConfigSQLite db;
    db.open(&strategy);
    return db.getConfig(key, QVariant(), &strategy);
}

bool SettingsStore::write(const QString &table, const QString &key, const QVariant &value)
{
    HostConfigStrategy strategy(table);
    VoraConfigSQLite db;
    if (db.open(&strategy) != VoraConfigOk)
        return false;
    return db.setConfig(key, value, &strategy) == VoraConfigOk;
}

void SettingsStore::storeDeveloperMode(bool on)
{
    const QString key = QStringLiteral("developerModeEnabled");
    if (!write(QStringLiteral("config"), key, on))
        qCWarning(lcHostBus, "could not store config/%s", qUtf8Printable(key));
}

void SettingsStore::answerQuery(const QVariantMap &param)
{
    const QString key = param.value(QStringLiteral("key")).toString();
    if (key != kRollbackFrame) {
        qCWarning(lcHostBus, "no host module holds the setting '%s'; query not answered",
                  qUtf8Printable(key));
        return;
    }
    QMetaObject::invokeMethod(
            this,
            [this, key] {
                bool ok = false;
                const int value = read(QStringLiteral("scan"), key).toInt(&ok);
                if (!ok) {
                    qCWarning(lcHostBus, "scan/%s is missing or not a number; query not answered",
                              qUtf8Printable(key));
                    return;
                }
                m_router->deliverToPlugin({{Protocol::Cmd, Protocol::DeveloperModeQuerySettingResp},
                                           {QStringLiteral("module"), QStringLiteral("DeveloperMode")},
                                           {QStringLiteral("key"), key},
                                           {QStringLiteral("value"), value}});
            },
            Qt::QueuedConnection);
}

void SettingsStore::storeRollbackFrame(const QVariantMap &settings)
{
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
    if (!write(QStringLiteral("scan"), kRollbackFrame, qRound(number)))
        qCWarning(lcHostBus, "could not store scan/rollbackFrame");
}
