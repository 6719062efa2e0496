import QtQuick 2.9
import QtTest 1.2

// The config editor page as a user drives it: real clicks and keys on its
// controls, the messages it publishes through "$app", and the rows it shows
// from the answers delivered back.
Item {
    id: root
    width: 800
    height: 516

    Component {
        id: pageComponent
        Loader {
            width: 800
            height: 516
            source: "qrc:/ConfigEditor/views/VoraTableView.qml"
        }
    }

    TestCase {
        id: testCase
        name: "VoraTableView"
        when: windowShown

        readonly property string searchSql:
            "select * from $table$  where key like '%%1%' or value like '%%1%' or comment like '%%1%'"
        property var page

        function findChild(item, name) {
            if (!item)
                return null
            if (item.objectName === name)
                return item
            var kids = item.children
            for (var i = 0; i < kids.length; ++i) {
                var found = findChild(kids[i], name)
                if (found)
                    return found
            }
            return null
        }

        function findAll(item, name, result) {
            if (!item)
                return result
            if (item.objectName === name && item.visible)
                result.push(item)
            var kids = item.children
            for (var i = 0; i < kids.length; ++i)
                findAll(kids[i], name, result)
            return result
        }

        function child(name) {
            var item = findChild(page, name)
            verify(item, "no item " + name)
            return item
        }

        function lastParam() {
            var params = $app.params()
            verify(params.length > 0, "nothing was published")
            return params[params.length - 1]
        }

        function paramsWithCmd(cmd) {
            return $app.params().filter(function(p) { return p.cmd === cmd })
        }

        function typeText(text) {
            for (var i = 0; i < text.length; ++i)
                keyClick(text[i])
        }

        function clickItem(item) {
            mouseClick(item, item.width / 2, item.height / 2)
        }

        // The visible value cell that shows text.
        function valueCell(text) {
            var cells = findAll(page, "valueEdit", [])
            for (var i = 0; i < cells.length; ++i) {
                if (cells[i].text === text)
                    return cells[i]
            }
            return null
        }

        function init() {
            $app.clear()
            var loader = createTemporaryObject(pageComponent, root)
            verify(loader)
            tryCompare(loader, "status", Loader.Ready)
            page = loader.item
            // The first listing goes out on the turn after completion.
            tryCompare($app, "publishedCount", 1)
            $app.clear()
            $app.clearLogs()
        }

        function chooseTable(index) {
            var combo = child("tableChoice")
            combo.forceActiveFocus()
            while (combo.currentIndex < index)
                keyClick(Qt.Key_Down)
            while (combo.currentIndex > index)
                keyClick(Qt.Key_Up)
        }

        function showRows(text) {
            $app.respond(text)
            tryVerify(function() { return findAll(page, "valueEdit", []).length > 0 })
        }

        function test_startListsEveryTable() {
            $app.clear()
            var loader = createTemporaryObject(pageComponent, root)
            tryCompare(loader, "status", Loader.Ready)
            compare($app.root, loader.item, "init(root) with the page root")
            // Not yet: the listing waits for the next turn of the event loop.
            compare($app.publishedCount, 0)
            tryCompare($app, "publishedCount", 1)
            var message = $app.published()[0]
            compare([message.topic, message.type, message.cmd, message.bSync], ["", "", "", false])
            compare(message.param, {"cmd": "query", "target": "dataBaseQuery", "param": "select * from $table$"})
            compare(loader.item.objectName, "realTimeSetUp")
            compare(loader.item.implicitWidth, 800)
            compare(loader.item.implicitHeight, 516)
            compare(String(loader.item.color), "#999999")
        }

        function test_chooseTable_data() {
            return [
                { tag: "scan", index: 2, dbName: "scan" },
                { tag: "clouddisk is sent by its name", index: 7, dbName: "clouddisk" },
                { tag: "back to all", index: 0, dbName: undefined }
            ]
        }

        function test_chooseTable(data) {
            chooseTable(data.index === 0 ? 3 : data.index)
            if (data.index === 0)
                chooseTable(0)
            var param = lastParam()
            compare(param.param, "select * from $table$")
            compare(param.dbName, data.dbName)
            compare(page.curDataBaseName, data.dbName === undefined ? "" : data.dbName)
            verify($app.logged("radioButtonChecked: " + (data.dbName === undefined ? "all" : data.dbName)))
        }

        function test_findButton_data() {
            return [
                { tag: "word", typed: "  Gain ", table: 3, sql: searchSql.arg("Gain"), dbName: "alg" },
                { tag: "word in every table", typed: "gain", table: 0, sql: searchSql.arg("gain"), dbName: undefined },
                { tag: "blank search sends nothing", typed: "   ", table: 2, sql: undefined }
            ]
        }

        function test_findButton(data) {
            chooseTable(data.table)
            clickItem(child("findText"))
            typeText(data.typed)
            $app.clear()
            clickItem(child("findButton"))
            verify($app.logged("sign 0112 find"))
            if (data.sql === undefined) {
                compare($app.publishedCount, 0)
                verify(!$app.logged("sign 0106 find"))
                return
            }
            compare($app.publishedCount, 1)
            compare(lastParam().param, data.sql)
            compare(lastParam().dbName, data.dbName)
        }

        // The "Enter" shortcut passes the search text as the table and leaves
        // the keyword undefined: a search for "undefined" in that table.
        function test_enterShortcutSearchesTypedTable() {
            chooseTable(2)
            clickItem(child("findText"))
            typeText("alg")
            $app.clear()
            keyClick(Qt.Key_Enter)
            verify($app.logged("sign 0112 findcmd.focus= true"), $app.logs().join("|"))
            verify($app.logged("sign 0112 onEnterOkPressed"))
            compare($app.publishedCount, 1)
            compare(lastParam().dbName, "alg")
            compare(lastParam().param, searchSql.arg("undefined"))
        }

        function test_enterShortcutWithoutSearchFocus() {
            clickItem(child("findText"))
            typeText("alg")
            child("refreshButton").forceActiveFocus()
            $app.clear()
            $app.clearLogs()
            keyClick(Qt.Key_Enter)
            verify($app.logged("sign 0112 findcmd.focus= false"), $app.logs().join("|"))
            verify(!$app.logged("sign 0112 onEnterOkPressed"))
        }

        function test_returnInButtonRowSearches() {
            chooseTable(2)
            clickItem(child("findText"))
            typeText(" IR ")
            child("refreshButton").forceActiveFocus()
            $app.clear()
            $app.clearLogs()
            keyClick(Qt.Key_Return)
            verify($app.logged("sign 1 12 =========="))
            verify($app.logged("this is why luan le"))
            compare($app.publishedCount, 1)
            compare(lastParam().param, searchSql.arg("IR"))
            compare(lastParam().dbName, "scan")
            $app.clearLogs()
            keyClick(Qt.Key_A)
            verify($app.logged("sign 1 12 =========="))
            verify(!$app.logged("this is why luan le"))
            compare($app.publishedCount, 1)
        }

        function test_showAllThenRefresh() {
            chooseTable(2)
            clickItem(child("findText"))
            typeText("gain")
            $app.clear()
            clickItem(child("showAllButton"))
            compare(child("findText").text, "")
            compare(child("tableChoice").currentText, "scan")
            compare($app.publishedCount, 1)
            compare(lastParam(), {"cmd": "query", "target": "dataBaseQuery", "param": "select * from $table$"})
            clickItem(child("refreshButton"))
            compare($app.publishedCount, 2)
            compare(lastParam().dbName, "scan")
            compare(lastParam().param, "select * from $table$")
            verify($app.logged("sign 0112 show all"))
            verify($app.logged("sign 0112 refresh"))
        }

        function test_hideAndShowAgain_data() {
            return [{ tag: "hide button", useKey: false }, { tag: "Esc", useKey: true }]
        }

        function test_hideAndShowAgain(data) {
            chooseTable(4)
            $app.clear()
            if (data.useKey)
                keyClick(Qt.Key_Escape)
            else
                clickItem(child("hideButton"))
            compare(page.visible, false)
            verify($app.logged(data.useKey ? "captureKeyEsc" : "hide"))
            compare($app.publishedCount, 0)
            page.visible = true
            compare($app.publishedCount, 1)
            compare(lastParam().dbName, "postprocess")
            compare(lastParam().param, "select * from $table$")
        }

        function test_spaceAppendsBlankWhileVisible() {
            clickItem(child("findText"))
            typeText("ab")
            child("refreshButton").forceActiveFocus()
            keyClick(Qt.Key_Space)
            compare(child("findText").text, "ab ")
            verify($app.logged("captureKeySpace"))
            page.visible = false
            keyClick(Qt.Key_Space)
            compare(child("findText").text, "ab ")
        }

        function test_responseFillsTable() {
            showRows("scan#a#1#first\nscan#b#x#y#z\nalg#c#3#third\n")
            compare(page.sqlModelCore.sqlData.count, 2)
            verify(valueCell("1"))
            verify(valueCell("3"))
            // Any other message leaves the table alone.
            $app.deliver({"cmd": "somethingElse", "dataBaseResponse": "scan#q#9#"})
            compare(page.sqlModelCore.sqlData.count, 2)
            verify($app.logged("sss: param " + JSON.stringify({"cmd": "somethingElse", "dataBaseResponse": "scan#q#9#"})))
            $app.respond("")
            compare(page.sqlModelCore.sqlData.count, 2)
        }

        function test_commit_data() {
            return [
                { tag: "Return", how: "return", typed: "7", sql: "update 'scan' set value = '17' where key = 'a'" },
                { tag: "Enter", how: "enter", typed: "7", sql: "update 'scan' set value = '17' where key = 'a'" },
                { tag: "button", how: "button", typed: "7", sql: "update 'scan' set value = '17' where key = 'a'" },
                { tag: "blanks trimmed", how: "return", typed: "7  ", sql: "update 'scan' set value = '17' where key = 'a'" },
                { tag: "empty sends no update", how: "return", clear: true, typed: "", sql: undefined }
            ]
        }

        function test_commit(data) {
            chooseTable(2)
            showRows("scan#a#1#plain\nscan#b#2#other")
            var cell = valueCell("1")
            verify(cell)
            mouseClick(cell, cell.width - 4, cell.height / 2)
            tryCompare(cell, "activeFocus", true)
            verify(cell.cursorVisible)
            keyClick(Qt.Key_End)
            if (data.clear)
                keyClick(Qt.Key_Backspace)
            typeText(data.typed)
            compare(String(cell.color), data.clear ? "#000000" : "#ff0000")
            $app.clear()
            $app.clearLogs()
            if (data.how === "return")
                keyClick(Qt.Key_Return)
            else if (data.how === "enter")
                keyClick(Qt.Key_Enter)
            else
                clickItem(findChild(cell.parent, "commitButton"))
            verify($app.logged("move enter"))
            compare(String(cell.color), "#000000")
            compare(cell.activeFocus, false)
            var params = $app.params()
            var expected = []
            if (data.sql !== undefined)
                expected.push({"cmd": "query", "target": "dataBaseQuery", "param": data.sql, "dbName": "scan"})
            // A plain row is listed again at once.
            expected.push({"cmd": "query", "target": "dataBaseQuery", "param": "select * from $table$", "dbName": "scan"})
            compare(params, expected)
        }

        function test_sameTextStaysBlack() {
            showRows("scan#a#1#plain")
            var cell = valueCell("1")
            mouseClick(cell, cell.width - 4, cell.height / 2)
            tryCompare(cell, "activeFocus", true)
            keyClick(Qt.Key_End)
            typeText(" ")
            compare(String(cell.color), "#000000")
            keyClick(Qt.Key_Backspace)
            keyClick(Qt.Key_Backspace)
            compare(cell.text, "")
            compare(String(cell.color), "#000000")
        }

        // Two real-time rows committed in a burst: both updates go out at
        // once, the real-time refresh once, half a second after the last.
        function test_realTimeBurst() {
            showRows("scan#rt1#5#实时设置 gain\nscan#rt2#6#实时设置 exposure\nscan#plain#7#x")
            var timer = null
            for (var i = 0; i < page.resources.length; ++i) {
                if (page.resources[i].objectName === "realTimeTimer")
                    timer = page.resources[i]
            }
            verify(timer, "real-time timer")
            compare(timer.interval, 500)
            compare(timer.repeat, false)
            $app.clear()
            var first = valueCell("5")
            mouseClick(first, first.width - 4, first.height / 2)
            typeText("1")
            keyClick(Qt.Key_Return)
            var second = valueCell("6")
            mouseClick(second, second.width - 4, second.height / 2)
            typeText("2")
            keyClick(Qt.Key_Return)
            verify($app.logged("sign 0112 find it"))
            compare($app.params(), [
                {"cmd": "query", "target": "dataBaseQuery", "param": "update 'scan' set value = '51' where key = 'rt1'"},
                {"cmd": "query", "target": "dataBaseQuery", "param": "update 'scan' set value = '62' where key = 'rt2'"}
            ])
            verify(timer.running)
            tryVerify(function() { return paramsWithCmd("refreshRealTimeSetup").length > 0 }, 2000)
            compare(timer.running, false)
            var params = $app.params()
            compare(params.length, 4)
            compare(params[2], {"cmd": "query", "target": "dataBaseQuery", "param": "select * from $table$"})
            compare(params[3], {"cmd": "refreshRealTimeSetup", "isLaserScan": false,
                                "target": "VoraLaserRebuildProcessController"})
            var message = $app.published()[3]
            compare([message.topic, message.type, message.cmd, message.bSync], ["", "", "", false])
            verify($app.logged("应用实时设置 this"))
        }
    }
}
