#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QVariantMap>

class DatabaseService;
class SnapshotGuard;

namespace CommonLib {
class VoraBox;
class VoraQObject;
struct VoraBusMessage;
} // namespace CommonLib

// The host's side of the bus. Messages from the host (its main window, a
// script, its own modules' answers) go to the plug-in's controller; messages
// the plug-in or one of its pages publishes go to the host's modules, which
// this class stands in for:
//   - the settings store: "developerModeEnabledChanged" is remembered in
//     config/developerModeEnabled, so the developer mode comes back after a
//     restart; "rollbackFrame" lives in scan/rollbackFrame, is answered to
//     "developerModeQuerySetting" and follows every "developerModeSettingChanged";
//   - the keeper of the developer mode's snapshot (SnapshotGuard): it records
//     the snapshot's database when the mode is switched on, and when a leave
//     could not store its restore (the full settings arrive with writes that
//     were not stored), it puts back the snapshot the plug-in then removes,
//     so that the developer mode comes back and can be left again;
//   - the database service: "dataBaseQuery" is answered to the pages;
//   - the scanning module: "refreshRealTimeSetup" is acknowledged in the log.
// Answers go out on a later event-loop turn, as on the real bus, never from
// inside the publish call that asked.
class BusRouter : public QObject
{
    Q_OBJECT

public:
    explicit BusRouter(CommonLib::VoraBox *box, QObject *parent = nullptr);
    ~BusRouter() override;

    void setPlugin(CommonLib::VoraQObject *controller);
    void setDatabaseService(DatabaseService *service);
    void setSnapshotGuard(SnapshotGuard *guard);

    // A message from the host to the plug-in's controller.
    void deliverToPlugin(const QVariantMap &param);
    // A message that a page published (through "$app").
    void publishFromPage(const QVariantMap &param);

signals:
    // Every message in the order it travels: from "host", "plugin" or "page".
    void messageRouted(const QString &from, const QVariantMap &param);
    // A host message for the pages; "$app" hands it to their onSubscribeData.
    void pageDelivery(const QVariantMap &param);

private:
    void onBoxPublished(const CommonLib::VoraBusMessage &message);
    void serveHostModules(const QVariantMap &param, int unstoredWrites);
    void developerModeSwitched(bool on);
    void answerSettingQuery(const QVariantMap &param);
    void applySettings(const QVariantMap &param);
    void answerDatabaseQuery(const QVariantMap &param);
    void deliverToPages(const QVariantMap &param);

    CommonLib::VoraBox *m_box;
    QPointer<CommonLib::VoraQObject> m_plugin;
    DatabaseService *m_databaseService = nullptr;
    SnapshotGuard *m_snapshot = nullptr;
    // The snapshot as it was when a leave's restore was not stored.
    QByteArray m_keptSnapshot;
};
