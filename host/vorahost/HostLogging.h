#pragma once

#include <QLoggingCategory>

// One category per host component, so a run can be narrowed with
// QT_LOGGING_RULES (for example "vora.host.bus.debug=false").
Q_DECLARE_LOGGING_CATEGORY(lcHostApp)
Q_DECLARE_LOGGING_CATEGORY(lcHostPlugin)
Q_DECLARE_LOGGING_CATEGORY(lcHostDb)
Q_DECLARE_LOGGING_CATEGORY(lcHostBus)
Q_DECLARE_LOGGING_CATEGORY(lcHostPage)
Q_DECLARE_LOGGING_CATEGORY(lcHostScript)
Q_DECLARE_LOGGING_CATEGORY(lcHostScanner)

namespace HostLogging {

// How vorahost prints every log line, the plug-in's and its pages' included:
// category, "warning: " for warnings, the message. Called once, before the
// application object exists.
void install();

} // namespace HostLogging
