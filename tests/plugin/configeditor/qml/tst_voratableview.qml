import QtQuick 2.9
import QtTest 1.2

// The config editor page as a user drives it: its layout read from the
// loaded page, real clicks and keys on its controls, the messages it
// publishes through "$app", and the rows it shows from the answers.
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

    Timer { id: pause; interval: 200 }
    SignalSpy { id: pauseSpy; target: pause; signalName: "triggered" }

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

        // Types into the search field; with focusElsewhere, moves the focus
        // on to the button row. Clears what was published and logged.
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

        function realTimeTimer() {
            return Array.prototype.filter.call(page.resources, function(r) { return r.objectName === "realTimeTimer" })[0]
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
        }

        function test_layout_data() {
            var c = child
            var choices = [["all", "all"], ["project", "project"], ["scan", "scan"], ["alg", "alg"],
                           ["postprocess", "postprocess"], ["navigation", "navigation"],
                           ["deviceadjust", "deviceadjust"], ["clouddisk", "VoraCloudDisk"]]
            var controls = function() { return c("findText").parent.parent }
            var rows = [
                ["page", function() { return [page.objectName, page.implicitWidth, page.implicitHeight, String(page.color)] },
                 ["realTimeSetUp", 800, 516, "#999999"]],
                ["table above the controls", function() { return [c("tableView").anchors.bottomMargin, c("tableView").currentRow] },
                 [133, -2]],
                ["controls", function() { var col = controls(); return [col.parent.height, col.anchors.leftMargin,
                    col.anchors.topMargin, col.spacing, col.children[0].height, col.children[1].height, col.children[2].height] },
                 [133, 18, 9, 12, 28, 28, 28]],
                ["table label", function() { var l = controls().children[0].children[0]; return [l.text, l.height] }, ["table: ", 28]],
                ["table choice", function() { var b = c("tableChoice"); return [b.width, b.height, b.textRole, b.currentIndex, b.model.count] },
                 [390, 28, "name", 0, choices.length]],
                ["search field", function() { var f = c("findText"); return [f.width, f.height, f.placeholderText] }, [509, 28, "Text Field"]],
                ["find button", function() { var b = c("findButton"); return [b.width, b.height, b.text] }, [100, 28, "find"]],
                ["button row", function() { return Array.prototype.map.call(c("buttonRow").children, function(b) {
                    return b.text + (b.visible ? "" : " (hidden)") }) }, ["show all", "refresh", "hide", "exec (hidden)", "null (hidden)"]],
                ["value cell", function() { var e = valueCell("1"); var b = find(e.parent, "commitButton", false)[0];
                    return [String(e.color), e.clip, e.selectByMouse, e.selectByKeyboard, e.anchors.rightMargin,
                            e.verticalAlignment, b.width, b.height] },
                 ["#000000", true, true, false, 20, TextEdit.AlignVCenter, 20, 14]],
                ["real-time timer", function() { return [realTimeTimer().interval, realTimeTimer().repeat] }, [500, false]]
            ]
            var titles = [["table", 100], ["key", 350], ["value", 176], ["comment", 200]]
            titles.forEach(function(t, i) {
                rows.push(["column " + i, function() { var col = c("tableView").getColumn(i); return [col.title, col.role, col.width] },
                           [t[0], t[0], t[1]]])
            })
            choices.forEach(function(choice, i) {
                rows.push(["choice " + i, function() { var e = c("tableChoice").model.get(i); return [e.name, e.value] }, choice])
            })
            return rows.map(function(r) { return { tag: r[0], get: r[1], expected: r[2] } })
        }

        function test_layout(data) {
            if (data.tag === "value cell")
                showRows("scan#a#1#x")
            compare(data.get(), data.expected)
        }

        // The controls below the table, one row each: with a table chosen and
        // a word typed (focus left in the field, or moved on to the button
        // row), what the user does, the queries that go out, the lines logged.
        function test_controls_data() {
            var all = query("select * from $table$")
            var click = function(name) { return function() { clickItem(child(name)) } }
            var key = function(k) { return function() { keyClick(k) } }
            var choose = function(i) { return function() { chooseTable(i) } }
            return [
                { tag: "table scan", table: 3, act: choose(2), last: true, sent: [query(all.param, "scan")], logged: ["radioButtonChecked: scan"] },
                { tag: "table clouddisk, by its name", act: choose(7), last: true, sent: [query(all.param, "clouddisk")],
                  logged: ["radioButtonChecked: clouddisk"] },
                { tag: "table all", table: 3, act: choose(0), last: true, sent: [all], logged: ["radioButtonChecked: all"] },
                { tag: "find", table: 3, typed: "  Gain ", act: click("findButton"), sent: [query(searchSql.arg("Gain"), "alg")],
                  logged: ["sign 0112 find", "sign 0106 find"] },
                { tag: "find in every table", typed: "gain", act: click("findButton"), sent: [query(searchSql.arg("gain"))],
                  logged: ["sign 0106 find"] },
                { tag: "find without a word", table: 2, typed: "   ", act: click("findButton"), sent: [],
                  logged: ["sign 0112 find"], notLogged: ["sign 0106 find"] },
                // The shortcut passes the typed text as the table and leaves the
                // keyword undefined: a search for "undefined" in that table.
                { tag: "Enter in the search field", table: 2, typed: "alg", act: key(Qt.Key_Enter),
                  sent: [query(searchSql.arg("undefined"), "alg")], logged: ["sign 0112 findcmd.focus= true", "sign 0112 onEnterOkPressed"] },
                { tag: "Enter elsewhere", table: 2, typed: "alg", away: true, act: key(Qt.Key_Enter), sent: [],
                  logged: ["sign 0112 findcmd.focus= false"], notLogged: ["sign 0112 onEnterOkPressed"] },
                { tag: "Return in the button row", table: 2, typed: " IR ", away: true, act: key(Qt.Key_Return),
                  sent: [query(searchSql.arg("IR"), "scan")], logged: ["sign 1 12 ==========", "this is why luan le"] },
                { tag: "another key in the button row", table: 2, typed: "x", away: true, act: key(Qt.Key_A), sent: [],
                  logged: ["sign 1 12 =========="], notLogged: ["this is why luan le"] },
                // Every table, whatever the combo box shows; refresh goes back to it.
                { tag: "show all", table: 2, typed: "gain", act: click("showAllButton"), sent: [all], text: "", shows: "scan",
                  logged: ["sign 0112 show all"] },
                { tag: "refresh", table: 2, typed: "gain", act: click("refreshButton"), sent: [query(searchSql.arg("gain"), "scan")],
                  logged: ["sign 0112 refresh"] },
                { tag: "space", typed: "ab", away: true, act: key(Qt.Key_Space), sent: [], text: "ab ", logged: ["captureKeySpace"] },
                { tag: "hide", table: 4, typed: "ab", away: true, act: click("hideButton"), sent: [], hidden: true, logged: ["hide"] },
                { tag: "Esc", table: 4, typed: "ab", away: true, act: key(Qt.Key_Escape), sent: [], hidden: true,
                  logged: ["captureKeyEsc"] }
            ]
        }

        function test_controls(data) {
            chooseTable(data.table || 0)
            search(data.typed || "", data.away)
            data.act()
            // Choosing by keys passes the entries between: the last query counts.
            compare(data.last ? $app.params().slice(-1) : $app.params(), data.sent)
            for (var i = 0; i < data.logged.length; ++i)
                verify($app.logged(data.logged[i]), data.logged[i] + " in " + $app.logs().join("|"))
            for (i = 0; data.notLogged && i < data.notLogged.length; ++i)
                verify(!$app.logged(data.notLogged[i]), data.notLogged[i])
            compare(child("findText").text, data.text !== undefined ? data.text : data.typed || "")
            if (data.shows)
                compare(child("tableChoice").currentText, data.shows)
            compare(page.visible, !data.hidden)
            if (data.hidden) {
                // Hidden, the page takes no blank; shown again, it lists its table.
                keyClick(Qt.Key_Space)
                compare(child("findText").text, data.typed)
                $app.clear()
                page.visible = true
                compare($app.params(), [query("select * from $table$", "postprocess")])
            }
        }

        // Only a "dataBaseResponseCmd" answer fills the table.
        function test_onlyResponsesFillTheTable() {
            var other = {"cmd": "somethingElse", "dataBaseResponse": "scan#q#9#"}
            $app.deliver(other)
            verify($app.logged("sss: param " + JSON.stringify(other)))
            compare(page.sqlModelCore.sqlData.count, 0)
            showRows("scan#a#1#first\nalg#c#3#third")
            verify($app.logged("dataBaseResponse"))
            verify(valueCell("1") && valueCell("3"))
        }

        function test_commit_data() {
            var update = "update 'scan' set value = '17' where key = 'a'"
            return [
                { tag: "Return", how: "return", typed: "7", red: true, sql: update },
                { tag: "Enter", how: "enter", typed: "7", red: true, sql: update },
                { tag: "button", how: "button", typed: "7", red: true, sql: update },
                { tag: "blanks trimmed", how: "return", typed: "7  ", red: true, sql: update },
                { tag: "a blank is no change", how: "return", typed: " ", red: false,
                  sql: "update 'scan' set value = '1' where key = 'a'" },
                { tag: "empty sends no update", how: "return", typed: "", clear: true, red: false, sql: undefined }
            ]
        }

        function test_commit(data) {
            chooseTable(2)
            showRows("scan#a#1#plain\nscan#b#2#other")
            var cell = valueCell("1")
            typeInto(cell, data.typed)
            if (data.clear)
                keyClick(Qt.Key_Backspace)
            // Red: changed and not yet saved.
            verify(Qt.colorEqual(cell.color, data.red ? "#ff0000" : "#000000"), String(cell.color))
            $app.clear()
            $app.clearLogs()
            if (data.how === "return")
                keyClick(Qt.Key_Return)
            else if (data.how === "enter")
                keyClick(Qt.Key_Enter)
            else
                clickItem(find(cell.parent, "commitButton", false)[0])
            verify($app.logged("move enter"))
            verify(Qt.colorEqual(cell.color, "#000000"), String(cell.color))
            compare(cell.activeFocus, false)
            // A plain row is listed again at once.
            var expected = data.sql === undefined ? [] : [query(data.sql, "scan")]
            compare($app.params(), expected.concat([query("select * from $table$", "scan")]))
        }

        // Two real-time rows committed in a burst: each update goes out at
        // once, the refresh (after its listing) half a second after the
        // latest commit, so once. At any pace, each refresh comes that long
        // after the update before it (less up to 50 ms and rounding: a QML
        // Timer may count from the animation clock's last tick before it).
        function test_realTimeRefreshRestartsOnEachCommit() {
            showRows("scan#rt1#5#实时设置 gain\nscan#rt2#6#实时设置 exposure\nscan#plain#7#x")
            $app.clear()
            typeInto(valueCell("5"), "1")
            keyClick(Qt.Key_Return)
            pauseSpy.clear()
            pause.start()
            pauseSpy.wait()
            typeInto(valueCell("6"), "2")
            keyClick(Qt.Key_Return)
            verify($app.logged("sign 0112 find it"))
            tryVerify(function() { return $app.params().slice(-1)[0].cmd === "refreshRealTimeSetup" }, 60000)
            var since = 0, kinds = $app.published().map(function(m) {
                var update = String(m.param.param).indexOf("update") === 0
                verify(m.param.cmd === "query" || m.ms - since >= 440, (m.ms - since) + " ms after the latest commit")
                since = update ? m.ms : since
                return update ? "update" : m.param.cmd === "query" ? "listing" : "refresh"
            }).join(" ")
            // The second commit inside the first wait, or (on a slow machine) after it.
            verify(/^update (listing refresh )?update listing refresh$/.test(kinds), kinds)
            compare(realTimeTimer().running, false)
            compare([$app.params()[0]].concat($app.params().slice(-3)), [query("update 'scan' set value = '51' where key = 'rt1'"),
                query("update 'scan' set value = '62' where key = 'rt2'"), query("select * from $table$"),
                {"cmd": "refreshRealTimeSetup", "isLaserScan": false, "target": "VoraLaserRebuildProcessController"}])
            var refresh = $app.published().slice(-1)[0]
            compare([refresh.topic, refresh.type, refresh.cmd, refresh.bSync], ["", "", "", false])
            verify($app.logged("应用实时设置 this"))
        }
    }
}
