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
    return {
            {{DeveloperModeEnabledChanged, {}},
             [this](const QVariantMap &p, int) { developerModeSwitched(p); }},
            {{DeveloperModeQuerySetting, {}},
             [this](const QVariantMap &p, int) { m_settings.answerQuery(p); }},
            {{DeveloperModeSettingChanged, {}},
             [this](const QVariantMap &p, int unstoredWrites) { settingsChanged(p, unstoredWrites); }},
            {{Query, DataBaseQuery}, [this](const QVariantMap &p, int) { answerDatabaseQuery(p); }},
            {{RefreshRealTimeSetup, {}},
             [this](const QVariantMap &p, int) { m_scanner.refreshRealTimeSetup(p); }},
    };
}

void HostModules::developerModeSwitched(const QVariantMap &param)
{
    bool on = param.value(QStringLiteral("enabled")).toBool();
    if (m_snapshot)
        on = m_snapshot->developerModeSwitched(on);
    // The plug-in writes false itself when it leaves, but not when it is
    // switched off before it has opened its database.
    m_settings.storeDeveloperMode(on);
}

void HostModules::settingsChanged(const QVariantMap &param, int unstoredWrites)
{
    // A leave's restore fails to reach the database when a lock is held too
    // long, the disk is full, or the plug-in had not opened its database yet.
    if (m_snapshot && param.value(QStringLiteral("changedKey")) == QLatin1String("all"))
        m_snapshot->restoreAnnounced(unstoredWrites);
    m_settings.storeRollbackFrame(param.value(QStringLiteral("settings")).toMap());
}

void HostModules::answerDatabaseQuery(const QVariantMap &param)
{
    QMetaObject::invokeMethod(
            this, [this, param] { m_router->deliverToPages(m_database.answer(param)); },
            Qt::QueuedConnection);
}
