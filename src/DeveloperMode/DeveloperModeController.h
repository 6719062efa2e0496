#pragma once

#include <QObject>
#include <QSharedPointer>
#include <QVariant>
#include <QVariantMap>

class ConfigStrategy;
class QEvent;
class QQuickView;
class VoraConfigSQLite;

// The developer mode while it is on: the settings window, the two settings
// maps (the values from before the developer mode, and the user's current
// ones), the write-through of each change into the host's configuration
// database, the snapshot file that survives a crash, and the restore when the
// developer mode is left.
class DeveloperModeController : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QVariantMap config READ config NOTIFY configChanged FINAL)

public:
    explicit DeveloperModeController(QObject *parent = nullptr);
    ~DeveloperModeController() override;

    const QVariantMap &config() const;

    // Stores one setting, writes it through to the database where it lives
    // there, notifies the view and the bus, and saves the snapshot.
    Q_INVOKABLE void updateValue(const QString &key, const QVariant &value);
    // Asks the owner to switch the developer mode off.
    Q_INVOKABLE void quitDeveloperMode();

    // Writes the values from before the developer mode back, announces them
    // and removes the snapshot. Called by the owner when switching off.
    void doQuitDeveloperMode();

    void onSubscribeData(const QString &topic, const QString &type, const QString &event,
                         const QVariantMap &param, const QString &module);
    void showView();

    bool eventFilter(QObject *watched, QEvent *event) override;

signals:
    void publish(const QVariantMap &param);
    void configChanged();

private:
    void initConfig();
    void getInitConfigFromDb();
    void saveConfig();
    void handleDeveloperModeQuerySettingResp(const QVariantMap &param);

    QSharedPointer<VoraConfigSQLite> m_configDb;
    QSharedPointer<ConfigStrategy> m_configStrategy;
    QQuickView *m_view = nullptr;
    QVariantMap m_config;
    QVariantMap m_initConfig;
};
