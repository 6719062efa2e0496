#pragma once

#include "BusRouter.h"
#include "DatabaseService.h"
#include "ScannerModule.h"
#include "SettingsStore.h"
#include "SnapshotKeeper.h"

#include <QObject>
#include <QPointer>

#include <memory>

// The host's modules that the plug-in and its pages talk to: the settings
// store, the snapshot keeper, the database service and the scanning module's
// stand-in. They are handed to the router as its table of handlers, one row
// per command (handlers()), from construction until destruction. Answers go
// out on a later event-loop turn, as on the real bus, never from inside the
// publish call that asked. docs/design.md tells how they keep the developer
// mode safe.
class HostModules : public QObject
{
public:
    // Without a snapshot keeper (unit tests) the snapshot is left alone.
    HostModules(BusRouter *router, const QString &databaseFile,
                std::unique_ptr<SnapshotKeeper> snapshot = {});
    ~HostModules() override;

    BusRouter::Table handlers();
    DatabaseService &databaseService() { return m_database; }

private:
    QPointer<BusRouter> m_router;
    std::unique_ptr<SnapshotKeeper> m_snapshot;
    SettingsStore m_settings;
    ScannerModule m_scanner;
    DatabaseService m_database;
};
