// Qt's own operator+(const char *, const QString &) would collide with the one
// this file defines for the "IRSpeckle." database keys; without the implicit
// ASCII casts every literal here is a QStringLiteral or QLatin1String anyway.
#define QT_NO_CAST_FROM_ASCII

#include "DeveloperModeController.h"

#include "ConfigStrategy.h"

#include <VoraConfigSQLite.h>

#include <QColor>
#include <QCoreApplication>
#include <QDir>
#include <QEvent>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QQmlContext>
#include <QQmlEngine>
#include <QQuickView>
#include <QSaveFile>
#include <QTimer>
#include <QUrl>

// Builds the database keys of the scan table, "IRSpeckle." followed by a
// settings key; the text is read as UTF-8.
QString operator+(const char *text, const QString &string)
{
    return QString::fromUtf8(text) + string;
}

namespace {

const QString CmdKey = QStringLiteral("cmd");
const QString SettingChangedCmd = QStringLiteral("developerModeSettingChanged");
const QString ChangedKey = QStringLiteral("changedKey");
const QString SettingsKey = QStringLiteral("settings");
const QString AllKeys = QStringLiteral("all");

const QString TableConfig = QStringLiteral("config");
const QString TableUi = QStringLiteral("ui");
const QString TableCalibration = QStringLiteral("calibration");
const QString TableScan = QStringLiteral("scan");

const QString SnapshotFileName = QStringLiteral("developer_mode_temp.json");

// Joined as plain text and not normalised: the ".." stays in the path.
QString snapshotDirPath()
{
    return QCoreApplication::applicationDirPath() + QStringLiteral("/../Resources/ScanSets");
}

QString snapshotFilePath()
{
    return snapshotDirPath() + QLatin1Char('/') + SnapshotFileName;
}

QVariant asBool(const QVariant &value)
{
    return QVariant(value.toBool());
}

QVariant asFlag(const QVariant &value)
{
    return QVariant(value.toBool() ? 1 : 0);
}

// "r,g,b" in decimal, alpha dropped. The value holds a colour (from the
// page), a colour name (from a snapshot) or anything else, which converts to
// the invalid colour whose components read as 0.
QVariant asColorText(const QVariant &value)
{
    const QColor color = value.value<QColor>();
    return QVariant(QStringLiteral("%1,%2,%3").arg(color.red()).arg(color.green()).arg(color.blue()));
}

// The inverse of asColorText: exactly three parts, each a decimal number (a
// part that is not one counts as 0); any other text is black, and a part
// outside 0..255 makes the colour invalid.
QColor colorFromText(const QString &text)
{
    const QStringList parts = text.split(QLatin1Char(','), Qt::KeepEmptyParts, Qt::CaseSensitive);
    if (parts.size() != 3)
        return QColor(Qt::black);
    return QColor(parts.at(0).toInt(nullptr, 10), parts.at(1).toInt(nullptr, 10),
                  parts.at(2).toInt(nullptr, 10));
}

QVariantMap settingsMessage(const QString &changedKey, const QVariantMap &settings)
{
    return QVariantMap{{CmdKey, SettingChangedCmd}, {ChangedKey, changedKey}, {SettingsKey, settings}};
}

} // namespace

DeveloperModeController::DeveloperModeController(QObject *parent)
    : QObject(parent),
      m_configDb(QSharedPointer<VoraConfigSQLite>::create()),
      m_configStrategy(QSharedPointer<ConfigStrategy>::create(QString(), QString()))
{
    // The owner connects both signals right after construction; a second is
    // ample time for that, and the call dies with this object.
    QTimer::singleShot(1000, Qt::PreciseTimer, this, &DeveloperModeController::initConfig);
}

DeveloperModeController::~DeveloperModeController()
{
    if (m_view) {
        m_view->deleteLater();
        m_view = nullptr;
    }
}

const QVariantMap &DeveloperModeController::config() const
{
    return m_config;
}

void DeveloperModeController::initConfig()
{
    m_configDb->open(m_configStrategy.data());
    m_configDb->setConfigStrategy(m_configStrategy);

    const QString filePath = snapshotFilePath();
    bool loaded = false;
    if (QFile::exists(filePath)) {
        QFile file(filePath);
        if (file.open(QIODevice::ReadOnly)) {
            // Deliberately unchecked: a damaged snapshot gives empty maps
            // rather than a silent fall-back to the database, whose values
            // may already be the developer mode's own.
            const QJsonObject root = QJsonDocument::fromJson(file.readAll()).object();
            m_initConfig = root.value(QStringLiteral("init")).toObject().toVariantMap();
            m_config = root.value(QStringLiteral("last")).toObject().toVariantMap();
            file.close();
            loaded = true;
        } else {
            qWarning("%s", qUtf8Printable(file.errorString()));
        }
    }
    if (!loaded) {
        getInitConfigFromDb();
        m_config = m_initConfig;
        saveConfig();
    }

    emit configChanged();
    emit publish(settingsMessage(AllKeys, m_config));
}

void DeveloperModeController::getInitConfigFromDb()
{
    // The strategy's table decides which table each read goes to, so the
    // order of the groups below matters.
    m_initConfig[QStringLiteral("enableScanDistanceValue")] = false;

    m_configStrategy->m_tableName = TableUi;
    m_initConfig[QStringLiteral("enableSecondCameraWindow")] =
            m_configDb->getConfig(QStringLiteral("cameraVideo.E7.needRightCamera"), QVariant(), nullptr)
                    .toBool();

    m_initConfig[QStringLiteral("enableSaveReadImage")] = true;

    m_configStrategy->m_tableName = TableCalibration;
    m_initConfig[QStringLiteral("enableSaveCaliImage")] =
            m_configDb->getConfig(QStringLiteral("calibSavePic"), QVariant(), nullptr).toBool();
    m_initConfig[QStringLiteral("enableReadCaliImage")] =
            m_configDb->getConfig(QStringLiteral("readPicMod"), QVariant(), nullptr).toBool();

    // The scan switches are stored as integers, any non-zero one meaning on.
    m_configStrategy->m_tableName = TableScan;
    m_initConfig[QStringLiteral("enableSaveScanImage")] =
            m_configDb->getConfig(QStringLiteral("IRSpeckle.If_Save_Pic"), QVariant(), nullptr).toInt() != 0;
    m_initConfig[QStringLiteral("enableSaveScanImage_GrayPic")] =
            m_configDb->getConfig(QStringLiteral("IRSpeckle.If_Save_GrayPic"), QVariant(), nullptr).toInt()
            != 0;
    m_initConfig[QStringLiteral("enableSaveScanImage_ColorPic")] =
            m_configDb->getConfig(QStringLiteral("IRSpeckle.If_Save_ColorPic"), QVariant(), nullptr).toInt()
            != 0;
    m_initConfig[QStringLiteral("enableReadScanImage")] =
            m_configDb->getConfig(QStringLiteral("IRSpeckle.If_Read_Pic"), QVariant(), nullptr).toInt() != 0;

    m_initConfig[QStringLiteral("enablePseudoColor")] = true;

    m_configStrategy->m_tableName = TableScan;
    for (int n = 1; n < 7; ++n) {
        const QString sectionKey = QStringLiteral("pseudo_color_section_%1").arg(n);
        const QString boundKey = QStringLiteral("pseudo_color_bound_%1").arg(n);
        m_initConfig[sectionKey] = m_configDb->getConfig("IRSpeckle." + sectionKey, QVariant(), nullptr);
        const QString boundText = m_configDb->getConfig("IRSpeckle." + boundKey, QVariant(), nullptr)
                                          .toString();
        m_initConfig[boundKey] = colorFromText(boundText);
    }

    // The rollback count belongs to another host module: a placeholder until
    // its answer arrives (handleDeveloperModeQuerySettingResp).
    m_initConfig[QStringLiteral("rollbackFrame")] = QVariant();
    emit publish(QVariantMap{{CmdKey, QStringLiteral("developerModeQuerySetting")},
                             {QStringLiteral("key"), QStringLiteral("rollbackFrame")}});

    m_configStrategy->m_tableName = TableConfig;
    m_initConfig[QStringLiteral("enableWatermark")] =
            m_configDb->getConfig(QStringLiteral("watermarkEnabled"), QVariant(true), nullptr).toBool();
}

void DeveloperModeController::saveConfig()
{
    const QString dirPath = snapshotDirPath();
    if (!QDir(dirPath).exists())
        QDir().mkpath(dirPath);

    // Written beside the old file and renamed over it, so that a crash in the
    // middle of a save leaves the previous snapshot whole.
    QSaveFile file(dirPath + QLatin1Char('/') + SnapshotFileName);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        qWarning("%s", qUtf8Printable(file.errorString()));
        return;
    }

    QJsonObject root;
    root.insert(QStringLiteral("init"), QJsonObject::fromVariantMap(m_initConfig));
    root.insert(QStringLiteral("last"), QJsonObject::fromVariantMap(m_config));
    const QByteArray bytes = QJsonDocument(root).toJson(QJsonDocument::Indented);
    // QSaveFile buffers: on a full disk the write "succeeds" into memory and
    // the error only shows when the buffer is flushed. commit() would then
    // rename a short file over the good one, so the flush is checked here.
    if (file.write(bytes) != bytes.size() || !file.flush()) {
        const QString error = file.errorString();
        file.cancelWriting();
        qWarning("%s", qUtf8Printable(error));
        return;
    }
    if (!file.commit())
        qWarning("%s", qUtf8Printable(file.errorString()));
}

void DeveloperModeController::updateValue(const QString &key, const QVariant &value)
{
    auto entry = m_config.find(key);
    if (entry == m_config.end())
        return;
    // The map keeps what QML sent; only the database gets a converted form.
    entry.value() = value;

    // The forms differ on purpose: "readPicMod" and the scan switches are
    // integers 0/1, the other switches booleans, the bounds "r,g,b" text.
    auto write = [this](const QString &table, const QString &dbKey, const QVariant &dbValue) {
        m_configStrategy->m_tableName = table;
        m_configDb->setConfig(dbKey, dbValue, nullptr);
    };
    if (key == QLatin1String("enableReadCaliImage")) {
        write(TableCalibration, QStringLiteral("readPicMod"), asFlag(value));
    } else if (key == QLatin1String("enableSaveCaliImage")) {
        write(TableCalibration, QStringLiteral("calibSavePic"), asBool(value));
    } else if (key == QLatin1String("enableSecondCameraWindow")) {
        write(TableUi, QStringLiteral("cameraVideo.E7.needRightCamera"), asBool(value));
    } else if (key.startsWith(QLatin1String("pseudo_color_"))) {
        m_configStrategy->m_tableName = TableScan;
        if (key.contains(QLatin1String("_section_")))
            write(TableScan, "IRSpeckle." + key, value);
        else if (key.contains(QLatin1String("_bound_")))
            write(TableScan, "IRSpeckle." + key, asColorText(value));
    } else if (key == QLatin1String("enableSaveScanImage")) {
        write(TableScan, QStringLiteral("IRSpeckle.If_Save_Pic"), asFlag(value));
    } else if (key == QLatin1String("enableSaveScanImage_GrayPic")) {
        write(TableScan, QStringLiteral("IRSpeckle.If_Save_GrayPic"), asFlag(value));
    } else if (key == QLatin1String("enableSaveScanImage_ColorPic")) {
        write(TableScan, QStringLiteral("IRSpeckle.If_Save_ColorPic"), asFlag(value));
    } else if (key == QLatin1String("enableReadScanImage")) {
        write(TableScan, QStringLiteral("IRSpeckle.If_Read_Pic"), asFlag(value));
    } else if (key == QLatin1String("enableWatermark")) {
        write(TableConfig, QStringLiteral("watermarkEnabled"), asBool(value));
    }
    // Anything else ("rollbackFrame", the three constant switches) lives
    // only in the maps, the snapshot and the notification below.

    emit configChanged();
    emit publish(settingsMessage(key, m_config));
    saveConfig();
}

void DeveloperModeController::quitDeveloperMode()
{
    // The owner runs this command itself and calls doQuitDeveloperMode().
    emit publish(
            QVariantMap{{CmdKey, QStringLiteral("enableDeveloperMode")}, {QStringLiteral("enabled"), false}});
}

void DeveloperModeController::doQuitDeveloperMode()
{
    auto write = [this](const QString &dbKey, const QVariant &dbValue) {
        m_configDb->setConfig(dbKey, dbValue, nullptr);
    };

    m_configStrategy->m_tableName = TableConfig;
    write(QStringLiteral("developerModeEnabled"), QVariant(false));

    // A key missing from the initial map is inserted as invalid by the reads
    // below and restored as false, 0, NULL or "0,0,0".
    m_configStrategy->m_tableName = TableUi;
    write(QStringLiteral("cameraVideo.E7.needRightCamera"),
          asBool(m_initConfig[QStringLiteral("enableSecondCameraWindow")]));

    m_configStrategy->m_tableName = TableCalibration;
    write(QStringLiteral("calibSavePic"), asBool(m_initConfig[QStringLiteral("enableSaveCaliImage")]));
    // A boolean here although a change writes 0/1: deliberate, kept so.
    write(QStringLiteral("readPicMod"), asBool(m_initConfig[QStringLiteral("enableReadCaliImage")]));

    m_configStrategy->m_tableName = TableScan;
    write(QStringLiteral("IRSpeckle.If_Save_Pic"),
          asFlag(m_initConfig[QStringLiteral("enableSaveScanImage")]));
    write(QStringLiteral("IRSpeckle.If_Save_GrayPic"),
          asFlag(m_initConfig[QStringLiteral("enableSaveScanImage_GrayPic")]));
    write(QStringLiteral("IRSpeckle.If_Save_ColorPic"),
          asFlag(m_initConfig[QStringLiteral("enableSaveScanImage_ColorPic")]));
    write(QStringLiteral("IRSpeckle.If_Read_Pic"),
          asFlag(m_initConfig[QStringLiteral("enableReadScanImage")]));

    m_configStrategy->m_tableName = TableScan;
    for (int n = 1; n < 7; ++n) {
        const QString sectionKey = QStringLiteral("pseudo_color_section_%1").arg(n);
        const QString boundKey = QStringLiteral("pseudo_color_bound_%1").arg(n);
        write("IRSpeckle." + sectionKey, m_initConfig[sectionKey]);
        write("IRSpeckle." + boundKey, asColorText(m_initConfig[boundKey]));
    }
    // "watermarkEnabled" is deliberately not restored: a watermark choice
    // made in the developer mode outlives it.

    emit publish(settingsMessage(AllKeys, m_initConfig));

    QFile::remove(snapshotFilePath());
}

void DeveloperModeController::onSubscribeData(const QString &topic, const QString &type, const QString &event,
                                              const QVariantMap &param, const QString &module)
{
    Q_UNUSED(topic)
    Q_UNUSED(type)
    Q_UNUSED(event)
    if (module != QLatin1String("DeveloperMode"))
        return;

    const QString cmd = param.value(CmdKey).toString();
    if (cmd == QLatin1String("showDeveloperModeView"))
        showView();
    else if (cmd == QLatin1String("queryDeveloperModeSetting"))
        emit publish(settingsMessage(AllKeys, config()));
    else if (cmd == QLatin1String("developerModeQuerySettingResp"))
        handleDeveloperModeQuerySettingResp(param);
}

void DeveloperModeController::handleDeveloperModeQuerySettingResp(const QVariantMap &param)
{
    const QString key = param.value(QStringLiteral("key")).toString();
    const int value = param.value(QStringLiteral("value")).toInt();

    const auto entry = m_initConfig.constFind(key);
    // Only a placeholder is filled: the first answer for a key wins.
    if (entry == m_initConfig.constEnd() || entry.value().isValid())
        return;

    m_initConfig.insert(key, value);
    m_config.insert(key, value);
    emit configChanged();
    saveConfig();
}

void DeveloperModeController::showView()
{
    if (m_view)
        return;

    const QVariant property = QCoreApplication::instance()->property("__vora_MainQmlEngine__");
    QQmlEngine *engine = qvariant_cast<QQmlEngine *>(property);
    if (!engine)
        engine = qobject_cast<QQmlEngine *>(qvariant_cast<QObject *>(property));

    if (engine) {
        m_view = new QQuickView(engine, nullptr);
    } else {
        m_view = new QQuickView(static_cast<QWindow *>(nullptr));
        engine = m_view->engine();
    }

    m_view->installEventFilter(this);
    m_view->setTitle(QStringLiteral("开发者模式"));
    engine->rootContext()->setContextProperty(QStringLiteral("$developerModeController"), this);
    m_view->setResizeMode(QQuickView::SizeRootObjectToView);
    m_view->setSource(
            QUrl(QStringLiteral("qrc:/DeveloperMode/views/DeveloperModeView.qml"), QUrl::TolerantMode));
    m_view->show();
}

bool DeveloperModeController::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_view && event->type() == QEvent::Close) {
        // The view is still inside its own close event: freed later.
        m_view->deleteLater();
        m_view = nullptr;
    }
    return QObject::eventFilter(watched, event);
}
