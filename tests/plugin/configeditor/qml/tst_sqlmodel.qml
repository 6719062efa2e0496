import QtQuick 2.9
import QtTest 1.2

// SqlModel on its own: the statements it builds, the message it publishes
// through its ui item, and how it reads the host's text answer.
Item {
    id: root

    QtObject {
        id: page
        signal publish(string topic, string type, string cmd, var param, bool bSync)
    }

    SignalSpy {
        id: publishSpy
        target: page
        signalName: "publish"
    }

    Component {
        id: sqlModelComponent
        Loader {
            source: "qrc:/ConfigEditor/views/SqlModel.qml"
            onLoaded: item.ui = page
        }
    }

    TestCase {
        name: "SqlModel"

        property var model

        function init() {
            var loader = createTemporaryObject(sqlModelComponent, root)
            tryCompare(loader, "status", Loader.Ready)
            model = loader.item
            publishSpy.clear()
            $app.clearLogs()
        }

        // dbName: the table the message names; undefined for every table.
        function test_statements_data() {
            var search = "select * from $table$  where key like '%%1%' or value like '%%1%' or comment like '%%1%'"
            return [
                { tag: "select all", call: function(m) { m.selectAll("scan") }, sql: "select * from $table$", dbName: "scan" },
                { tag: "clouddisk goes out as typed", call: function(m) { m.selectAll("clouddisk") },
                  sql: "select * from $table$", dbName: "clouddisk" },
                { tag: "all tables: empty", call: function(m) { m.selectAll("") }, sql: "select * from $table$" },
                { tag: "all tables: none given", call: function(m) { m.selectAll() }, sql: "select * from $table$" },
                { tag: "search", call: function(m) { m.findVague("scan", "IRSpeckle") }, sql: search.arg("IRSpeckle"),
                  dbName: "scan" },
                { tag: "empty keyword lists everything", call: function(m) { m.findVague("scan", "") },
                  sql: "select * from $table$", dbName: "scan" },
                { tag: "keyword inserted unescaped", call: function(m) { m.findVague("", "it's 50%") },
                  sql: "select * from $table$  where key like '%it's 50%%' or value like '%it's 50%%' or comment like '%it's 50%%'" },
                { tag: "real-time apply searches", call: function(m) { m.applyRealTimeSetUp("alg", "gain") },
                  sql: search.arg("gain"), dbName: "alg" },
                { tag: "update trims table and key", call: function(m) { m.updateValue("", " scan ", " IRSpeckle.If_Save_Pic ", "1") },
                  sql: "update 'scan' set value = '1' where key = 'IRSpeckle.If_Save_Pic'" },
                { tag: "update keeps the value as given", call: function(m) { m.updateValue("", "scan", "k", " 2 ") },
                  sql: "update 'scan' set value = ' 2 ' where key = 'k'" },
                { tag: "update fills %1 first, then %2", call: function(m) { m.updateValue("", "t%2", "k", "v") },
                  sql: "update 'tv' set value = 'v' where key = 'k'" },
                { tag: "update value with a quote", call: function(m) { m.updateValue("scan", "scan", "k", "x' where 1=1 --") },
                  sql: "update 'scan' set value = 'x' where 1=1 --' where key = 'k'", dbName: "scan" }
            ]
        }

        function test_statements(data) {
            data.call(model)
            compare(publishSpy.count, 1)
            var args = publishSpy.signalArguments[0]
            compare([args[0], args[1], args[2], args[4]], ["", "", "", false])
            var expected = {"cmd": "query", "target": "dataBaseQuery", "param": data.sql}
            if (data.dbName !== undefined)
                expected.dbName = data.dbName
            compare(args[3], expected)
            compare(Object.keys(args[3]).sort(), Object.keys(expected).sort())
            verify($app.logged("execQuery: " + data.sql), "execQuery log line")
        }

        // rows: what the listing holds afterwards (it starts with one old
        // row); logged: lines the answer must log.
        function test_parse_data() {
            var old = ["old", "old", "old", "old"]
            return [
                { tag: "two rows and a trailing break", text: "scan#a#1#first\nalg#b#2.5#second\n",
                  rows: [["scan", "a", "1", "first"], ["alg", "b", "2.5", "second"]], rejected: 1,
                  logged: ["sign 0106 obj.length= 4", "sign why = [\"\"]"] },
                { tag: "a # in a value drops the row", text: "scan#a#1#x\nscan#colour#255#0#0#y\nscan#c#3#z",
                  rows: [["scan", "a", "1", "x"], ["scan", "c", "3", "z"]], rejected: 1,
                  logged: ["sign why = " + JSON.stringify(["scan", "colour", "255", "0", "0", "y"])] },
                { tag: "three fields dropped", text: "scan#a#1\nscan#b#2#", rows: [["scan", "b", "2", ""]], rejected: 1 },
                { tag: "chinese comment kept", text: "scan#gain#4#实时设置 增益", rows: [["scan", "gain", "4", "实时设置 增益"]],
                  rejected: 0 },
                { tag: "nothing readable", text: "x#y", rows: [], rejected: 1, logged: ["sign why = [\"x\",\"y\"]"] },
                { tag: "empty answer keeps the rows", text: "", rows: [old], rejected: 0, lines: 0,
                  logged: ["sign xxxx success"] },
                { tag: "no answer keeps the rows", text: undefined, rows: [old], rejected: 0, lines: 0 }
            ]
        }

        function test_parse(data) {
            model.sqlData.append({"table": "old", "key": "old", "value": "old", "comment": "old"})
            model.dbResponse({"cmd": "dataBaseResponseCmd", "dataBaseResponse": data.text})
            var rows = []
            for (var i = 0; i < model.sqlData.count; ++i) {
                var row = model.sqlData.get(i)
                rows.push([row.table, row.key, row.value, row.comment])
            }
            compare(rows, data.rows)
            var logs = $app.logs()
            var count = function(prefix) { return logs.filter(function(l) { return l.indexOf(prefix) === 0 }).length }
            compare(count("sign why ="), data.rejected)
            compare(count("sign 0106 obj.length="), data.lines !== undefined ? data.lines : data.text.split("\n").length)
            for (var k = 0; data.logged && k < data.logged.length; ++k)
                verify($app.logged(data.logged[k]), data.logged[k] + " in " + logs.join("|"))
            compare(publishSpy.count, 0)
        }
    }
}
