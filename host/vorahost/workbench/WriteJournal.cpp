#include "WriteJournal.h"

#include "HostLogging.h"
#include "StoredJson.h"

#include <QDateTime>
#include <QThread>

namespace {

// What a row of the main window shows of a value: enough to see the change,
// never a long text.
QString shortText(const QVariant &stored)
{
    constexpr int kMax = 200;
    const QString text = QString::fromUtf8(StoredJson::text(stored));
    return text.size() > kMax ? text.left(kMax) + QStringLiteral("…") : text;
}

} // namespace

WriteJournal::WriteJournal(QObject *parent) : QAbstractListModel(parent)
{ }

WriteJournal::~WriteJournal() = default;

bool WriteJournal::open(const QString &file, QString *error)
{
    QMutexLocker lock(&m_fileMutex);
    m_file.setFileName(file);
    // Unbuffered: each line is one write(2) on an O_APPEND descriptor, so it
    // is in the file, whole, the moment it is recorded.
    if (!m_file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered)) {
        *error = QStringLiteral("cannot append to the journal %1: %2").arg(file, m_file.errorString());
        return false;
    }
    return true;
}

QByteArray WriteJournal::line(const QDateTime &time, const QString &by, const VoraConfigWrite &write)
{
    QByteArray line = "{\"time\":" + StoredJson::text(QJsonValue(time.toString(Qt::ISODateWithMs)))
            + ",\"by\":" + StoredJson::text(QJsonValue(by))
            + ",\"table\":" + StoredJson::text(QJsonValue(write.table)) + ",\"key\":"
            + StoredJson::text(QJsonValue(write.key)) + ",\"old\":" + StoredJson::text(write.oldValue)
            + ",\"new\":" + StoredJson::text(write.newValue) + ",\"ok\":" + (write.ok ? "true" : "false");
    if (!write.ok)
        line += ",\"error\":" + StoredJson::text(QJsonValue(write.error));
    return line + '}';
}

void WriteJournal::record(const QString &by, const VoraConfigWrite &write)
{
    const QDateTime now = QDateTime::currentDateTimeUtc();
    {
        QMutexLocker lock(&m_fileMutex);
        if (m_file.isOpen() && !m_fileFailed) {
            const QByteArray text = line(now, by, write) + '\n';
            if (m_file.write(text) != text.size()) {
                // One warning, not one per write: the disk is full or gone.
                m_fileFailed = true;
                qCWarning(lcHostApp, "journal %s: %s; no further lines are written",
                          qUtf8Printable(m_file.fileName()), qUtf8Printable(m_file.errorString()));
            }
        }
    }
    const Entry entry{now.toMSecsSinceEpoch(),   by,       write.table, write.key, shortText(write.oldValue),
                      shortText(write.newValue), write.ok, write.error};
    if (QThread::currentThread() == thread())
        append(entry);
    else
        QMetaObject::invokeMethod(
                this, [this, entry] { append(entry); }, Qt::QueuedConnection);
}

void WriteJournal::append(const Entry &entry)
{
    if (int(m_entries.size()) >= Capacity) {
        beginRemoveRows(QModelIndex(), 0, 0);
        m_entries.pop_front();
        endRemoveRows();
    }
    const int row = int(m_entries.size());
    beginInsertRows(QModelIndex(), row, row);
    m_entries.push_back(entry);
    endInsertRows();
    emit countChanged();
    emit recorded();
}

int WriteJournal::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_entries.size());
}

QVariant WriteJournal::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= int(m_entries.size()))
        return QVariant();
    const Entry &entry = m_entries[size_t(index.row())];
    switch (role) {
    case TimeRole:
        return QDateTime::fromMSecsSinceEpoch(entry.time).toString(QStringLiteral("HH:mm:ss.zzz"));
    case ByRole:
        return entry.by;
    case TableRole:
        return entry.table;
    case KeyRole:
        return entry.key;
    case OldRole:
        return entry.oldText;
    case NewRole:
        return entry.newText;
    case OkRole:
        return entry.ok;
    case ErrorRole:
        return entry.error;
    default:
        return QVariant();
    }
}

QHash<int, QByteArray> WriteJournal::roleNames() const
{
    return {{TimeRole, "time"}, {ByRole, "by"},   {TableRole, "table"}, {KeyRole, "key"},
            {OldRole, "old"},   {NewRole, "new"}, {OkRole, "ok"},       {ErrorRole, "error"}};
}
