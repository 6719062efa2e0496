#pragma once

#include <QString>
#include <QVariantMap>

// The host's database service: answers the config editor's "dataBaseQuery"
// messages on the configuration database.
class DatabaseService
{
public:
    explicit DatabaseService(const QString &databaseFile);
    ~DatabaseService();

    // Answers the parameter map of one "dataBaseQuery" message with the
    // parameter map of its "dataBaseResponseCmd" reply.
    QVariantMap answer(const QVariantMap &query);

private:
    QString m_databaseFile;
};
