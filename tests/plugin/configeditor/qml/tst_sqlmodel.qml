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

        // tables.json's "statements": call [method, arguments...], the SQL
        // (or "find": the keyword of a search), dbName: the table the message
        // names, none for every table.
        function test_statements_data() {
            return $tables.statements
        }

        function test_statements(data) {
            model[data.call[0]].apply(model, data.call.slice(1))
            var sql = data.find === undefined ? data.sql
                    : "select * from $table$  where key like '%%1%' or value like '%%1%' or comment like '%%1%'".arg(data.find)
            compare(publishSpy.count, 1)
            var args = publishSpy.signalArguments[0]
            compare([args[0], args[1], args[2], args[4]], ["", "", "", false])
            var expected = {"cmd": "query", "target": "dataBaseQuery", "param": sql}
            if (data.dbName !== undefined)
                expected.dbName = data.dbName
            compare(args[3], expected)
            compare(Object.keys(args[3]).sort(), Object.keys(expected).sort())
            verify($app.logged("execQuery: " + sql), "execQuery log line")
        }

        // tables.json's "parse"; rows: what the listing holds afterwards (it
        // starts with one old row); logged: lines the answer must log.
        function test_parse_data() {
            return $tables.parse
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
