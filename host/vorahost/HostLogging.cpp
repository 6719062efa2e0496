#include "HostLogging.h"

Q_LOGGING_CATEGORY(lcHostApp, "vora.host.app")
Q_LOGGING_CATEGORY(lcHostPlugin, "vora.host.plugin")
Q_LOGGING_CATEGORY(lcHostDb, "vora.host.db")
Q_LOGGING_CATEGORY(lcHostBus, "vora.host.bus")
Q_LOGGING_CATEGORY(lcHostPage, "vora.host.page")
Q_LOGGING_CATEGORY(lcHostScript, "vora.host.script")
Q_LOGGING_CATEGORY(lcHostScanner, "vora.host.scanner")

namespace HostLogging {

void install()
{
    if (qEnvironmentVariableIsEmpty("QT_MESSAGE_PATTERN"))
        qSetMessagePattern(QStringLiteral(
                "%{if-category}%{category}: %{endif}%{if-warning}warning: %{endif}%{message}"));
}

} // namespace HostLogging
