#include "ConfigStrategy.h"

namespace {
// Relative to the executable's directory, as the host's bundle lays it out.
const char DatabaseFile[] = "../Resources/res/config.db";
const char DatabasePassword[] = "1987marbles7Q";
} // namespace

ConfigStrategy::ConfigStrategy(const QString &tableName, const QString &tablePrefix)
    : m_tableName(tableName), m_tablePrefix(tablePrefix)
{ }

ConfigStrategy::~ConfigStrategy() = default;

int ConfigStrategy::getDBFile(QString &file, QString &password)
{
    file = QString::fromLatin1(DatabaseFile);
    password = QString::fromLatin1(DatabasePassword);
    return VoraConfigOk;
}

int ConfigStrategy::getDBTableName(QString &name)
{
    name = m_tableName;
    return VoraConfigOk;
}

int ConfigStrategy::getDBTablePrefix(QString &prefix)
{
    prefix = m_tablePrefix;
    return VoraConfigOk;
}
