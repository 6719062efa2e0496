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
        name: "VoraTableView"
        when: windowShown

        readonly property string searchSql:
            "select * from $table$  where key like '%%1%' or value like '%%1%' or comment like '%%1%'"
        property var page

        // The items below item with that object name (the visible ones only
        // if visibleOnly), in tree order.
        function find(item, name, visibleOnly, result) {
            result = result || []
            if (item.objectName === name && (item.visible || !visibleOnly))
                result.push(item)
            for (var i = 0; i < item.children.length; ++i)
                find(item.children[i], name, visibleOnly, result)
            return result
        }

        function child(name) {
            var item = find(page, name, false)[0]
            verify(item, "no item " + name)
            return item
        }

        // The visible value cell that shows text.
        function valueCell(text) {
            return find(page, "valueEdit", true).filter(function(c) { return c.text === text })[0]
        }

        function query(sql, dbName) {
            var q = {"cmd": "query", "target": "dataBaseQuery", "param": sql}
            if (dbName !== undefined)
                q.dbName = dbName
            return q
        }

        function typeText(text) {
            for (var i = 0; i < text.length; ++i)
                keyClick(text[i])
        }

        function clickItem(item) {
            mouseClick(item, item.width / 2, item.height / 2)
        }

        // Clicks at the end of the cell's text and types there.
        function typeInto(cell, text) {
            mouseClick(cell, cell.width - 4, cell.height / 2)
            tryCompare(cell, "activeFocus", true)
            keyClick(Qt.Key_End)
            typeText(text)
        }

        // Types text into the search field; with focusElsewhere, moves the
        // focus on to the button row. Clears what was published and logged.
        function search(text, focusElsewhere) {
            clickItem(child("findText"))
            typeText(text)
            if (focusElsewhere)
                child("refreshButton").forceActiveFocus()
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
            tryVerify(function() { return find(page, "valueEdit", true).length > 0 })
        }

        function init() {
            $app.clear()
            var loader = createTemporaryObject(pageComponent, root)
            tryCompare(loader, "status", Loader.Ready)
            page = loader.item
            // The first listing goes out on the turn after completion.
            tryCompare($app, "publishedCount", 1)
            $app.clear()
            $app.clearLogs()
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
            compare(message.param, query("select * from $table$"))
            compare(loader.item.objectName, "realTimeSetUp")
            compare([loader.item.implicitWidth, loader.item.implicitHeight], [800, 516])
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
            chooseTable(data.index)
            compare($app.params().pop(), query("select * from $table$", data.dbName))
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
            search(data.typed)
            clickItem(child("findButton"))
            verify($app.logged("sign 0112 find"))
            compare($app.params(), data.sql === undefined ? [] : [query(data.sql, data.dbName)])
            compare($app.logged("sign 0106 find"), data.sql !== undefined)
        }

        // The "Enter" shortcut passes the search text as the table and leaves
        // the keyword undefined: a search for "undefined" in that table. Only
        // while the search field has the focus.
        function test_enterShortcut_data() {
            return [{ tag: "search field focused", focused: true }, { tag: "focus elsewhere", focused: false }]
        }

        function test_enterShortcut(data) {
            chooseTable(2)
            search("alg", !data.focused)
            keyClick(Qt.Key_Enter)
            verify($app.logged("sign 0112 findcmd.focus= " + data.focused), $app.logs().join("|"))
            compare($app.logged("sign 0112 onEnterOkPressed"), data.focused)
            if (data.focused)
                compare($app.params(), [query(searchSql.arg("undefined"), "alg")])
        }

        function test_returnInButtonRowSearches() {
            chooseTable(2)
            search(" IR ", true)
            keyClick(Qt.Key_Return)
            verify($app.logged("sign 1 12 =========="))
            verify($app.logged("this is why luan le"))
            compare($app.params(), [query(searchSql.arg("IR"), "scan")])
            $app.clearLogs()
            keyClick(Qt.Key_A)
            verify($app.logged("sign 1 12 =========="))
            verify(!$app.logged("this is why luan le"))
            compare($app.publishedCount, 1)
        }

        function test_showAllThenRefresh() {
            chooseTable(2)
            search("gain")
            clickItem(child("showAllButton"))
            compare(child("findText").text, "")
            compare(child("tableChoice").currentText, "scan")
            clickItem(child("refreshButton"))
            compare($app.params(), [query("select * from $table$"), query("select * from $table$", "scan")])
            verify($app.logged("sign 0112 show all"))
            verify($app.logged("sign 0112 refresh"))
        }

        // Hidden, the page takes no blank from the space key; shown again,
        // it lists its table anew.
        function test_hideAndShowAgain_data() {
            return [{ tag: "hide button", useKey: false }, { tag: "Esc", useKey: true }]
        }

        function test_hideAndShowAgain(data) {
            chooseTable(4)
            search("ab", true)
            keyClick(Qt.Key_Space)
            compare(child("findText").text, "ab ")
            verify($app.logged("captureKeySpace"))
            $app.clear()
            if (data.useKey)
                keyClick(Qt.Key_Escape)
            else
                clickItem(child("hideButton"))
            compare(page.visible, false)
            verify($app.logged(data.useKey ? "captureKeyEsc" : "hide"))
            compare($app.publishedCount, 0)
            keyClick(Qt.Key_Space)
            compare(child("findText").text, "ab ")
            $app.clear()
            page.visible = true
            compare($app.params(), [query("select * from $table$", "postprocess")])
        }

        function test_responseFillsTable() {
            showRows("scan#a#1#first\nscan#b#x#y#z\nalg#c#3#third\n")
            compare(page.sqlModelCore.sqlData.count, 2)
            verify(valueCell("1") && valueCell("3"))
            // Any other message leaves the table alone.
            var other = {"cmd": "somethingElse", "dataBaseResponse": "scan#q#9#"}
            $app.deliver(other)
            verify($app.logged("sss: param " + JSON.stringify(other)))
            $app.respond("")
            compare(page.sqlModelCore.sqlData.count, 2)
        }

        function test_commit_data() {
            var update = "update 'scan' set value = '17' where key = 'a'"
            return [
                { tag: "Return", how: "return", typed: "7", sql: update },
                { tag: "Enter", how: "enter", typed: "7", sql: update },
                { tag: "button", how: "button", typed: "7", sql: update },
                { tag: "blanks trimmed", how: "return", typed: "7  ", sql: update },
                { tag: "empty sends no update", how: "return", clear: true, typed: "", sql: undefined }
            ]
        }

        function test_commit(data) {
            chooseTable(2)
            showRows("scan#a#1#plain\nscan#b#2#other")
            var cell = valueCell("1")
            typeInto(cell, data.clear ? "" : data.typed)
            verify(cell.cursorVisible)
            if (data.clear)
                keyClick(Qt.Key_Backspace)
            compare(String(cell.color), data.clear ? "#000000" : "#ff0000")
            $app.clear()
            $app.clearLogs()
            if (data.how === "return")
                keyClick(Qt.Key_Return)
            else if (data.how === "enter")
                keyClick(Qt.Key_Enter)
            else
                clickItem(find(cell.parent, "commitButton", false)[0])
            verify($app.logged("move enter"))
            compare(String(cell.color), "#000000")
            compare(cell.activeFocus, false)
            // A plain row is listed again at once.
            var expected = data.sql === undefined ? [] : [query(data.sql, "scan")]
            compare($app.params(), expected.concat([query("select * from $table$", "scan")]))
        }

        function test_sameTextStaysBlack() {
            showRows("scan#a#1#plain")
            var cell = valueCell("1")
            typeInto(cell, " ")
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
            var timer = Array.prototype.filter.call(page.resources, function(r) { return r.objectName === "realTimeTimer" })[0]
            verify(timer, "real-time timer")
            compare([timer.interval, timer.repeat], [500, false])
            $app.clear()
            typeInto(valueCell("5"), "1")
            keyClick(Qt.Key_Return)
            typeInto(valueCell("6"), "2")
            keyClick(Qt.Key_Return)
            verify($app.logged("sign 0112 find it"))
            var updates = [query("update 'scan' set value = '51' where key = 'rt1'"),
                           query("update 'scan' set value = '62' where key = 'rt2'")]
            compare($app.params(), updates)
            verify(timer.running)
            tryCompare($app, "publishedCount", 4, 2000)
            compare(timer.running, false)
            compare($app.params(), updates.concat([query("select * from $table$"),
                {"cmd": "refreshRealTimeSetup", "isLaserScan": false, "target": "VoraLaserRebuildProcessController"}]))
            var message = $app.published()[3]
            compare([message.topic, message.type, message.cmd, message.bSync], ["", "", "", false])
            verify($app.logged("应用实时设置 this"))
        }
    }
}
