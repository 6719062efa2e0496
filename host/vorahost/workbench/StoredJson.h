#pragma once

#include <QByteArray>
#include <QJsonValue>
#include <QString>
#include <QVariant>

// JSON text for configuration values that keeps their SQLite storage class,
// which QJsonDocument cannot: it writes the REAL 10.0 as 10, the same text as
// the INTEGER 10. Here an INTEGER is a plain number, a REAL always has a
// fraction or an exponent ("10.0"), TEXT is a string and NULL is null, so a
// reader (vorahost's journal replay, or a person) tells them apart.
namespace StoredJson {

// The JSON text of a value as VoraConfigSQLite reads it back: int and
// qlonglong INTEGER, double REAL, QString TEXT, invalid NULL. Anything else
// is written as its text.
QByteArray text(const QVariant &stored);

// The compact JSON text of any JSON value.
QByteArray text(const QJsonValue &value);

// Reads one member of a JSON object text back as a stored value, the inverse
// of text(): a number without fraction or exponent is an integer, any other
// number a double, a string a QString, null an invalid QVariant (and true or
// false their text, as a bool is stored). False when the text is not a JSON
// object, the member is missing, or it is an object or an array.
bool member(const QByteArray &objectText, const QString &name, QVariant *stored);

} // namespace StoredJson
