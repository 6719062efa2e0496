#pragma once

#include <VoraConfigSQLite.h>

#include <QAbstractListModel>
#include <QFile>
#include <QMutex>
#include <QString>

#include <deque>

class QDateTime;

// vorahost's write journal: every write to the configuration database, by
// whoever made it ("plugin": the plug-in's setConfig; "page": the config
// editor's UPDATE through the database service; "host": the host's own
// modules), as one JSON line
//   {"time": ISO 8601 UTC with ms, "by", "table", "key", "old", "new", "ok"[, "error"]}
// with old and new in their stored type (see StoredJson). With a file the
// lines are appended and each goes to the file in one write as it happens,
// so a host that is killed leaves whole lines only. The main window lists
// the last writes of the session from this model.
class WriteJournal : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(QString file READ file CONSTANT)
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum Role {
        TimeRole = Qt::UserRole + 1,
        ByRole,
        TableRole,
        KeyRole,
        OldRole,
        NewRole,
        OkRole,
        ErrorRole
    };

    // The main window keeps this many writes; the file keeps all.
    static constexpr int Capacity = 2000;

    explicit WriteJournal(QObject *parent = nullptr);
    ~WriteJournal() override;

    // Appends to file from now on. False with a one-line reason when it
    // cannot be opened for appending.
    bool open(const QString &file, QString *error);
    QString file() const { return m_file.fileName(); }

    // One write, on any thread.
    void record(const QString &by, const VoraConfigWrite &write);

    static QByteArray line(const QDateTime &time, const QString &by, const VoraConfigWrite &write);

    int count() const { return int(m_entries.size()); }
    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

signals:
    void countChanged();
    // After each write has been recorded, on the journal's thread.
    void recorded();

private:
    struct Entry
    {
        qint64 time;
        QString by;
        QString table;
        QString key;
        QString oldText;
        QString newText;
        bool ok;
        QString error;
    };
    void append(const Entry &entry);

    QMutex m_fileMutex;
    QFile m_file;
    bool m_fileFailed = false;
    std::deque<Entry> m_entries;
};
