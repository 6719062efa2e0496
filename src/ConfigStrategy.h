#pragma once

#include <VoraConfigStrategy.h>

#include <QString>

// Names the host's configuration database to VoraConfigSQLite. The table name
// is open to its user: the developer mode points one strategy at "ui",
// "calibration", "scan" and "config" in turn, so one database handle serves
// all four tables.
class ConfigStrategy : public VoraConfigStrategy
{
public:
    ConfigStrategy(const QString &tableName, const QString &tablePrefix);
    ~ConfigStrategy() override;

    int getDBFile(QString &file, QString &password) override;
    int getDBTableName(QString &name) override;
    int getDBTablePrefix(QString &prefix) override;

    QString m_tableName;
    QString m_tablePrefix;
};
