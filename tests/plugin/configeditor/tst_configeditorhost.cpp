// The config editor end to end, one pass: vorahost loads the real plug-in,
// its page and its database service on a real SQLite file, driven through
// --script the way a developer uses the editor: opened from the host's main
// window, a table chosen, a plain and two real-time values edited,
// photographed (closes and reopens are tst_windows'); closing the main
// window ends the host.

#include "HostRun.h"

#include <QImage>
#include <QJsonArray>
#include <QtTest>

using namespace HostTest;

namespace {

const QString Editor = QStringLiteral("配置工具");

const QStringList Rows = {
        "config#developerModeEnabled#false#开发者模式", "ui#mainWindow.theme#dark#主题",
        "scan#IRSpeckle.gain#1.5#红外增益, 实时设置",   "scan#laser.exposure#1200#激光曝光, 实时设置",
        "scan#IRSpeckle.If_Save_Pic#0#保存图片",        "alg#alg.gain#3#算法增益"};

// The rows of table (all for ""), in the service's order, with edited values.
QString listing(const QString &table, const QMap<QString, QString> &edited = {})
{
    QStringList lines;
    for (QString row : Rows) {
        const QString key = row.section('#', 1, 1);
        if (edited.contains(key))
            row = QStringList{row.section('#', 0, 1), edited[key], row.section('#', 3)}.join('#');
        if (table.isEmpty() || row.startsWith(table + '#'))
            lines << row;
    }
    return lines.join('\n');
}

} // namespace

class tst_ConfigEditorHost : public QObject
{
    Q_OBJECT

private slots:
    void openSearchEditCloseAndReopen()
    {
        QString sql = VoraTest::TempDatabase::tableSql({"config", "ui", "calibration", "scan", "project",
                                                        "alg", "postprocess", "navigation", "deviceadjust",
                                                        "clouddisk"});
        for (const QString &row : Rows)
            sql += "INSERT INTO \"" + row.section('#', 0, 0) + "\" VALUES ('"
                    + row.section('#', 1).replace("#", "', '") + "');\n";
        VoraTest::TempDatabase db(sql);
        QVERIFY(db.isValid());
        Bundle bundle;
        QVERIFY(bundle.isValid());
        m_run = std::make_unique<Run>(bundle);
        m_run->start({"--db", db.fileName(), "--script", "-"});

        // Opened from the main window: every table listed.
        m_run->click("vorahost", "openConfigEditor");
        carried(0, 1);
        QCOMPARE(m_run->messages("host").value(0),
                 (QJsonObject{{"cmd", "showConfigEditor"}, {"visible", true}}));
        QCOMPARE(m_run->messages("page").value(0),
                 (QJsonObject{
                         {"cmd", "query"}, {"target", "dataBaseQuery"}, {"param", "select * from $table$"}}));
        QCOMPARE(shown(), listing(""));

        // One table.
        int before = m_run->lines().size();
        eval("tableChoice.currentIndex = 2");
        carried(before, 1);
        QCOMPARE(m_run->messages("page").last()["dbName"], QJsonValue("scan"));
        QCOMPARE(shown(), listing("scan"));

        // A plain value: stored, and the table listed again at once (the
        // statements the page sends are its own test).
        before = m_run->lines().size();
        edit("IRSpeckle.If_Save_Pic", "1");
        carried(before, 2); // the update, then the listing
        QCOMPARE(db.stored("scan", "IRSpeckle.If_Save_Pic"), QString("1|text"));
        QMap<QString, QString> edited{{"IRSpeckle.If_Save_Pic", "1"}};
        QCOMPARE(shown(), listing("scan", edited));

        // Two real-time values: the scanning module is refreshed after the last
        // (that a burst refreshes it once is the page's own test).
        edit("IRSpeckle.gain", "2.5");
        edit("laser.exposure", "900");
        before = m_run->waitForLine([](const QJsonObject &l) {
            return l["param"]["param"] == "update 'scan' set value = '900' where key = 'laser.exposure'";
        });
        carried(before, 1, "page", "refreshRealTimeSetup");
        carried(before, 2); // the update, then the listing of the refresh
        edited.insert("IRSpeckle.gain", "2.5");
        edited.insert("laser.exposure", "900");
        QCOMPARE(db.stored("scan", "laser.exposure"), QString("900|text"));
        QVERIFY(m_run->errorOutput().contains(
                "vora.host.scanner: real-time setup refreshed (isLaserScan false, "
                "target VoraLaserRebuildProcessController)\n"));
        QCOMPARE(shown(), listing("scan", edited));

        // Photographed: the page renders.
        const QString shot = bundle.root() + "/shots/editor.png";
        const QJsonArray size = m_run->eval(Editor, "[width, height]").toArray();
        m_run->perform({{"screenshot", QJsonObject{{"window", Editor}, {"file", shot}}}}, Editor);
        const QImage image(shot);
        QCOMPARE(image.size(), QSize(size[0].toInt(), size[1].toInt()));
        QSet<QRgb> colours;
        for (int y = 0; y < image.height(); y += 7)
            for (int x = 0; x < image.width(); x += 7)
                colours.insert(image.pixel(x, y));
        QVERIFY(colours.size() > 3);

        // Standard input stays open: closing the main window alone ends the host,
        // with the editor still open.
        m_run->send(step({{"close", "vorahost"}}));
        QCOMPARE(m_run->waitForExit(), 0);
        QVERIFY(!m_run->lines().contains(QJsonObject()));
    }

private:
    QString eval(const QString &js) { return m_run->eval(Editor, js).toVariant().toString(); }
    // Waits until n messages of that command from that side have come since
    // output line from (the database service answers in order).
    void carried(int from, int n, const char *side = "host", const char *cmd = "dataBaseResponseCmd")
    {
        int line = 0;
        QVERIFY(m_run->waitForLine([&](const QJsonObject &l) {
            return line++ >= from && isCmd(l, side, cmd) && --n == 0;
        }) >= 0);
    }
    QString shown()
    {
        return eval("(function(){var m=sqlModelCore.sqlData,r=[];for(var i=0;i<m.count;++i){var o=m.get(i);"
                    "r.push(o.table+'#'+o.key+'#'+o.value+'#'+o.comment)}return r.join('\\n')})()");
    }
    // Puts a value into the key's cell and commits it with a real click on the
    // cell's button.
    void edit(const QString &key, const QString &value)
    {
        // Found once there are as many cells as rows: the cells are made on
        // the frame after the rows arrive, the last listing's stay until then.
        const QString cell =
                "(function(){var m=sqlModelCore.sqlData,c=[];(function f(it){if(it.objectName==='valueEdit'"
                "&&it.visible&&it.parent.y>=0)c.push(it);for(var k=0;k<it.children.length;++k)"
                "f(it.children[k])})(root);for(var i=0;c.length===m.count&&i<m.count;++i)"
                "for(var j=0;j<c.length;++j)if(m.get(i).key==='"
                + key + "'&&m.get(i).value===c[j].text)return c[j];return null})()";
        QTRY_COMPARE_WITH_TIMEOUT(eval(cell + " !== null"), QString("true"), VoraTest::PatienceMs);
        eval(cell + ".parent.children[1].objectName = 'commit " + key + "'");
        eval(cell + ".text = '" + value + "'");
        m_run->click(Editor, "commit " + key);
    }

    std::unique_ptr<Run> m_run;
};

QTEST_GUILESS_MAIN(tst_ConfigEditorHost)
#include "tst_configeditorhost.moc"
