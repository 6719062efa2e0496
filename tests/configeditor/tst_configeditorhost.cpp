// The config editor end to end: vorahost loads the real plug-in, its page and
// its database service on a real SQLite file, driven through --script on
// standard input one step at a time, the way a developer uses the editor.

#include "PluginHarness.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QtTest>

#include <sqlite3.h>

namespace {

const QString kEditor = QStringLiteral("配置工具");

struct Row
{
    QString table;
    QString key;
    QString value;
    QString comment;
};

const QList<Row> &fixtureRows()
{
    static const QList<Row> rows = {
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
    return rows;
}

QString fixtureSql()
{
    QString sql = VoraTest::TempDatabase::tableSql({"config", "ui", "calibration", "scan", "project", "alg",
                                                    "postprocess", "navigation", "deviceadjust",
                                                    "clouddisk"});
    for (const Row &row : fixtureRows())
        sql += QStringLiteral("INSERT INTO \"%1\" VALUES ('%2', %3, '%4');\n")
                       .arg(row.table, row.key, row.value, row.comment);
    return sql;
}

// Every row with its stored type, for "nothing else changed".
QStringList dump(const QString &file)
{
    QStringList result;
    sqlite3 *db = nullptr;
    sqlite3_open_v2(QFile::encodeName(file).constData(), &db, SQLITE_OPEN_READONLY, nullptr);
    sqlite3_stmt *tables = nullptr;
    sqlite3_prepare_v2(db, "select name, sql from sqlite_master order by name", -1, &tables, nullptr);
    while (tables && sqlite3_step(tables) == SQLITE_ROW) {
        const QString name = QString::fromUtf8(
                reinterpret_cast<const char *>(sqlite3_column_text(tables, 0)));
        result.append(name + '|'
                      + QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(tables, 1))));
        const QByteArray sql =
                QStringLiteral("select key, quote(value), typeof(value), comment from \"%1\" order by key")
                        .arg(name)
                        .toUtf8();
        sqlite3_stmt *rows = nullptr;
        sqlite3_prepare_v2(db, sql.constData(), -1, &rows, nullptr);
        while (rows && sqlite3_step(rows) == SQLITE_ROW) {
            QStringList fields{name};
            for (int i = 0; i < 4; ++i)
                fields.append(
                        QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(rows, i))));
            result.append(fields.join('|'));
        }
        sqlite3_finalize(rows);
    }
    sqlite3_finalize(tables);
    sqlite3_close(db);
    return result;
}

// One vorahost process reading its script from standard input. Every step
// is followed by an eval of a marker, so the test knows when it has run and
// which lines of output it produced.
class HostSession
{
public:
    explicit HostSession(const QString &database)
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("QT_LOGGING_RULES", "vora.host.*.debug=false");
        m_process.setProcessEnvironment(env);
        m_process.setProgram(QStringLiteral(VORA_BUNDLE_DIR "/bin/vorahost"));
        m_process.setArguments({"--db", database, "--plugin", VoraTest::pluginFile(), "--script", "-"});
        m_process.start();
    }

    ~HostSession()
    {
        if (m_process.state() != QProcess::NotRunning) {
            m_process.kill();
            m_process.waitForFinished(5000);
        }
    }

    bool isRunning() { return m_process.waitForStarted(10000); }

    // Runs one step and returns the JSON lines it printed.
    QList<QJsonObject> step(const QJsonObject &step, const QString &syncWindow = kEditor)
    {
        send(step);
        return sync(syncWindow);
    }

    QVariant eval(const QString &js, const QString &window = kEditor)
    {
        send({{"eval", QJsonObject{{"window", window}, {"js", js}}}});
        const QList<QJsonObject> lines = sync(window);
        for (const QJsonObject &line : lines) {
            if (line.contains("eval"))
                return line.value("eval").toVariant();
        }
        return QVariant();
    }

    QList<QJsonObject> wait(int ms, const QString &window = kEditor) { return step({{"wait", ms}}, window); }

    void click(const QPointF &point)
    {
        step({{"click", QJsonObject{{"window", kEditor}, {"x", point.x()}, {"y", point.y()}}}});
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

    int finish()
    {
        m_process.closeWriteChannel();
        if (!m_process.waitForFinished(30000))
            return -1;
        m_stderr += m_process.readAllStandardError();
        return m_process.exitCode();
    }

    QString log()
    {
        m_stderr += m_process.readAllStandardError();
        return QString::fromUtf8(m_stderr);
    }

    const QList<QJsonObject> &all() const { return m_all; }

private:
    void send(const QJsonObject &step)
    {
        m_process.write(QJsonDocument(step).toJson(QJsonDocument::Compact) + '\n');
    }

    QList<QJsonObject> sync(const QString &window)
    {
        const QString marker = QStringLiteral("sync-%1").arg(++m_syncCount);
        send({{"eval", QJsonObject{{"window", window}, {"js", QStringLiteral("'%1'").arg(marker)}}}});
        QList<QJsonObject> lines;
        QDeadlineTimer deadline(30000);
        while (!deadline.hasExpired()) {
            while (m_process.canReadLine()) {
                const QJsonObject line = QJsonDocument::fromJson(m_process.readLine()).object();
                if (line.value("eval").toString() == marker)
                    return lines;
                lines.append(line);
                m_all.append(line);
            }
            if (m_process.state() == QProcess::NotRunning)
                break;
            m_process.waitForReadyRead(100);
            m_stderr += m_process.readAllStandardError();
        }
        lines.append(QJsonObject{{"error", "no answer from vorahost: " + QString::fromUtf8(m_stderr)}});
        return lines;
    }

    QProcess m_process;
    QByteArray m_stderr;
    QList<QJsonObject> m_all;
    int m_syncCount = 0;
};

QList<QVariantMap> params(const QList<QJsonObject> &lines, const QString &from)
{
    QList<QVariantMap> result;
    for (const QJsonObject &line : lines) {
        if (line.value("from").toString() == from)
            result.append(line.value("param").toObject().toVariantMap());
    }
    return result;
}

QString rowsText(const std::function<bool(const Row &)> &wanted,
                 const QMap<QString, QString> &values = QMap<QString, QString>())
{
    QStringList lines;
    for (const Row &row : fixtureRows()) {
        if (!wanted(row))
            continue;
        QString value = values.value(row.table + '.' + row.key, row.value);
        if (value.startsWith('\''))
            value = value.mid(1, value.size() - 2);
        lines.append(QStringList{row.table, row.key, value, row.comment}.join('#'));
    }
    return lines.join('\n');
}

const QString kListing = QStringLiteral(
        "(function(){var m=sqlModelCore.sqlData,r=[];for(var i=0;i<m.count;++i){var o=m.get(i);"
        "r.push(o.table+'#'+o.key+'#'+o.value+'#'+o.comment)}return r.join('\\n')})()");

// The value cell of the row with that key, and its small commit button.
QString valueCellJs(const QString &key)
{
    return QStringLiteral(
                   "(function f(it){if(it.objectName==='valueEdit'&&it.visible){var m=sqlModelCore.sqlData;"
                   "for(var i=0;i<m.count;++i)if(m.get(i).key==='%1'&&m.get(i).value===it.text&&"
                   "it.parent.y>=0)return it;}for(var k=0;k<it.children.length;++k){var r=f(it.children[k]);"
                   "if(r)return r}return null})(root)")
            .arg(key);
}

} // namespace

class tst_ConfigEditorHost : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void listSearchEditCloseReopen();
    void hostileInputFromThePage();

private:
    void openEditor(HostSession &host, QList<QJsonObject> *lines);
    // Types a new value into the row's cell (as the page's own text) and
    // commits it with a real click on the cell's button.
    void editValue(HostSession &host, const QString &key, const QString &value);
};

void tst_ConfigEditorHost::initTestCase()
{
    if (!QFile::exists(QStringLiteral(VORA_BUNDLE_DIR "/bin/vorahost")))
        QSKIP("vorahost is not built");
}

void tst_ConfigEditorHost::openEditor(HostSession &host, QList<QJsonObject> *lines)
{
    // The window opens inside the delivery; its first listing goes out on the
    // next turn and the host answers on the one after.
    *lines = host.step({{"deliver", QJsonObject{{"cmd", "showConfigEditor"}, {"visible", true}}}});
    *lines += host.wait(200);
}

void tst_ConfigEditorHost::editValue(HostSession &host, const QString &key, const QString &value)
{
    // Found by the text it shows, so both places are taken before the edit.
    const QString cell = valueCellJs(key);
    QVERIFY2(host.eval(cell + " !== null").toBool(), qPrintable(key));
    const QPointF cellCentre = host.centreOf(cell);
    const QPointF buttonCentre = host.centreOf(cell + ".parent.children[1]");
    host.click(cellCentre);
    QCOMPARE(host.eval(cell + ".activeFocus"), QVariant(true));
    host.eval(QStringLiteral("%1.text = '%2'").arg(cell, value));
    host.click(buttonCentre);
}

void tst_ConfigEditorHost::listSearchEditCloseReopen()
{
    VoraTest::TempDatabase db(fixtureSql());
    QVERIFY2(db.isValid(), qPrintable(db.errorString()));
    HostSession host(db.fileName());
    QVERIFY(host.isRunning());

    // Opened: every table listed.
    QList<QJsonObject> lines;
    openEditor(host, &lines);
    QList<QVariantMap> page = params(lines, "page");
    QVERIFY2(!page.isEmpty(), qPrintable(host.log()));
    QCOMPARE(
            page.first(),
            (QVariantMap{{"cmd", "query"}, {"target", "dataBaseQuery"}, {"param", "select * from $table$"}}));
    const auto all = [](const Row &) { return true; };
    QCOMPARE(host.eval(kListing).toString(), rowsText(all));

    // One table.
    lines = host.step({{"eval", QJsonObject{{"window", kEditor}, {"js", "tableChoice.currentIndex = 2"}}}});
    lines += host.wait(100);
    page = params(lines, "page");
    QCOMPARE(page.size(), 1);
    QCOMPARE(page.first().value("dbName").toString(), QStringLiteral("scan"));
    const auto scan = [](const Row &row) { return row.table == "scan"; };
    QCOMPARE(params(lines, "host").value(0).value("dataBaseResponse").toString(), rowsText(scan));
    QCOMPARE(host.eval(kListing).toString(), rowsText(scan));

    // Search in that table with the find button.
    host.eval("findText.text = 'gain'");
    host.click(host.centreOf("findButton"));
    host.wait(100);
    QCOMPARE(host.eval(kListing).toString(),
             rowsText([](const Row &row) { return row.table == "scan" && row.key.contains("gain"); }));

    // "show all" lists every table, whatever the combo box shows.
    host.click(host.centreOf("showAllButton"));
    host.wait(100);
    QCOMPARE(host.eval(kListing).toString(), rowsText(all));

    // Edit an ordinary value: stored, and the listing comes back at once.
    const int before = host.all().size();
    editValue(host, "alg.gain", "7");
    host.wait(150);
    QCOMPARE(db.value("alg", "alg.gain"), qMakePair(QVariant("7"), QStringLiteral("text")));
    const QList<QJsonObject> sinceEdit = host.all().mid(before);
    const QList<QVariantMap> edits = params(sinceEdit, "page");
    QCOMPARE(edits.size(), 2);
    QCOMPARE(edits.at(0).value("param").toString(),
             QStringLiteral("update 'alg' set value = '7' where key = 'alg.gain'"));
    QCOMPARE(edits.at(1).value("param").toString(), QStringLiteral("select * from $table$"));
    QCOMPARE(edits.at(1).value("dbName").toString(), QStringLiteral("scan"));
    QCOMPARE(host.eval(kListing).toString(), rowsText(scan));

    // Two real-time rows edited in a burst: one refresh of the scanning module.
    QCOMPARE(host.eval("tableChoice.currentIndex = 0; tableChoice.currentIndex"), QVariant(0));
    host.wait(100);
    const int burstStart = host.all().size();
    editValue(host, "IRSpeckle.gain", "2.5");
    editValue(host, "laser.exposure", "900");
    host.wait(900);
    QCOMPARE(db.value("scan", "IRSpeckle.gain"), qMakePair(QVariant("2.5"), QStringLiteral("text")));
    QCOMPARE(db.value("scan", "laser.exposure"), qMakePair(QVariant("900"), QStringLiteral("text")));
    int refreshes = 0;
    for (const QVariantMap &param : params(host.all().mid(burstStart), "page"))
        refreshes += param.value("cmd").toString() == "refreshRealTimeSetup" ? 1 : 0;
    QCOMPARE(refreshes, 1);
    QVERIFY(host.log().contains("real-time setup refreshed"));
    QCOMPARE(
            host.eval(kListing).toString(),
            rowsText(
                    all,
                    {{"alg.alg.gain", "7"}, {"scan.IRSpeckle.gain", "2.5"}, {"scan.laser.exposure", "900"}}));

    // Closed by its frame, then opened again: a new page lists every table.
    host.step({{"close", kEditor}}, "vorahost");
    QCOMPARE(host.eval("1", "vorahost"), QVariant(1));
    openEditor(host, &lines);
    page = params(lines, "page");
    QVERIFY(!page.isEmpty());
    QCOMPARE(page.first().value("param").toString(), QStringLiteral("select * from $table$"));
    QCOMPARE(host.eval("curDataBaseName"), QVariant(QString()));
    QCOMPARE(
            host.eval(kListing).toString(),
            rowsText(
                    all,
                    {{"alg.alg.gain", "7"}, {"scan.IRSpeckle.gain", "2.5"}, {"scan.laser.exposure", "900"}}));

    QCOMPARE(host.finish(), 0);
    QVERIFY2(!host.log().contains("AddressSanitizer"), qPrintable(host.log()));
}

void tst_ConfigEditorHost::hostileInputFromThePage()
{
    VoraTest::TempDatabase db(fixtureSql());
    QVERIFY2(db.isValid(), qPrintable(db.errorString()));
    const QStringList before = dump(db.fileName());
    HostSession host(db.fileName());
    QVERIFY(host.isRunning());
    QList<QJsonObject> lines;
    openEditor(host, &lines);

    // Values and keywords as a user could type them, through the page's own
    // functions, which paste them into the statement unescaped.
    const QStringList hostile = {
            "sqlModelCore.updateValue('', 'scan', 'IRSpeckle.gain', \"x' where 1=1 --\")",
            "sqlModelCore.updateValue('scan', 'scan', 'IRSpeckle.gain', \"1'; drop table scan; --\")",
            "sqlModelCore.updateValue('', 'scan', 'IRSpeckle.gain', \"it's\")",
            "sqlModelCore.updateValue('', 'scan', \"' or 1=1 --\", '5')",
            "sqlModelCore.updateValue('', 'config', 'logLevel', \"3' where key = 'logLevel'; delete from "
            "alg; --\")",
            "sqlModelCore.findVague('scan', \"'; drop table scan; --\")",
            "sqlModelCore.findVague('', \"'; update alg set value = 1; --\")",
            "sqlModelCore.findVague('', \"it's\")",
            "sqlModelCore.findVague('scan\\\"; drop table scan; --', 'gain')",
            "sqlModelCore.execQuery('', 'delete from scan')",
            "sqlModelCore.execQuery('', 'drop table alg')",
    };
    const int start = host.all().size();
    for (const QString &js : hostile)
        host.eval(js);
    host.wait(200);
    QCOMPARE(dump(db.fileName()), before);
    // Every one refused in the host's log and answered with an empty text,
    // which leaves the page's listing as it was.
    QCOMPARE(host.log().count("vora.host.db: warning: refused"), hostile.size());
    int empty = 0;
    for (const QVariantMap &answer : params(host.all().mid(start), "host"))
        empty += answer.value("dataBaseResponse").toString().isEmpty() ? 1 : 0;
    QCOMPARE(empty, hostile.size());
    const auto all = [](const Row &) { return true; };
    QCOMPARE(host.eval(kListing).toString(), rowsText(all));

    // Reads that only look dangerous are answered and change nothing.
    host.eval("sqlModelCore.findVague('', \"' or 1=1 --\")");
    host.wait(100);
    QCOMPARE(host.eval(kListing).toString(), rowsText(all));
    host.eval("sqlModelCore.findVague('', '%')");
    host.wait(100);
    QCOMPARE(host.eval(kListing).toString(), rowsText(all));
    // No row matches: the empty answer leaves the listing as it was.
    host.eval("sqlModelCore.findVague('', '#')");
    host.wait(100);
    QCOMPARE(host.eval(kListing).toString(), rowsText(all));
    QCOMPARE(dump(db.fileName()), before);

    // A "#" typed into a value is stored, and its row then drops out of the
    // listing (the page's text format has no escaping).
    host.eval("sqlModelCore.updateValue('', 'alg', 'smooth', 'a#b')");
    host.eval("sqlModelCore.selectAll('alg')");
    host.wait(100);
    QCOMPARE(db.value("alg", "smooth"), qMakePair(QVariant("a#b"), QStringLiteral("text")));
    QCOMPARE(host.eval(kListing).toString(), rowsText([](const Row &row) { return row.key == "alg.gain"; }));

    QCOMPARE(host.finish(), 0);
}

QTEST_GUILESS_MAIN(tst_ConfigEditorHost)
#include "tst_configeditorhost.moc"
