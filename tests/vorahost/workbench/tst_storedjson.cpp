// How a journal line's stored value is read: the member's JSON text decides
// its storage class, wherever the line has spaces.

#include "StoredJson.h"

#include <QtTest>

class tst_StoredJson : public QObject
{
    Q_OBJECT

private slots:
    void member_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("stored"); // "type value"; "null"; "none": not found
        const char *rows[][2] = {
                {R"({"new":7})", "int 7"},
                {R"( { "new" : 7 } )", "int 7"},
                {"{\n\t\"a\" : [1, \"]\"] ,\r\n \"new\"\t:\t2.0 }", "double 2"},
                {R"({"a": {"new": 1},  "new":  "s p" })", "QString s p"},
                {R"({"x" : null , "new" : 6000000000})", "qlonglong 6000000000"},
                {R"({ "new" :true})", "QString true"},
                {R"({"n\u0065w" : -1e2 })", "double -100"},
                {R"({"new" : null })", "null"},
                {R"({"old": 1, "ok": true})", "none"},
        };
        for (const auto &row : rows)
            QTest::newRow(row[0]) << QByteArray(row[0]) << row[1];
    }
    void member()
    {
        QFETCH(QByteArray, text);
        QFETCH(QString, stored);
        QVariant value;
        const bool found = StoredJson::member(text, "new", &value);
        QCOMPARE(!found                    ? "none"
                         : value.isValid() ? QString("%1 %2").arg(value.typeName(), value.toString())
                                           : "null",
                 stored);
    }
};

QTEST_GUILESS_MAIN(tst_StoredJson)
#include "tst_storedjson.moc"
