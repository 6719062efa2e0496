import QtQuick 2.6
import QtQuick.Window 2.2
import QtQuick.Controls 2.2
import QtQuick.Layouts 1.3
import QtQuick.Dialogs 1.2
import QtGraphicalEffects 1.0
import VoraDesign 1.0
import ".."

// Builds the SQL text the host's database service runs, sends it over the bus
// through the page's publish signal, and turns the text answer into rows.
// "$table$" is left for the host to fill in from "dbName".
Item {
    id: root

    // The item whose publish(topic, type, cmd, param, bSync) signal carries
    // the queries onto the bus: the page root.
    property var ui
    property var tableNames
    property alias sqlData: sqlData

    function execQuery(dbName, str) {
        console.log("execQuery: " + str)
        var vars = {
            "cmd": "query",
            "target": "dataBaseQuery",
            "param": str
        }
        // No "dbName" at all means every table.
        if (typeof dbName === "string" && dbName !== "")
            vars["dbName"] = dbName
        // The sixth argument is one more than the signal takes; QML drops it.
        root.ui.publish("", "", "", vars, false, 0)
    }

    function selectAll(dataBaseName) {
        console.log("selectAll")
        execQuery(dataBaseName, "select * from $table$")
    }

    // The keyword goes into the statement as typed, unescaped: a quote in it
    // breaks the statement, and the host is what keeps the database safe.
    function findVague(dataBaseName, keyword) {
        var cmd = "select * from $table$"
        if (keyword !== "")
            cmd = "select * from $table$  where key like '%%1%' or value like '%%1%' or comment like '%%1%'".arg(keyword)
        console.log("sign 0106 cmd = " + cmd)
        execQuery(dataBaseName, cmd)
    }

    function applyRealTimeSetUp(curDataBaseName, str) {
        console.log("applyRealTimeSetUp = " + str)
        findVague(curDataBaseName, str)
    }

    // Placeholders are filled one after the other, %1 first, so a table name
    // holding "%2" is filled again by the value; nothing guards against it.
    function updateValue(dataBaseName, table, key, value) {
        var str = "update '%1' set value = '%2' where key = '%3'"
                .arg(String(table).trim()).arg(value).arg(String(key).trim())
        console.log("sign 0106 str=" + str)
        execQuery(dataBaseName, str)
    }

    // An update is answered with an empty text: the listing stays as it was,
    // which is why every commit on the page is followed by a fresh search.
    function dbResponse(param) {
        var datas = param.dataBaseResponse
        if (datas === undefined || datas === null || datas === "") {
            console.log("sign xxxx success")
            return
        }
        parseListModel(String(datas))
    }

    // One row per line, four fields split by "#": table, key, value, comment.
    // There is no quoting, so a "#" inside a value makes its row unreadable.
    function parseListModel(datas) {
        sqlData.clear()
        var lines = datas.split("\n")
        for (var i = 0; i < lines.length; ++i) {
            var obj = lines[i].split("#")
            console.log("sign 0106 obj.length=", obj.length)
            if (obj.length !== 4) {
                console.log("sign why =", JSON.stringify(obj))
                continue
            }
            sqlData.append({
                "key": obj[1],
                "value": obj[2],
                "comment": obj[3],
                "table": obj[0]
            })
        }
    }

    ListModel {
        id: sqlData
    }
}
