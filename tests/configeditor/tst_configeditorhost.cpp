// The config editor end to end, one pass: vorahost loads the real plug-in,
// its page and its database service on a real SQLite file, driven through
// --script on standard input the way a developer uses the editor: list,
// choose a table, search, edit a plain and two real-time values, close by the
// frame and open again.

#include "HostRun.h"

#include <QtTest>

using namespace HostTest;

namespace {

const QString Editor = QStringLiteral("配置工具");

const QStringList Rows = {
        "config#developerModeEnabled#false#开发者模式", "ui#mainWindow.theme#dark#主题",
        "scan#IRSpeckle.gain#1.5#红外增益, 实时设置",   "scan#laser.exposure#1200#激光曝光, 实时设置",
        "scan#IRSpeckle.If_Save_Pic#0#保存图片",        "alg#alg.gain#3#算法增益"};

QString fixtureSql()
{
    QString sql = VoraTest::TempDatabase::tableSql({"config", "ui", "calibration", "scan", "project", "alg",
                                                    "postprocess", "navigation", "deviceadjust",
                                                    "clouddisk"});
    for (const QString &row : Rows)
        sql += QStringLiteral("INSERT INTO \"%1\" VALUES ('%2', '%3', '%4');\n")
                       .arg(row.section('#', 0, 0), row.section('#', 1, 1), row.section('#', 2, 2),
                            row.section('#', 3, 3));
    return sql;
}

// The listing the page should show: the rows of table (all for ""), in the
// service's order (by table, then as stored), with edited values.
QString listing(const QString &table, const QMap<QString, QString> &edited = {})
{
    QStringList lines;
    for (const QString &t : {"config", "ui", "scan", "alg"}) {
        for (QString row : Rows) {
            const QString key = row.section('#', 1, 1);
            if (row.section('#', 0, 0) == t && (table.isEmpty() || table == t))
                lines << (edited.contains(key)
                                  ? row.replace('#' + row.section('#', 2, 2) + '#', '#' + edited[key] + '#')
                                  : row);
        }
    }
    return lines.join('\n');
}

} // namespace

class tst_ConfigEditorHost : public QObject
{
    Q_OBJECT

private slots:
    void listSearchEditCloseAndReopen();

private:
    QString eval(const QString &js) { return m_run->eval(Editor, js).toVariant().toString(); }
    void wait(int ms) { m_run->perform({{"wait", ms}}, Editor); }
    // Where the middle of the page's item that js names is; a real click there.
    QString centre(const QString &js)
    {
        return eval("(function(i){var p=i.mapToItem(null,i.width/2,i.height/2);return p.x+','+p.y})(" + js
                    + ")");
    }
    void click(const QString &at)
    {
        m_run->perform({{"click",
                         QJsonObject{{"window", Editor},
                                     {"x", at.section(',', 0, 0).toDouble()},
                                     {"y", at.section(',', 1, 1).toDouble()}}}},
                       Editor);
    }
    // Types a value into the key's cell and commits it with a click on the
    // cell's button.
    void edit(const QString &key, const QString &value)
    {
        const QString cell =
                "(function f(it){if(it.objectName==='valueEdit'&&it.visible&&it.parent.y>=0){var m="
                "sqlModelCore.sqlData;for(var i=0;i<m.count;++i)if(m.get(i).key==='"
                + key
                + "'&&m.get(i)"
                  ".value===it.text)return it}for(var k=0;k<it.children.length;++k){var r=f(it.children[k]);"
                  "if(r)return r}return null})(root)";
        const QString button = centre(cell + ".parent.children[1]");
        click(centre(cell));
        QCOMPARE(eval(cell + ".activeFocus"), QString("true"));
        eval(cell + ".text = '" + value + "'");
        click(button);
    }
    QString shown()
    {
        return eval("(function(){var m=sqlModelCore.sqlData,r=[];for(var i=0;i<m.count;++i){var o=m.get(i);"
                    "r.push(o.table+'#'+o.key+'#'+o.value+'#'+o.comment)}return r.join('\\n')})()");
    }
    void open()
    {
        m_run->perform({{"deliver", QJsonObject{{"cmd", "showConfigEditor"}, {"visible", true}}}}, Editor);
        wait(200);
    }

    std::unique_ptr<Run> m_run;
};

void tst_ConfigEditorHost::listSearchEditCloseAndReopen()
{
    VoraTest::TempDatabase db(fixtureSql());
    QVERIFY(db.isValid());
    Bundle bundle;
    QVERIFY(bundle.isValid());
    m_run = std::make_unique<Run>(bundle);
    m_run->start({"--db", db.fileName(), "--script", "-"});

    // Opened: every table listed.
    open();
    QCOMPARE(
            m_run->messages("page").value(0),
            (QJsonObject{{"cmd", "query"}, {"target", "dataBaseQuery"}, {"param", "select * from $table$"}}));
    QCOMPARE(shown(), listing(""));

    // One table, then a search in it with the find button.
    eval("tableChoice.currentIndex = 2");
    wait(100);
    QCOMPARE(m_run->messages("page").last()["dbName"], QJsonValue("scan"));
    QCOMPARE(shown(), listing("scan"));
    eval("findText.text = 'gain'");
    click(centre("findButton"));
    wait(100);
    QCOMPARE(shown(), "scan#IRSpeckle.gain#1.5#红外增益, 实时设置");
    eval("findText.text = ''");
    click(centre("refreshButton"));
    wait(100);

    // A plain value: stored, and the table listed again at once.
    int before = m_run->lines().size();
    edit("IRSpeckle.If_Save_Pic", "1");
    wait(150);
    QCOMPARE(db.value("scan", "IRSpeckle.If_Save_Pic"), QString("1|text"));
    QList<QJsonObject> sent = Run::params(m_run->lines().mid(before), "page");
    QCOMPARE(sent.size(), 2);
    QCOMPARE(sent.at(0)["param"],
             QJsonValue("update 'scan' set value = '1' where key = 'IRSpeckle.If_Save_Pic'"));
    QCOMPARE(sent.at(1)["param"], QJsonValue("select * from $table$"));
    QMap<QString, QString> edited{{"IRSpeckle.If_Save_Pic", "1"}};
    QCOMPARE(shown(), listing("scan", edited));

    // Two real-time values in a burst: one refresh of the scanning module.
    before = m_run->lines().size();
    edit("IRSpeckle.gain", "2.5");
    edit("laser.exposure", "900");
    wait(900);
    edited.insert("IRSpeckle.gain", "2.5");
    edited.insert("laser.exposure", "900");
    QCOMPARE(db.value("scan", "laser.exposure"), QString("900|text"));
    QCOMPARE(Run::params(m_run->lines().mid(before), "page", "refreshRealTimeSetup").size(), 1);
    QVERIFY(m_run->errorOutput().contains("real-time setup refreshed"));
    QCOMPARE(shown(), listing("scan", edited));

    // Closed by its frame, then opened again: a new page lists every table.
    m_run->perform({{"close", Editor}}, "vorahost");
    open();
    QCOMPARE(eval("curDataBaseName"), QString());
    QCOMPARE(shown(), listing("", edited));
    QCOMPARE(m_run->finish(), 0);
    QVERIFY(!m_run->lines().contains(QJsonObject()));
}

QTEST_GUILESS_MAIN(tst_ConfigEditorHost)
#include "tst_configeditorhost.moc"
