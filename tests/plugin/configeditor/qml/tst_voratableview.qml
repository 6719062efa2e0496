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
            if (dbName)
                q.dbName = dbName
            return q
        }

        // An item by a path from the page: object names, "parent", "#n" for
        // the n-th child, "column:n", "entry:n" of a model, "cell:text" for
        // the visible value cell that shows it, "resource:name" of the page
        function at(path) {
            var item = page
            path.split("/").filter(function(s) { return s }).forEach(function(step) {
                var arg = step.split(":")
                item = step === "parent" ? item.parent : step[0] === "#" ? item.children[Number(step.slice(1))]
                     : arg[0] === "column" ? item.getColumn(Number(arg[1])) : arg[0] === "entry" ? item.model.get(Number(arg[1]))
                     : arg[0] === "cell" ? valueCell(arg[1]) : arg[0] === "resource" ? resource(arg[1]) : find(item, step, false)[0]
                verify(item, path + ": no " + step)
            })
            return item
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

        // The page's resource with that object name, or that shortcut sequence.
        function resource(name) {
            return Array.prototype.filter.call(page.resources, function(r) { return r.objectName === name || r.sequence === name })[0]
        }

        function realTimeTimer() {
            return resource("realTimeTimer")
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

        // One row per property: tables.json's "layout", [path, property, value].
        function test_layout_data() {
            return $tables.layout.map(function(r) { return { tag: r[0] + " " + r[1], path: r[0], property: r[1], value: r[2] } })
        }

        function test_layout(data) {
            if (data.path.indexOf("cell:") === 0)
                showRows("scan#a#1#x")
            var value = at(data.path)
            data.property.split(".").forEach(function(name) { value = value[name] })
            compare(String(value), String(data.value))
        }

        // The controls below the table, one row each: with a table chosen and
        // a word typed (focus left in the field, or moved on to the button
        // row), what the user does, the queries that go out, the lines logged.
        // tables.json's "controls"; act: ["choose", index], ["click", name] or
        // ["key", name]; sent: ["all" or "find", word, table].
        function test_controls_data() {
            return $tables.controls
        }

        function test_controls(data) {
            chooseTable(data.table || 0)
            search(data.typed || "", data.away)
            if (data.act[0] === "choose")
                chooseTable(data.act[1])
            else if (data.act[0] === "click")
                clickItem(child(data.act[1]))
            else
                keyClick(Qt["Key_" + data.act[1]])
            var sent = data.sent.map(function(s) { return query(s[0] === "all" ? "select * from $table$" : searchSql.arg(s[1]), s[2]) })
            // Choosing by keys passes the entries between: the last query counts.
            compare(data.last ? $app.params().slice(-1) : $app.params(), sent)
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

        // tables.json's "commit": how, what is typed after "1", the value sent.
        function test_commit_data() {
            return $tables.commit
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
            if (data.how === "button")
                clickItem(find(cell.parent, "commitButton", false)[0])
            else
                keyClick(Qt["Key_" + data.how])
            verify($app.logged("move enter"))
            verify(Qt.colorEqual(cell.color, "#000000"), String(cell.color))
            compare(cell.activeFocus, false)
            // A plain row is listed again at once.
            var expected = data.value === undefined ? [] : [query("update 'scan' set value = '" + data.value + "' where key = 'a'", "scan")]
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
