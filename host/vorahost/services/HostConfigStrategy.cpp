#include "HostConfigStrategy.h"

#include <VoraConfigSQLite.h>

HostConfigStrategy::HostConfigStrategy(const QString &tableName) : m_tableName(tableName)
{ }

HostConfigStrategy::~HostConfigStrategy() = default;

int HostConfigStrategy::getDBFile(QString &file, QString &password)
{
    file = VoraConfigSQLite::databaseFileOverride();
    password.clear();
    return VoraConfigOk;
}

int HostConfigStrategy::getDBTableName(QString &name)
{
    name = m_tableName;
    return VoraConfigOk;
}

int HostConfigStrategy::getDBTablePrefix(QString &prefix)
{
    prefix.clear();
    return VoraConfigOk;
}
