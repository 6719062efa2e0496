#include "DatabaseService.h"

DatabaseService::DatabaseService(const QString &databaseFile) : m_databaseFile(databaseFile) {}

DatabaseService::~DatabaseService() = default;

QVariantMap DatabaseService::answer(const QVariantMap &query)
{
    Q_UNUSED(query)
    return {{QStringLiteral("cmd"), QStringLiteral("dataBaseResponseCmd")},
            {QStringLiteral("dataBaseResponse"), QString()}};
}
