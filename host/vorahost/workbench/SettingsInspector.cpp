#include "SettingsInspector.h"

#include "BusJson.h"
#include "BusRouter.h"
#include "HostLogging.h"
#include "Protocol.h"
#include "SnapshotKeeper.h"
#include "StoredJson.h"
#include "VoraSqlite.h"
#include "WindowWatch.h"

#include <VoraConfigSQLite.h>

#include <QColor>
#include <QFile>
#include <QJsonDocument>
#include <QQmlContext>
#include <QQmlEngine>
#include <QQuickWindow>

namespace {

using Reading = SettingsInspector::Reading;

// The developer mode's settings in the plug-in's reading order, with the
// database row each one lives in and how the plug-in reads it back.
QVector<SettingsInspector::Row> settingsTable()
{
    auto row = [](const char *key, const char *table, const char *dbKey, Reading reading) {
        SettingsInspector::Row r;
        r.key = QLatin1String(key);
        r.table = QLatin1String(table);
        r.dbKey = QLatin1String(dbKey);
        r.reading = reading;
        return r;
    };
    QVector<SettingsInspector::Row> rows{
            row("enableScanDistanceValue", "", "", Reading::None),
            row("enableSecondCameraWindow", "ui", "cameraVideo.E7.needRightCamera", Reading::Bool),
            row("enableSaveReadImage", "", "", Reading::None),
            row("enableSaveCaliImage", "calibration", "calibSavePic", Reading::Bool),
            row("enableReadCaliImage", "calibration", "readPicMod", Reading::Bool),
            row("enableSaveScanImage", "scan", "IRSpeckle.If_Save_Pic", Reading::NonZero),
            row("enableSaveScanImage_GrayPic", "scan", "IRSpeckle.If_Save_GrayPic", Reading::NonZero),
            row("enableSaveScanImage_ColorPic", "scan", "IRSpeckle.If_Save_ColorPic", Reading::NonZero),
            row("enableReadScanImage", "scan", "IRSpeckle.If_Read_Pic", Reading::NonZero),
            row("enablePseudoColor", "", "", Reading::None)};
    for (int n = 1; n <= 6; ++n) {
        for (const char *kind : {"section", "bound"}) {
            const QString key = QStringLiteral("pseudo_color_%1_%2").arg(QLatin1String(kind)).arg(n);
            SettingsInspector::Row r = row("", "scan", "",
                                           qstrcmp(kind, "bound") == 0 ? Reading::Colour : Reading::AsStored);
            r.key = key;
            r.dbKey = QStringLiteral("IRSpeckle.") + key;
            rows.append(r);
        }
    }
    // Not the plug-in's row: the host's settings module keeps the count.
    rows.append(row("rollbackFrame", "scan", "rollbackFrame", Reading::Count));
    rows.append(row("enableWatermark", "config", "watermarkEnabled", Reading::BoolOrTrue));
    return rows;
}

QJsonValue colourName(const QColor &colour)
{
    return BusJson::toJson(QVariant(colour));
}

// The value the plug-in would take from the stored one.
QJsonValue asThePluginReads(const SettingsInspector::Row &row)
{
    const QVariant &stored = row.database;
    switch (row.reading) {
    case Reading::Bool:
        return stored.toBool();
    case Reading::BoolOrTrue:
        return stored.isValid() ? stored.toBool() : true;
    case Reading::NonZero:
        return stored.toInt() != 0;
    case Reading::Colour: {
        const QStringList parts = stored.toString().split(QLatin1Char(','));
        if (parts.size() != 3)
            return colourName(Qt::black);
        const int r = parts[0].toInt(), g = parts[1].toInt(), b = parts[2].toInt();
        const bool inRange = r >= 0 && r <= 255 && g >= 0 && g <= 255 && b >= 0 && b <= 255;
        return colourName(inRange ? QColor(r, g, b) : QColor());
    }
    default:
        return QJsonValue::fromVariant(stored);
    }
}

// The value as the page passes it to updateValue.
QVariant pageForm(Reading reading, const QJsonValue &entry)
{
    switch (reading) {
    case Reading::Colour:
        return QColor(entry.toString());
    case Reading::AsStored:
        return entry.toDouble();
    case Reading::Count:
        return entry.toInt();
    default:
        return entry.toBool();
    }
}

bool isKnown(const QJsonValue &value)
{
    return !value.isUndefined() && !value.isNull();
}

QString displayText(const QJsonValue &value)
{
    return value.isUndefined() ? QStringLiteral("—") : QString::fromUtf8(StoredJson::text(value));
}

// Reads the stored values of the rows that have one, each with its storage
// class, on a read-only connection of its own.
void readDatabase(const QString &file, QVector<SettingsInspector::Row> *rows)
{
    VoraSqlite::Connection db;
    if (!db.open(file, VoraSqlite::Connection::ReadOnly)) {
        qCWarning(lcHostDb, "inspector: cannot read %s: %s", qUtf8Printable(file),
                  qUtf8Printable(db.errorText()));
        return;
    }
    db.setBusyTimeout(VoraConfigSQLite::LockTimeoutMs);
    for (SettingsInspector::Row &row : *rows) {
        row.database = QVariant();
        row.hasRow = false;
        if (row.table.isEmpty())
            continue;
        VoraSqlite::Statement select(
                db, QStringLiteral("select value from \"%1\" where key = ?1").arg(row.table).toUtf8());
        if (!select.isValid())
            continue;
        select.bind(1, row.dbKey);
        if (select.step() == SQLITE_ROW) {
            row.hasRow = true;
            row.database = VoraSqlite::shownForm(select.value(0));
        }
    }
}

} // namespace

SettingsInspector::SettingsInspector(BusRouter *router, QQmlEngine *engine, const QString &databaseFile,
                                     QObject *parent)
    : QAbstractListModel(parent),
      m_engine(engine),
      m_databaseFile(databaseFile),
      m_window(new WindowWatch(Protocol::DeveloperModeTitle, this))
{
    connect(router, &BusRouter::messageRouted, this, &SettingsInspector::onMessage);
    connect(m_window, &WindowWatch::changed, this, &SettingsInspector::onWindowChanged);
}

SettingsInspector::~SettingsInspector() = default;

void SettingsInspector::onMessage(const QString &from, const QVariantMap &param)
{
    const QString cmd = param.value(Protocol::Cmd).toString();
    if (from == Protocol::FromPlugin && cmd == Protocol::DeveloperModeEnabledChanged) {
        setMode(param.value(QStringLiteral("enabled")).toBool() ? Protocol::ModeLoading : Protocol::ModeOff);
        m_lastSettings.clear();
    } else if (from == Protocol::FromPlugin && cmd == Protocol::DeveloperModeSettingChanged) {
        m_lastSettings = param.value(QStringLiteral("settings")).toMap();
        if (m_mode == Protocol::ModeLoading
            && param.value(QStringLiteral("changedKey")).toString() == QLatin1String("all"))
            setMode(Protocol::ModeOn);
    }
    // The window shows up, or goes, inside the delivery of this message.
    QMetaObject::invokeMethod(m_window, &WindowWatch::check, Qt::QueuedConnection);
    if (cmd.startsWith(QLatin1String("developerMode")) || cmd == Protocol::DataBaseResponseCmd)
        scheduleRefresh();
}

void SettingsInspector::onWindowChanged()
{
    // The plug-in sets its controller on the engine just before it shows a
    // new window; only then is the context property sure to be alive (it is
    // left dangling when the controller goes), so it is read only then and
    // held by a guarded pointer.
    QWindow *window = m_window->window();
    if (window && m_controllerWindow != window && m_mode != Protocol::ModeOff) {
        m_controllerWindow = window;
        m_controller = m_engine->rootContext()
                               ->contextProperty(QStringLiteral("$developerModeController"))
                               .value<QObject *>();
    }
    emit windowOpenChanged();
    emit revertBlockerChanged();
}

void SettingsInspector::setMode(const QString &mode)
{
    if (mode == m_mode)
        return;
    m_mode = mode;
    emit modeChanged();
    emit revertBlockerChanged();
}

bool SettingsInspector::windowOpen() const
{
    return m_window->isOpen();
}

QString SettingsInspector::revertBlocker() const
{
    if (m_mode == Protocol::ModeOff)
        return QStringLiteral("the developer mode is off");
    if (m_mode == Protocol::ModeLoading)
        return QStringLiteral("the developer mode is still loading its settings");
    if (!m_window->isOpen() || !m_controller)
        return QStringLiteral("the developer-mode window is not open: revert goes through it "
                              "(Show window)");
    return QString();
}

int SettingsInspector::changedCount() const
{
    return int(std::count_if(m_rows.cbegin(), m_rows.cend(), [](const Row &row) { return row.changed; }));
}

int SettingsInspector::mismatchCount() const
{
    return int(std::count_if(m_rows.cbegin(), m_rows.cend(), [](const Row &row) { return row.mismatch; }));
}

void SettingsInspector::scheduleRefresh()
{
    if (m_refreshPending)
        return;
    m_refreshPending = true;
    QMetaObject::invokeMethod(this, &SettingsInspector::refresh, Qt::QueuedConnection);
}

QJsonObject SettingsInspector::readSnapshot() const
{
    QFile file(SnapshotKeeper::snapshotFile());
    // The plug-in's snapshot is about a kilobyte; anything far bigger is not it.
    if (!file.open(QIODevice::ReadOnly) || file.size() > 1024 * 1024)
        return QJsonObject();
    return QJsonDocument::fromJson(file.readAll()).object();
}

void SettingsInspector::refresh()
{
    m_refreshPending = false;
    QVector<Row> rows;
    if (m_mode != Protocol::ModeOff) {
        rows = settingsTable();
        const QJsonObject snapshot = readSnapshot();
        const bool fromSnapshot = snapshot.value(QStringLiteral("last")).isObject();
        const QJsonObject init = snapshot.value(QStringLiteral("init")).toObject();
        const QJsonObject last = snapshot.value(QStringLiteral("last")).toObject();
        readDatabase(m_databaseFile, &rows);
        for (Row &row : rows) {
            row.entry = init.value(row.key);
            row.current = fromSnapshot
                    ? last.value(row.key)
                    : (m_lastSettings.contains(row.key) ? BusJson::toJson(m_lastSettings.value(row.key))
                                                        : QJsonValue(QJsonValue::Undefined));
            row.changed = !row.entry.isUndefined() && !row.current.isUndefined() && row.entry != row.current;
            row.mismatch = row.reading != Reading::None && isKnown(row.current)
                    && asThePluginReads(row) != row.current;
        }
    }
    // The same rows change in place: a revert button's delegate may be the
    // caller, and the view keeps its place.
    if (rows.size() == m_rows.size() && !rows.isEmpty()) {
        m_rows = rows;
        emit dataChanged(index(0), index(m_rows.size() - 1));
    } else {
        beginResetModel();
        m_rows = rows;
        endResetModel();
    }
    emit rowsRefreshed();
}

QByteArray SettingsInspector::inspectLine() const
{
    auto orNull = [](const QString &text) {
        return text.isEmpty() ? QByteArrayLiteral("null") : StoredJson::text(QJsonValue(text));
    };
    auto known = [](const QJsonValue &value) {
        return StoredJson::text(value.isUndefined() ? QJsonValue(QJsonValue::Null) : value);
    };
    QByteArrayList items;
    for (const Row &row : m_rows) {
        items.append("{\"key\":" + StoredJson::text(QJsonValue(row.key)) + ",\"entry\":" + known(row.entry)
                     + ",\"current\":" + known(row.current)
                     + ",\"database\":" + StoredJson::text(row.database) + ",\"table\":" + orNull(row.table)
                     + ",\"dbKey\":" + orNull(row.dbKey) + ",\"changed\":" + (row.changed ? "true" : "false")
                     + ",\"mismatch\":" + (row.mismatch ? "true" : "false") + '}');
    }
    return "{\"inspect\":[" + items.join(',') + "]}";
}

bool SettingsInspector::revertSetting(const QString &key, QString *error)
{
    *error = revertBlocker();
    if (!error->isEmpty())
        return false;
    if (m_rows.isEmpty())
        refresh();
    const auto row = std::find_if(m_rows.cbegin(), m_rows.cend(), [&](const Row &r) { return r.key == key; });
    if (row == m_rows.cend()) {
        *error = QStringLiteral("\"%1\" is not a setting of the developer mode").arg(key);
        return false;
    }
    if (!isKnown(row->entry)) {
        *error = QStringLiteral("%1 has no entry value in the snapshot").arg(key);
        return false;
    }
    QMetaObject::invokeMethod(m_controller, "updateValue", Q_ARG(QString, key),
                              Q_ARG(QVariant, pageForm(row->reading, row->entry)));
    scheduleRefresh();
    return true;
}

QString SettingsInspector::revertSetting(const QString &key)
{
    QString error;
    revertSetting(key, &error);
    return error;
}

QString SettingsInspector::revertAll()
{
    refresh();
    QStringList changed;
    for (const Row &row : qAsConst(m_rows)) {
        if (row.changed)
            changed.append(row.key);
    }
    QString error;
    for (const QString &key : qAsConst(changed)) {
        if (!revertSetting(key, &error))
            return error;
    }
    return QString();
}

int SettingsInspector::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_rows.size();
}

QVariant SettingsInspector::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_rows.size())
        return QVariant();
    const Row &row = m_rows.at(index.row());
    switch (role) {
    case KeyRole:
        return row.key;
    case EntryRole:
        return displayText(row.entry);
    case CurrentRole:
        return displayText(row.current);
    case DatabaseRole:
        if (row.table.isEmpty())
            return QString();
        return row.hasRow ? QString::fromUtf8(StoredJson::text(row.database)) : QStringLiteral("no row");
    case TableRole:
        return row.table;
    case DbKeyRole:
        return row.dbKey;
    case ChangedRole:
        return row.changed;
    case MismatchRole:
        return row.mismatch;
    case CurrentColourRole:
        return row.reading == Reading::Colour ? row.current.toString() : QString();
    default:
        return QVariant();
    }
}

QHash<int, QByteArray> SettingsInspector::roleNames() const
{
    return {{KeyRole, "key"},           {EntryRole, "entry"},       {CurrentRole, "current"},
            {DatabaseRole, "database"}, {TableRole, "table"},       {DbKeyRole, "dbKey"},
            {ChangedRole, "changed"},   {MismatchRole, "mismatch"}, {CurrentColourRole, "currentColour"}};
}
