#pragma once

#include <QString>

// The words of the host's side of the bus, written once: where a message
// comes from, the developer mode's states as the host shows them, the titles
// the plug-in's windows are found by, and the commands the host's modules
// take and answer with (docs/protocol.md).
namespace Protocol {

// Where a message travels from: the "from" of a bus line, and who made a
// write in the journal.
inline const QString FromHost = QStringLiteral("host");
inline const QString FromPlugin = QStringLiteral("plugin");
inline const QString FromPage = QStringLiteral("page");

// The developer mode's state in the main window and the settings inspector.
inline const QString ModeOff = QStringLiteral("off");
inline const QString ModeLoading = QStringLiteral("loading");
inline const QString ModeOn = QStringLiteral("on");

// Window titles, by which scripts and the workbench find the windows.
inline const QString MainWindowTitle = QStringLiteral("vorahost");
inline const QString DeveloperModeTitle = QStringLiteral("开发者模式");
inline const QString ConfigEditorTitle = QStringLiteral("配置工具");

// The field of a parameter map that names its command.
inline const QString Cmd = QStringLiteral("cmd");

// Commands the host's modules take.
inline const QString DeveloperModeEnabledChanged = QStringLiteral("developerModeEnabledChanged");
inline const QString DeveloperModeQuerySetting = QStringLiteral("developerModeQuerySetting");
inline const QString DeveloperModeSettingChanged = QStringLiteral("developerModeSettingChanged");
inline const QString RefreshRealTimeSetup = QStringLiteral("refreshRealTimeSetup");
// A page's request to a service, which its "target" names.
inline const QString Query = QStringLiteral("query");
inline const QString DataBaseQuery = QStringLiteral("dataBaseQuery");

// The host's answers.
inline const QString DeveloperModeQuerySettingResp = QStringLiteral("developerModeQuerySettingResp");
inline const QString DataBaseResponseCmd = QStringLiteral("dataBaseResponseCmd");

} // namespace Protocol
