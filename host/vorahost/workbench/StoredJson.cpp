#include "StoredJson.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>
#include <limits>

namespace StoredJson {

namespace {

int skipSpace(const QByteArray &text, int at)
{
    while (at < text.size() && (text[at] == ' ' || text[at] == '\t' || text[at] == '\r' || text[at] == '\n'))
        ++at;
    return at;
}

// The end of the string that starts with the quote at 'at' (one past its
// closing quote), or -1.
int stringEnd(const QByteArray &text, int at)
{
    for (int i = at + 1; i < text.size(); ++i) {
        if (text[i] == '\\')
            ++i;
        else if (text[i] == '"')
            return i + 1;
    }
    return -1;
}

// The end of the value that starts at 'at', or -1. Nested objects and arrays
// are skipped whole; strings inside them may hold any bracket.
int valueEnd(const QByteArray &text, int at)
{
    if (at >= text.size())
        return -1;
    if (text[at] == '"')
        return stringEnd(text, at);
    if (text[at] == '{' || text[at] == '[') {
        int depth = 0;
        for (int i = at; i < text.size(); ++i) {
            const char c = text[i];
            if (c == '"') {
                i = stringEnd(text, i);
                if (i < 0)
                    return -1;
                --i;
            } else if (c == '{' || c == '[') {
                ++depth;
            } else if ((c == '}' || c == ']') && --depth == 0) {
                return i + 1;
            }
        }
        return -1;
    }
    int i = at;
    while (i < text.size() && text[i] != ',' && text[i] != '}' && text[i] != ']' && text[i] != ' '
           && text[i] != '\t' && text[i] != '\r' && text[i] != '\n')
        ++i;
    return i;
}

} // namespace

QByteArray text(const QVariant &stored)
{
    switch (stored.userType()) {
    case QMetaType::UnknownType:
        return QByteArrayLiteral("null");
    case QMetaType::Int:
    case QMetaType::LongLong:
        return QByteArray::number(stored.toLongLong());
    case QMetaType::Double: {
        const double v = stored.toDouble();
        if (!std::isfinite(v))
            return QByteArrayLiteral("null");
        QByteArray number = QByteArray::number(v, 'g', std::numeric_limits<double>::max_digits10);
        if (!number.contains('.') && !number.contains('e'))
            number += ".0";
        return number;
    }
    default:
        return text(QJsonValue(stored.toString()));
    }
}

QByteArray text(const QJsonValue &value)
{
    const QByteArray array = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return array.mid(1, array.size() - 2);
}

bool member(const QByteArray &objectText, const QString &name, QVariant *stored)
{
    // The whole text must be an object: a broken line is refused here rather
    // than half read by the scan below.
    const QJsonDocument document = QJsonDocument::fromJson(objectText);
    if (!document.isObject() || !document.object().contains(name))
        return false;
    int at = skipSpace(objectText, 0) + 1;
    while (at < objectText.size()) {
        at = skipSpace(objectText, at);
        const int keyEnd = stringEnd(objectText, at);
        if (keyEnd < 0)
            return false;
        const QByteArray key = objectText.mid(at, keyEnd - at);
        const int valueAt = skipSpace(objectText, skipSpace(objectText, keyEnd) + 1);
        const int end = valueEnd(objectText, valueAt);
        if (end < 0)
            return false;
        // Keys are compared as parsed, so an escaped spelling matches too.
        if (QJsonDocument::fromJson("[" + key + "]").array().at(0).toString() == name) {
            const QByteArray token = objectText.mid(valueAt, end - valueAt);
            const QJsonValue value = document.object().value(name);
            switch (value.type()) {
            case QJsonValue::Null:
                *stored = QVariant();
                return true;
            case QJsonValue::Bool:
                *stored = value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
                return true;
            case QJsonValue::String:
                *stored = value.toString();
                return true;
            case QJsonValue::Double: {
                if (token.contains('.') || token.contains('e') || token.contains('E')) {
                    *stored = value.toDouble();
                    return true;
                }
                bool ok = false;
                const qlonglong integer = token.toLongLong(&ok);
                if (!ok)
                    *stored = value.toDouble();
                else if (integer >= std::numeric_limits<int>::min()
                         && integer <= std::numeric_limits<int>::max())
                    *stored = int(integer);
                else
                    *stored = integer;
                return true;
            }
            default:
                return false;
            }
        }
        at = skipSpace(objectText, end);
        if (at >= objectText.size() || objectText[at] != ',')
            return false;
        ++at;
    }
    return false;
}

} // namespace StoredJson
