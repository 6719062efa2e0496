#pragma once

#include <VoraConfigStrategy.h>

#include <QString>

// Points VoraConfigSQLite at one table of the host's configuration database.
// The file itself comes from VoraConfigSQLite::setDatabaseFileOverride, which
// the host sets once at start-up for itself and the plug-in alike.
class HostConfigStrategy : public VoraConfigStrategy
{
public:
    explicit HostConfigStrategy(const QString &tableName);
    ~HostConfigStrategy() override;

    int getDBFile(QString &file, QString &password) override;
    int getDBTableName(QString &name) override;
    int getDBTablePrefix(QString &prefix) override;

private:
    QString m_tableName;
};
