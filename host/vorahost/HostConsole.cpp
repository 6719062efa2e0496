#include "HostConsole.h"

#include "BusJson.h"
#include "BusRouter.h"

#include <QJsonDocument>
#include <QJsonObject>

HostConsole::HostConsole(BusRouter *router, const QString &pluginFile, const QString &databaseFile,
                         QObject *parent)
    : QObject(parent), m_router(router), m_pluginFile(pluginFile), m_databaseFile(databaseFile)
{
    connect(m_router, &BusRouter::messageRouted, this, [this](const QString &from, const QVariantMap &param) {
        const QJsonObject object = BusJson::toJson(param).toObject();
        emit messageLogged(from, QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact)));
    });
}

HostConsole::~HostConsole() = default;

void HostConsole::send(const QVariantMap &param)
{
    m_router->deliverToPlugin(BusJson::plain(param).toMap());
}
