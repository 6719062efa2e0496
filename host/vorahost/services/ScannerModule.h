#pragma once

#include <QVariantMap>

// The scanning module's stand-in. The host drives no scanner, so a refresh of
// the real-time setup is only acknowledged in the log (vora.host.scanner).
class ScannerModule
{
public:
    // "refreshRealTimeSetup"
    void refreshRealTimeSetup(const QVariantMap &param) const;
};
