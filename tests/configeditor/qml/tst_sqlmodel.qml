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
        id: testCase
        name: "SqlModel"

        property var model

        function init() {
            var loader = createTemporaryObject(sqlModelComponent, root)
            verify(loader, "loader")
            tryCompare(loader, "status", Loader.Ready)
            model = loader.item
            publishSpy.clear()
            $app.clearLogs()
        }

        function lastParam() {
            verify(publishSpy.count > 0, "nothing was published")
            return publishSpy.signalArguments[publishSpy.count - 1][3]
        }

        function test_statements_data() {
            var search = "select * from $table$  where key like '%%1%' or value like '%%1%' or comment like '%%1%'"
            return [
                { tag: "select all", call: function(m) { m.selectAll("scan") },
                  sql: "select * from $table$" },
                { tag: "search", call: function(m) { m.findVague("scan", "IRSpeckle") },
                  sql: search.arg("IRSpeckle") },
                { tag: "empty keyword lists everything", call: function(m) { m.findVague("scan", "") },
                  sql: "select * from $table$" },
                { tag: "keyword inserted unescaped", call: function(m) { m.findVague("", "it's 50%") },
                  sql: "select * from $table$  where key like '%it's 50%%' or value like '%it's 50%%' or comment like '%it's 50%%'" },
                { tag: "real-time apply searches", call: function(m) { m.applyRealTimeSetUp("alg", "gain") },
                  sql: search.arg("gain") },
                { tag: "update trims table and key", call: function(m) { m.updateValue("", " scan ", " IRSpeckle.If_Save_Pic ", "1") },
                  sql: "update 'scan' set value = '1' where key = 'IRSpeckle.If_Save_Pic'" },
                { tag: "update keeps the value as given", call: function(m) { m.updateValue("", "scan", "k", " 2 ") },
                  sql: "update 'scan' set value = ' 2 ' where key = 'k'" },
                { tag: "update fills %1 first, then %2", call: function(m) { m.updateValue("", "t%2", "k", "v") },
                  sql: "update 'tv' set value = 'v' where key = 'k'" },
                { tag: "update value with a quote", call: function(m) { m.updateValue("", "scan", "k", "x' where 1=1 --") },
                  sql: "update 'scan' set value = 'x' where 1=1 --' where key = 'k'" }
            ]
        }

        function test_statements(data) {
            data.call(model)
            compare(publishSpy.count, 1)
            var args = publishSpy.signalArguments[0]
            compare(args[0], "")
            compare(args[1], "")
            compare(args[2], "")
            compare(args[4], false)
            compare(args[3].cmd, "query")
            compare(args[3].target, "dataBaseQuery")
            compare(args[3].param, data.sql)
            verify($app.logged("execQuery: " + data.sql), "execQuery log line")
        }

        function test_dbName_data() {
            return [
                { tag: "a table", name: "scan", expected: "scan" },
                { tag: "clouddisk goes out as typed", name: "clouddisk", expected: "clouddisk" },
                { tag: "all tables: empty", name: "", expected: undefined },
                { tag: "all tables: none given", name: undefined, expected: undefined }
            ]
        }

        function test_dbName(data) {
            model.selectAll(data.name)
            var param = lastParam()
            compare(param.dbName, data.expected)
            compare(param.hasOwnProperty("dbName"), data.expected !== undefined)
            compare(Object.keys(param).length, data.expected !== undefined ? 4 : 3)
        }

        function test_parse_data() {
            return [
                { tag: "two rows and a trailing break",
                  text: "scan#a#1#first\nalg#b#2.5#second\n",
                  rows: [["scan", "a", "1", "first"], ["alg", "b", "2.5", "second"]], rejected: 1 },
                { tag: "a # in a value drops the row",
                  text: "scan#a#1#x\nscan#colour#255#0#0#y\nscan#c#3#z",
                  rows: [["scan", "a", "1", "x"], ["scan", "c", "3", "z"]], rejected: 1 },
                { tag: "three fields dropped",
                  text: "scan#a#1\nscan#b#2#",
                  rows: [["scan", "b", "2", ""]], rejected: 1 },
                { tag: "chinese comment kept",
                  text: "scan#gain#4#实时设置 增益",
                  rows: [["scan", "gain", "4", "实时设置 增益"]], rejected: 0 }
            ]
        }

        function test_parse(data) {
            model.sqlData.append({"table": "old", "key": "old", "value": "old", "comment": "old"})
            model.dbResponse({"cmd": "dataBaseResponseCmd", "dataBaseResponse": data.text})
            compare(model.sqlData.count, data.rows.length)
            for (var i = 0; i < data.rows.length; ++i) {
                var row = model.sqlData.get(i)
                compare([row.table, row.key, row.value, row.comment], data.rows[i])
            }
            var logs = $app.logs()
            var rejected = logs.filter(function(l) { return l.indexOf("sign why =") === 0 })
            compare(rejected.length, data.rejected)
            var counted = logs.filter(function(l) { return l.indexOf("sign 0106 obj.length=") === 0 })
            compare(counted.length, data.text.split("\n").length)
        }

        function test_emptyResponseKeepsRows() {
            model.dbResponse({"cmd": "dataBaseResponseCmd", "dataBaseResponse": "scan#a#1#x\nscan#b#2#y"})
            compare(model.sqlData.count, 2)
            model.dbResponse({"cmd": "dataBaseResponseCmd", "dataBaseResponse": ""})
            compare(model.sqlData.count, 2)
            compare(model.sqlData.get(1).key, "b")
            verify($app.logged("sign xxxx success"))
            compare(publishSpy.count, 0)
        }

        function test_rejectedRowLoggedAsJson() {
            model.dbResponse({"cmd": "dataBaseResponseCmd", "dataBaseResponse": "x#y"})
            compare(model.sqlData.count, 0)
            verify($app.logged("sign why = " + JSON.stringify(["x", "y"])), $app.logs().join("|"))
        }
    }
}
