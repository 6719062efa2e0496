#include "ScannerModule.h"

#include "HostLogging.h"

void ScannerModule::refreshRealTimeSetup(const QVariantMap &param) const
{
    qCInfo(lcHostScanner, "real-time setup refreshed (isLaserScan %s, target %s)",
           param.value(QStringLiteral("isLaserScan")).toBool() ? "true" : "false",
           qUtf8Printable(param.value(QStringLiteral("target")).toString()));
}
