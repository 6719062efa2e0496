#include "BusJson.h"

#include "HostLogging.h"

#include <QColor>
#include <QJSValue>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstdio>

namespace BusJson {

QVariant plain(const QVariant &value)
{
    if (value.userType() == qMetaTypeId<QJSValue>())
        return plain(value.value<QJSValue>().toVariant());
    if (value.userType() == QMetaType::QVariantMap) {
        QVariantMap map = value.toMap();
        for (auto it = map.begin(); it != map.end(); ++it)
            it.value() = plain(it.value());
        return map;
    }
    if (value.userType() == QMetaType::QVariantList) {
        QVariantList list = value.toList();
        for (QVariant &item : list)
            item = plain(item);
        return list;
    }
    return value;
}

QJsonValue toJson(const QVariant &value)
{
    switch (value.userType()) {
    case QMetaType::UnknownType:
        return QJsonValue(QJsonValue::Null);
    case QMetaType::QVariantMap: {
        QJsonObject object;
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            object.insert(it.key(), toJson(it.value()));
        return object;
    }
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        QJsonArray array;
        const QVariantList list = value.toList();
        for (const QVariant &item : list)
            array.append(toJson(item));
        return array;
    }
    case QMetaType::QColor: {
        const QColor colour = value.value<QColor>();
        return colour.name(colour.alpha() == 255 ? QColor::HexRgb : QColor::HexArgb);
    }
    case QMetaType::QObjectStar: {
        const QObject *object = value.value<QObject *>();
        if (!object)
            return QJsonValue(QJsonValue::Null);
        return object->objectName().isEmpty() ? QString::fromLatin1(object->metaObject()->className())
                                              : object->objectName();
    }
    default:
        break;
    }
    if (value.userType() == qMetaTypeId<QJSValue>())
        return toJson(plain(value));
    if (value.userType() == qMetaTypeId<QList<QObject *>>()) {
        QJsonArray array;
        const QList<QObject *> objects = value.value<QList<QObject *>>();
        for (QObject *object : objects)
            array.append(toJson(QVariant::fromValue(object)));
        return array;
    }
    return QJsonValue::fromVariant(value);
}

QByteArray busLine(const QString &from, const QVariantMap &param)
{
    QJsonObject line;
    line.insert(QStringLiteral("from"), from);
    line.insert(QStringLiteral("param"), toJson(plain(param)));
    return QJsonDocument(line).toJson(QJsonDocument::Compact);
}

QByteArray evalLine(const QVariant &value)
{
    QJsonObject line;
    line.insert(QStringLiteral("eval"), toJson(plain(value)));
    return QJsonDocument(line).toJson(QJsonDocument::Compact);
}

void printAfterLog(const QByteArray &line)
{
    HostLogging::flush();
    std::fwrite(line.constData(), 1, size_t(line.size()), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

} // namespace BusJson
