#include "BusLogModel.h"

#include "BusJson.h"
#include "Protocol.h"

#include <QClipboard>
#include <QDateTime>
#include <QGuiApplication>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

constexpr int kLongString = 4096;
constexpr int kLongList = 100;
constexpr int kMaxDepth = 32;

// Characters the message would take as JSON, roughly; cheap, no copy.
qint64 estimate(const QVariant &value, int depth = 0)
{
    if (depth > kMaxDepth)
        return 0;
    switch (value.userType()) {
    case QMetaType::QString:
        return value.toString().size() + 2;
    case QMetaType::QVariantMap: {
        qint64 size = 2;
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            size += it.key().size() + 4 + estimate(it.value(), depth + 1);
        return size;
    }
    case QMetaType::QVariantList: {
        qint64 size = 2;
        const QVariantList list = value.toList();
        for (const QVariant &item : list)
            size += 1 + estimate(item, depth + 1);
        return size;
    }
    default:
        return 8;
    }
}

// The message with long texts, lists and maps cut, each with a note of what
// is missing, within a budget of characters for the whole message: what is
// left is small whatever the message was, however it is nested.
QVariant shorten(const QVariant &value, qint64 *budget, int depth = 0)
{
    switch (value.userType()) {
    case QMetaType::QString: {
        const QString text = value.toString();
        const int keep = int(qBound<qint64>(0, *budget, kLongString));
        *budget -= qMin(keep, text.size());
        if (text.size() <= keep)
            return text;
        return text.left(keep)
                + QStringLiteral("… [%1 more characters not kept in the log]").arg(text.size() - keep);
    }
    case QMetaType::QVariantMap: {
        if (depth > kMaxDepth)
            return QStringLiteral("[nested too deep]");
        const QVariantMap map = value.toMap();
        QVariantMap kept;
        for (auto it = map.cbegin(); it != map.cend() && kept.size() < kLongList && *budget > 0; ++it) {
            *budget -= it.key().size();
            kept.insert(it.key(), shorten(it.value(), budget, depth + 1));
        }
        if (map.size() > kept.size())
            kept.insert(QStringLiteral("…"),
                        QStringLiteral("[%1 more keys not kept in the log]").arg(map.size() - kept.size()));
        return kept;
    }
    case QMetaType::QVariantList: {
        if (depth > kMaxDepth)
            return QStringLiteral("[nested too deep]");
        const QVariantList list = value.toList();
        QVariantList kept;
        for (int i = 0; i < list.size() && i < kLongList && *budget > 0; ++i)
            kept.append(shorten(list.at(i), budget, depth + 1));
        if (list.size() > kept.size())
            kept.append(QStringLiteral("… [%1 more items not kept in the log]").arg(list.size() - kept.size()));
        return kept;
    }
    default:
        *budget -= 8;
        return value;
    }
}

} // namespace

BusLogModel::BusLogModel(QObject *parent) : QAbstractListModel(parent)
{ }

BusLogModel::~BusLogModel() = default;

void BusLogModel::add(const QString &from, const QVariantMap &param)
{
    const QVariant message = BusJson::plain(param);
    Entry entry;
    entry.time = QDateTime::currentMSecsSinceEpoch();
    entry.from = from;
    entry.cmd = param.value(Protocol::Cmd).toString();
    entry.refused = param.value(QStringLiteral("refused")).toBool();
    entry.reason = param.value(QStringLiteral("reason")).toString().left(DisplayLength);
    entry.size = estimate(message);
    entry.shortened = entry.size > MessageCap;
    qint64 budget = MessageCap;
    const QJsonValue json = BusJson::toJson(entry.shortened ? shorten(message, &budget) : message);
    entry.kept = QJsonDocument(json.toObject()).toJson(QJsonDocument::Compact);
    entry.display = QString::fromUtf8(entry.kept.left(DisplayLength * 4)).left(DisplayLength);
    m_keptBytes += entry.kept.size();

    if (int(m_entries.size()) >= Capacity) {
        if (!m_visible.empty() && m_visible.front() == m_firstSeq) {
            beginRemoveRows(QModelIndex(), 0, 0);
            m_visible.pop_front();
            endRemoveRows();
        }
        m_keptBytes -= m_entries.front().kept.size();
        m_entries.pop_front();
        ++m_firstSeq;
    }
    const bool shown = matches(entry);
    m_entries.push_back(std::move(entry));
    if (shown) {
        const int row = int(m_visible.size());
        beginInsertRows(QModelIndex(), row, row);
        m_visible.push_back(m_firstSeq + m_entries.size() - 1);
        endInsertRows();
        emit countChanged();
    }
    boundKeptText();
}

void BusLogModel::boundKeptText()
{
    for (Entry &entry : m_entries) {
        if (m_keptBytes <= TotalCap)
            return;
        if (!entry.kept.isEmpty()) {
            m_keptBytes -= entry.kept.size();
            entry.kept = QByteArray();
            entry.dropped = true;
        }
    }
}

bool BusLogModel::matches(const Entry &entry) const
{
    if (m_filter.isEmpty())
        return true;
    if (entry.from.contains(m_filter, Qt::CaseInsensitive))
        return true;
    return entry.dropped ? entry.display.contains(m_filter, Qt::CaseInsensitive)
                         : QString::fromUtf8(entry.kept).contains(m_filter, Qt::CaseInsensitive);
}

void BusLogModel::setFilter(const QString &filter)
{
    if (filter == m_filter)
        return;
    beginResetModel();
    m_filter = filter;
    m_visible.clear();
    for (size_t i = 0; i < m_entries.size(); ++i) {
        if (matches(m_entries[i]))
            m_visible.push_back(m_firstSeq + i);
    }
    endResetModel();
    emit filterChanged();
    emit countChanged();
}

void BusLogModel::clear()
{
    beginResetModel();
    m_firstSeq += m_entries.size();
    m_entries.clear();
    m_visible.clear();
    m_keptBytes = 0;
    endResetModel();
    emit countChanged();
}

const BusLogModel::Entry &BusLogModel::entryAt(int row) const
{
    return m_entries[size_t(m_visible[size_t(row)] - m_firstSeq)];
}

QString BusLogModel::fullText(int row) const
{
    if (row < 0 || row >= count())
        return QString();
    const Entry &entry = entryAt(row);
    QString note;
    if (entry.dropped)
        return entry.display
                + QStringLiteral("\n\n[the rest of this message was dropped: the log keeps at most %1 MiB of "
                                 "message text]")
                          .arg(TotalCap / (1024 * 1024));
    if (entry.shortened)
        note = QStringLiteral("[a message of about %1 characters: texts over %2 characters, lists and maps over "
                              "%3 items are shortened here]\n")
                       .arg(entry.size)
                       .arg(kLongString)
                       .arg(kLongList);
    return note + QString::fromUtf8(QJsonDocument::fromJson(entry.kept).toJson(QJsonDocument::Indented));
}

void BusLogModel::copy(int row) const
{
    QGuiApplication::clipboard()->setText(fullText(row));
}

int BusLogModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : count();
}

QVariant BusLogModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= count())
        return QVariant();
    const Entry &entry = entryAt(index.row());
    switch (role) {
    case TimeRole:
        return QDateTime::fromMSecsSinceEpoch(entry.time).toString(QStringLiteral("HH:mm:ss.zzz"));
    case FromRole:
        return entry.from;
    case CmdRole:
        return entry.cmd;
    case TextRole:
        return entry.display;
    case RefusedRole:
        return entry.refused;
    case ReasonRole:
        return entry.reason;
    default:
        return QVariant();
    }
}

QHash<int, QByteArray> BusLogModel::roleNames() const
{
    return {{TimeRole, "time"}, {FromRole, "from"},       {CmdRole, "cmd"},
            {TextRole, "text"}, {RefusedRole, "refused"}, {ReasonRole, "reason"}};
}
