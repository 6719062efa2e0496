#include "HostModules.h"

#include "Protocol.h"

HostModules::HostModules(BusRouter *router, const QString &databaseFile,
                         std::unique_ptr<SnapshotKeeper> snapshot)
    : m_router(router), m_snapshot(std::move(snapshot)), m_settings(router), m_database(databaseFile)
{
    m_router->setHandlers(handlers());
}

HostModules::~HostModules()
{
    if (m_router)
        m_router->setHandlers({});
}

BusRouter::Table HostModules::handlers()
{
    using namespace Protocol;
    const auto developerModeSwitched = [this](const QVariantMap &param, int) {
        bool on = param.value(QStringLiteral("enabled")).toBool();
        if (m_snapshot)
            on = m_snapshot->developerModeSwitched(on);
        // The plug-in writes false itself when it leaves, but not when it is
        // switched off before it has opened its database.
        m_settings.storeDeveloperMode(on);
    };
    const auto settingsChanged = [this](const QVariantMap &param, int unstoredWrites) {
        // A leave's restore misses the database when a lock is held too long,
        // the disk is full, or the plug-in had not opened its database yet.
        if (m_snapshot && param.value(QStringLiteral("changedKey")) == QLatin1String("all"))
            m_snapshot->restoreAnnounced(unstoredWrites);
        m_settings.storeRollbackFrame(param.value(QStringLiteral("settings")).toMap());
    };
    const auto databaseQuery = [this](const QVariantMap &param, int) {
        QMetaObject::invokeMethod(
                this, [this, param] { m_router->deliverToPages(m_database.answer(param)); },
                Qt::QueuedConnection);
    };
    return {
            {{DeveloperModeEnabledChanged, {}}, developerModeSwitched},
            {{DeveloperModeQuerySetting, {}},
             [this](const QVariantMap &param, int) { m_settings.answerQuery(param); }},
            {{DeveloperModeSettingChanged, {}}, settingsChanged},
            {{Query, DataBaseQuery}, databaseQuery},
            {{RefreshRealTimeSetup, {}},
             [this](const QVariantMap &param, int) { m_scanner.refreshRealTimeSetup(param); }},
    };
}
