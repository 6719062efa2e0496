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

// Writes the log lines buffered so far to standard error, then line to
// standard output, and flushes both: a reader sees each message as it
// happens, after the log of what led to it.
void printAfterLog(const QByteArray &line);

} // namespace BusJson
