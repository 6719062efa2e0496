// Bus messages as JSON lines, both ways: a JSON object read as a message's
// parameter map (as a script's "deliver" step or the page hands one over)
// and written back as its bus line, and any JSON array as an eval result.
// Each line is one line of JSON and reads back as what went in.
#include "FuzzSupport.h"

#include <BusJson.h>

#include <QJsonArray>
#include <QJsonObject>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Fuzz::init();
    // As Qt's own writer gives it back: it writes integers beyond 2^53 as
    // doubles, a loss of the format, not of the bus.
    const QJsonDocument in = QJsonDocument::fromJson(
            QJsonDocument::fromJson(Fuzz::bytes(data, size)).toJson());
    QByteArray line;
    QJsonValue sent;
    if (in.isObject()) {
        line = BusJson::busLine(QStringLiteral("page"), in.object().toVariantMap());
        sent = in.object();
    } else if (in.isArray()) {
        line = BusJson::evalLine(in.array().toVariantList());
        sent = in.array();
    } else {
        return 0;
    }
    Fuzz::check(!line.contains('\n') && !line.contains('\r'), "a message is one line");
    QJsonParseError error;
    const QJsonObject out = QJsonDocument::fromJson(line, &error).object();
    Fuzz::check(error.error == QJsonParseError::NoError, "a bus line is JSON");
    // Compared as variants: Qt 5.15 sorts an object's keys that hold U+0000
    // by where they were inserted, so equal objects can differ as QJsonObjects.
    Fuzz::check(out.value(in.isObject() ? "param" : "eval").toVariant() == sent.toVariant(),
                "a message reads back as it went in");
    return 0;
}
