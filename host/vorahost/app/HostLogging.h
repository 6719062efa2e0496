#pragma once

#include <QLoggingCategory>

// One category per host component, so a run can be narrowed with
// QT_LOGGING_RULES (for example "vora.host.bus.debug=false").
Q_DECLARE_LOGGING_CATEGORY(lcHostApp)
Q_DECLARE_LOGGING_CATEGORY(lcHostPlugin)
Q_DECLARE_LOGGING_CATEGORY(lcHostDb) // defined in VoraSqlite
Q_DECLARE_LOGGING_CATEGORY(lcHostBus)
Q_DECLARE_LOGGING_CATEGORY(lcHostPage)
Q_DECLARE_LOGGING_CATEGORY(lcHostScript)
Q_DECLARE_LOGGING_CATEGORY(lcHostScanner)

namespace HostLogging {

// How vorahost prints every log line, the plug-in's and its pages' included,
// on stderr: the category (unless "default"), "warning: " for warnings, the
// message. Lines are buffered (see HostLogging.cpp); called once, first thing
// in main().
void install();

// Writes the buffered lines out whenever the event loop of the calling
// thread is about to wait. Called once the application object exists.
void flushWhenIdle();

// Writes the buffered lines out now: before anything goes to stdout, so a
// reader of both streams sees the log of a step before the step's result.
void flush();

} // namespace HostLogging
