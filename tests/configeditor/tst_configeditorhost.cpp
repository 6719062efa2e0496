// The config editor end to end: vorahost loads the real plug-in, its page and
// its database service on a real SQLite file, driven through --script on
// standard input one step at a time, the way a developer uses the editor.

#include "HostRun.h"
#include "PluginHarness.h"

#include <QtTest>

using namespace HostTest;

namespace {

const QString kEditor = QStringLiteral("配置工具");

struct Row
{
    QString table;
    QString key;
    QString value;
    QString comment;
};

const QList<Row> kRows = {
        {"config", "developerModeEnabled", "'false'", "开发者模式"},
        {"config", "logLevel", "2", "日志级别"},
        {"ui", "mainWindow.theme", "'dark'", "主题"},
        {"scan", "IRSpeckle.If_Save_Pic", "0", "保存图片"},
        {"scan", "IRSpeckle.gain", "1.5", "红外增益, 实时设置"},
        {"scan", "laser.exposure", "1200", "激光曝光, 实时设置"},
        {"project", "defaultName", "'Project'", "工程名"},
        {"alg", "alg.gain", "3", "算法增益"},
        {"alg", "smooth", "'true'", "平滑"},
        {"clouddisk", "server", "'https://example.invalid'", "云盘"},
};

QString fixtureSql()
{
    QString sql = VoraTest::TempDatabase::tableSql({"config", "ui", "calibration", "scan", "project", "alg",
                                                    "postprocess", "navigation", "deviceadjust",
                                                    "clouddisk"});
    for (const Row &row : kRows)
        sql += QStringLiteral("INSERT INTO \"%1\" VALUES ('%2', %3, '%4');\n")
                       .arg(row.table, row.key, row.value, row.comment);
    return sql;
}

// The page's listing of the wanted rows; values maps "table.key" to a new value.
QString rowsText(const std::function<bool(const Row &)> &wanted, const QMap<QString, QString> &values = {})
{
    QStringList lines;
    for (const Row &row : kRows) {
        QString value = values.value(row.table + '.' + row.key, row.value);
        if (value.startsWith('\''))
            value = value.mid(1, value.size() - 2);
        if (wanted(row))
            lines.append(QStringList{row.table, row.key, value, row.comment}.join('#'));
    }
    return lines.join('\n');
}

bool anyRow(const Row &)
{
    return true;
}

// One vorahost on the database with the built plug-in, its script read from
// standard input step by step; every step returns the lines it printed.
class Editor : public Run
{
public:
    explicit Editor(const QString &database)
        : Run(QStringLiteral(VORA_BUNDLE_DIR "/bin/vorahost"), QFileInfo(database).absolutePath())
    {
        start({"--db", database, "--plugin", VoraTest::pluginFile(), "--script", "-"});
    }

    QVariant eval(const QString &js, const QString &window = kEditor)
    {
        return Run::eval(window, js).toVariant();
    }
    QList<QJsonObject> wait(int ms) { return perform({{"wait", ms}}, kEditor); }

    // The window opens inside the delivery; its first listing goes out on
    // the next turn and the host answers on the one after.
    QList<QJsonObject> open()
    {
        QList<QJsonObject> lines = perform(
                {{"deliver", QJsonObject{{"cmd", "showConfigEditor"}, {"visible", true}}}}, kEditor);
        return lines + wait(200);
    }

    QString listing()
    {
        return eval("(function(){var m=sqlModelCore.sqlData,r=[];for(var i=0;i<m.count;++i){var o=m.get(i);"
                    "r.push(o.table+'#'+o.key+'#'+o.value+'#'+o.comment)}return r.join('\\n')})()")
                .toString();
    }

    // Centre of an item of the page in window coordinates; js names the item.
    QPointF centreOf(const QString &js)
    {
        const QString text = eval(QStringLiteral("(function(i){var p=i.mapToItem(null,i.width/2,i.height/2);"
                                                 "return p.x+','+p.y})(%1)")
                                          .arg(js))
                                     .toString();
        return QPointF(text.section(',', 0, 0).toDouble(), text.section(',', 1, 1).toDouble());
    }

    void click(const QPointF &point)
    {
        perform({{"click", QJsonObject{{"window", kEditor}, {"x", point.x()}, {"y", point.y()}}}}, kEditor);
    }

    // Types a new value into the row's cell (as the page's own text) and
    // commits it with a real click on the cell's button.
    void editValue(const QString &key, const QString &value)
    {
        // Found by the text it shows, so both places are taken before the edit.
        const QString cell =
                QStringLiteral(
                        "(function f(it){if(it.objectName==='valueEdit'&&it.visible){var m=sqlModelCore."
                        "sqlData;for(var i=0;i<m.count;++i)if(m.get(i).key==='%1'&&m.get(i).value===it."
                        "text&&it.parent.y>=0)return it;}for(var k=0;k<it.children.length;++k){var r=f("
                        "it.children[k]);if(r)return r}return null})(root)")
                        .arg(key);
        QVERIFY2(eval(cell + " !== null").toBool(), qPrintable(key));
        const QPointF button = centreOf(cell + ".parent.children[1]");
        click(centreOf(cell));
        QCOMPARE(eval(cell + ".activeFocus"), QVariant(true));
        eval(QStringLiteral("%1.text = '%2'").arg(cell, value));
        click(button);
    }
};

} // namespace

class tst_ConfigEditorHost : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void listSearchEditCloseReopenThenHostileInput();
};

void tst_ConfigEditorHost::initTestCase()
{
    if (!QFile::exists(QStringLiteral(VORA_BUNDLE_DIR "/bin/vorahost")))
        QSKIP("vorahost is not built");
}

void tst_ConfigEditorHost::listSearchEditCloseReopenThenHostileInput()
{
    VoraTest::TempDatabase db(fixtureSql());
    QVERIFY(db.isValid());
    Editor host(db.fileName());

    // Opened: every table listed.
    QList<QJsonObject> sent = Run::params(host.open(), "page");
    QVERIFY2(!sent.isEmpty(), qPrintable(host.errorOutput()));
    QCOMPARE(
            sent.first(),
            (QJsonObject{{"cmd", "query"}, {"target", "dataBaseQuery"}, {"param", "select * from $table$"}}));
    QCOMPARE(host.listing(), rowsText(anyRow));

    // One table.
    QList<QJsonObject> lines = host.perform(evalStep(kEditor, "tableChoice.currentIndex = 2"), kEditor);
    lines += host.wait(100);
    sent = Run::params(lines, "page");
    QCOMPARE(sent.size(), 1);
    QCOMPARE(sent.first()["dbName"], QJsonValue("scan"));
    const auto scan = [](const Row &row) { return row.table == "scan"; };
    QCOMPARE(Run::params(lines, "host").value(0)["dataBaseResponse"].toString(), rowsText(scan));
    QCOMPARE(host.listing(), rowsText(scan));

    // Search in that table with the find button.
    host.eval("findText.text = 'gain'");
    host.click(host.centreOf("findButton"));
    host.wait(100);
    QCOMPARE(host.listing(),
             rowsText([](const Row &row) { return row.table == "scan" && row.key.contains("gain"); }));

    // "show all" lists every table, whatever the combo box shows.
    host.click(host.centreOf("showAllButton"));
    host.wait(100);
    QCOMPARE(host.listing(), rowsText(anyRow));

    // Edit an ordinary value: stored, and the listing comes back at once.
    int before = host.lines().size();
    host.editValue("alg.gain", "7");
    host.wait(150);
    QCOMPARE(db.value("alg", "alg.gain"), qMakePair(QVariant(7LL), QStringLiteral("integer")));
    sent = Run::params(host.lines().mid(before), "page");
    QCOMPARE(sent.size(), 2);
    QCOMPARE(sent.at(0)["param"], QJsonValue("update 'alg' set value = '7' where key = 'alg.gain'"));
    QCOMPARE(sent.at(1)["param"], QJsonValue("select * from $table$"));
    QCOMPARE(sent.at(1)["dbName"], QJsonValue("scan"));
    QCOMPARE(host.listing(), rowsText(scan));

    // Two real-time rows edited in a burst: one refresh of the scanning module.
    QCOMPARE(host.eval("tableChoice.currentIndex = 0; tableChoice.currentIndex"), QVariant(0));
    host.wait(100);
    before = host.lines().size();
    host.editValue("IRSpeckle.gain", "2.5");
    host.editValue("laser.exposure", "900");
    host.wait(900);
    QCOMPARE(db.value("scan", "IRSpeckle.gain"), qMakePair(QVariant(2.5), QStringLiteral("real")));
    QCOMPARE(db.value("scan", "laser.exposure"), qMakePair(QVariant(900LL), QStringLiteral("integer")));
    QCOMPARE(Run::params(host.lines().mid(before), "page", "refreshRealTimeSetup").size(), 1);
    QVERIFY(host.errorOutput().contains("real-time setup refreshed"));
    const QMap<QString, QString> edited{
            {"alg.alg.gain", "7"}, {"scan.IRSpeckle.gain", "2.5"}, {"scan.laser.exposure", "900"}};
    QCOMPARE(host.listing(), rowsText(anyRow, edited));

    // Closed by its frame, then opened again: a new page lists every table.
    host.perform({{"close", kEditor}}, "vorahost");
    sent = Run::params(host.open(), "page");
    QVERIFY(!sent.isEmpty());
    QCOMPARE(sent.first()["param"], QJsonValue("select * from $table$"));
    QCOMPARE(host.eval("curDataBaseName"), QVariant(QString()));
    QCOMPARE(host.listing(), rowsText(anyRow, edited));

    const QStringList unchanged = dump(db.fileName());
    // Values and keywords as a user could type them, through the page's own
    // functions, which paste them into the statement unescaped.
    const QStringList hostile = {
            "sqlModelCore.updateValue('', 'scan', 'no such key', \"x' where 1=1 --\")",
            "sqlModelCore.updateValue('scan', 'scan', 'IRSpeckle.gain', \"1#'; drop table scan; --\")",
            "sqlModelCore.findVague('scan', \"'; drop table scan; --\")",
            "sqlModelCore.findVague('scan\\\"; drop table scan; --', 'gain')",
            "sqlModelCore.execQuery('', 'drop table alg')",
    };
    const int start = host.lines().size();
    for (const QString &js : hostile)
        host.eval(js);
    host.wait(200);
    QCOMPARE(dump(db.fileName()), unchanged);
    // Every one refused in the host's log and answered with an empty text,
    // which leaves the page's listing as it was.
    QCOMPARE(host.errorOutput().count("vora.host.db: warning: refused"), hostile.size());
    const QList<QJsonObject> answers = Run::params(host.lines().mid(start), "host");
    QCOMPARE(answers.size(), hostile.size());
    for (const QJsonObject &answer : answers)
        QCOMPARE(answer["dataBaseResponse"], QJsonValue(""));
    QCOMPARE(host.listing(), rowsText(anyRow, edited));

    // A "#" typed into a value is refused: its row could never be listed
    // (the page's text format has no escaping).
    host.eval("sqlModelCore.updateValue('', 'alg', 'smooth', 'a#b')");
    host.eval("sqlModelCore.selectAll('alg')");
    host.wait(100);
    QCOMPARE(db.value("alg", "smooth"), qMakePair(QVariant("true"), QStringLiteral("text")));
    QCOMPARE(host.listing(), rowsText([](const Row &row) { return row.table == "alg"; }, edited));
    QCOMPARE(host.finish(), 0);
}

QTEST_GUILESS_MAIN(tst_ConfigEditorHost)
#include "tst_configeditorhost.moc"
