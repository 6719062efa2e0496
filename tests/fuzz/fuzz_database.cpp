// The page's SQL: one "dataBaseQuery" (first line the dbName, the rest its
// SQL text, pasted together by the page) answered by the host's database
// service on a real file, under its authorizer, limits and time limit.
#include "FuzzSupport.h"

#include <DatabaseService.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Fuzz::init();
    const QString file = Fuzz::freshDatabase();
    const QByteArray input = Fuzz::bytes(data, size);
    const int end = input.indexOf('\n');
    const QString sql = QString::fromUtf8(input.mid(end + 1));
    QVariantMap query{{"param", sql}};
    if (end >= 0)
        query.insert("dbName", QString::fromUtf8(input.left(end)));

    const QVariantMap answer = DatabaseService(file).answer(query);
    const QString reason = answer.value("reason").toString();
    const QString response = answer.value("dataBaseResponse").toString();
    Fuzz::check(answer.value("refused").userType() == QMetaType::Bool, "every answer says if it was refused");
    Fuzz::check(!answer.value("refused").toBool()
                        || (!reason.isEmpty() && !reason.contains('\n') && response.isEmpty()),
                "a refusal gives one line of reason and lists nothing");
    Fuzz::check(response.toUtf8().size() <= DatabaseService::MaxResponseBytes, "a listing is capped");
    // Only the page's own update, answered, may change the file.
    if (answer.value("refused").toBool() || !sql.trimmed().startsWith("update", Qt::CaseInsensitive))
        Fuzz::check(Fuzz::readAll(file) == Fuzz::pristineDatabase(), "the file is left as it was");
    return 0;
}
