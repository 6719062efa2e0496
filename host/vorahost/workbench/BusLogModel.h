#pragma once

#include <QAbstractListModel>
#include <QByteArray>
#include <QString>
#include <QVariantMap>

#include <deque>

// The main window's log of the bus: the last Capacity messages, each with
// its time, direction, command and a one-line text of at most DisplayLength
// characters; the whole message as JSON is made on demand (fullText) for the
// detail pane and the clipboard.
//
// A message is never kept whole when it is big: a 50,000-row listing is
// several megabytes, and the log must cost it no more than a small one. Its
// long values are shortened before it is turned into text (at most about
// MessageCap characters are kept, with a note), and the texts of all kept
// messages together stay under TotalCap by dropping the oldest ones' full
// text. The list is filtered by a text in the model itself, so the view only
// ever sees the rows it shows.
class BusLogModel : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(QString filter READ filter WRITE setFilter NOTIFY filterChanged)
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum Role { TimeRole = Qt::UserRole + 1, FromRole, CmdRole, TextRole, RefusedRole, ReasonRole };

    static constexpr int Capacity = 2000;
    static constexpr int DisplayLength = 300;
    static constexpr int MessageCap = 256 * 1024;
    static constexpr int TotalCap = 32 * 1024 * 1024;

    explicit BusLogModel(QObject *parent = nullptr);
    ~BusLogModel() override;

    void add(const QString &from, const QVariantMap &param);

    QString filter() const { return m_filter; }
    void setFilter(const QString &filter);

    // The message of a shown row as indented JSON, with a note when it was
    // shortened or its text dropped.
    Q_INVOKABLE QString fullText(int row) const;
    // Puts fullText(row) on the clipboard.
    Q_INVOKABLE void copy(int row) const;
    Q_INVOKABLE void clear();

    int count() const { return int(m_visible.size()); }
    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

signals:
    void filterChanged();
    void countChanged();

private:
    struct Entry
    {
        qint64 time = 0;
        QString from;
        QString cmd;
        QString display;
        QByteArray kept; // compact JSON, shortened when the message was big
        qint64 size = 0; // estimated characters of the whole message
        bool shortened = false;
        bool dropped = false;
        bool refused = false;
        QString reason;
    };
    bool matches(const Entry &entry) const;
    const Entry &entryAt(int row) const;
    void boundKeptText();

    std::deque<Entry> m_entries;
    // Sequence numbers of the shown entries; entry n is m_entries[n - m_firstSeq].
    std::deque<quint64> m_visible;
    quint64 m_firstSeq = 0;
    qint64 m_keptBytes = 0;
    QString m_filter;
};
