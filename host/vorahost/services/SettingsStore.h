#pragma once

#include <QObject>
#include <QVariant>
#include <QVariantMap>

class BusRouter;

// The host's settings module. It remembers the developer mode's switch in
// config/developerModeEnabled, so that the mode comes back after a restart,
// and holds scan/rollbackFrame, which the developer mode asks for and changes
// over the bus. Its reads and writes go through HostConfigStrategy, so the
// write journal names the host as their writer.
class SettingsStore : public QObject
{
public:
    explicit SettingsStore(BusRouter *router, QObject *parent = nullptr);

    static QVariant read(const QString &table, const QString &key);
    static bool write(const QString &table, const QString &key, const QVariant &value);

    void storeDeveloperMode(bool on);
    // "developerModeQuerySetting": scan/rollbackFrame goes back to the plug-in
    // on the next event-loop turn, as on the real bus.
    void answerQuery(const QVariantMap &param);
    // The rollbackFrame of the settings that "developerModeSettingChanged"
    // carries, when it is there and a whole number in an int's range.
    void storeRollbackFrame(const QVariantMap &settings);

private:
    BusRouter *m_router;
};
