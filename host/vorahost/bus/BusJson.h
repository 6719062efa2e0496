#pragma once

#include <QByteArray>
#include <QJsonValue>
#include <QString>
#include <QVariant>

// The host's JSON lines: bus messages and script results as one compact JSON
// object per line on standard output.
namespace BusJson {

// Turns what QML hands over (QJSValue, nested maps and lists of them) into
// plain variants.
QVariant plain(const QVariant &value);

// A variant as JSON: colours by their text name ("#ff0000"), objects by
// their object or class name, invalid as null.
QJsonValue toJson(const QVariant &value);

// {"from": from, "param": {...}}
QByteArray busLine(const QString &from, const QVariantMap &param);
// {"eval": value}
QByteArray evalLine(const QVariant &value);

// Writes one line to standard output and flushes it, so a reader sees each
// message as it happens.
void print(const QByteArray &line);

} // namespace BusJson
