import QtQuick 2.9
import QtQuick.Controls 1.4
import QtQuick.Layouts 1.0
import VoraDesign 1.0

// The configuration editor page: lists the rows of the host's configuration
// database, filters them by table and search word and writes an edited value
// back, all as SQL text sent to the host's database service over the bus.
Rectangle {
    id: root

    // The empty name means every table (no "dbName" in the query).
    property string curDataBaseName: ""
    property var allTable: {"text": "all", "table": "all"}
    property alias sqlModelCore: sqlModelCore

    // Carried onto the bus by the host's "$app".
    signal publish(string topic, string type, string cmd, var param, bool bSync)

    // Called by the host's "$app" for every bus message.
    function onSubscribeData(topic, type, cmd, param) {
        console.log("sss: param", JSON.stringify(param))
        if (param && param.cmd === "dataBaseResponseCmd") {
            console.log("dataBaseResponse")
            sqlModelCore.dbResponse(param)
        }
    }

    function searchText() {
        return findText.text.trim()
    }

    objectName: "realTimeSetUp"
    implicitWidth: 800
    implicitHeight: 516
    color: "#999999"

    Component.onCompleted: {
        $app.init(root)
        // The host routes messages only once init() has returned.
        Qt.callLater(function() { sqlModelCore.selectAll(root.curDataBaseName) })
    }
    onVisibleChanged: {
        if (visible)
            sqlModelCore.selectAll(root.curDataBaseName)
    }

    SqlModel {
        id: sqlModelCore
        ui: root
    }

    // Real-time settings are applied by the scanning module; a burst of edits
    // asks it once, half a second after the last one.
    Timer {
        id: realTimeTimer
        objectName: "realTimeTimer"
        interval: 500
        repeat: false
        onTriggered: {
            console.log("应用实时设置 this")
            sqlModelCore.applyRealTimeSetUp(root.curDataBaseName, root.searchText())
            root.publish('', '', '', {
                "cmd": "refreshRealTimeSetup",
                "isLaserScan": false,
                "target": "VoraLaserRebuildProcessController"
            }, false, 0)
        }
    }

    // Deliberately passes the search text as the only argument: it lands in
    // the table slot and the keyword stays undefined. Users rely on this.
    Shortcut {
        sequence: "Enter"
        autoRepeat: true
        onActivated: enterAction()
        onActivatedAmbiguously: enterAction()
        function enterAction() {
            console.log("sign 0112 findcmd.focus=", findText.focus)
            if (findText.focus) {
                console.log("sign 0112 onEnterOkPressed")
                sqlModelCore.findVague(findText.text.trim())
            }
        }
    }
    Shortcut {
        sequence: "Esc"
        autoRepeat: true
        onActivated: escAction()
        onActivatedAmbiguously: escAction()
        function escAction() {
            console.log("captureKeyEsc")
            root.visible = false
        }
    }
    Shortcut {
        sequence: "Space"
        autoRepeat: true
        enabled: root.visible
        onActivated: spaceAction()
        onActivatedAmbiguously: spaceAction()
        function spaceAction() {
            console.log("captureKeySpace")
            findText.text = findText.text + " "
        }
    }

    TableView {
        id: tableView
        objectName: "tableView"
        anchors.fill: parent
        anchors.bottomMargin: 133
        model: sqlModelCore.sqlData
        currentRow: -2

        TableViewColumn {
            role: "table"
            title: "table"
            width: 100
        }
        TableViewColumn {
            role: "key"
            title: "key"
            width: 350
        }
        TableViewColumn {
            role: "value"
            title: "value"
            width: 176
            delegate: Item {
                id: valueCell

                // Fills in for the row while it is committed: a commit's own
                // refresh may replace the model under the cell.
                function commit() {
                    console.log("move enter")
                    valueEdit.duibiname = valueEdit.text
                    valueEdit.focus = false
                    valueEdit.color = "#000000"
                    var trimmed = valueEdit.text.trim()
                    console.log("textValue value", trimmed)
                    var row = sqlModelCore.sqlData.get(styleData.row)
                    var table = row ? row.table : ""
                    var key = row ? row.key : ""
                    var comment = row ? row.comment : ""
                    if (trimmed !== "")
                        sqlModelCore.updateValue(root.curDataBaseName, table, key, trimmed)
                    if (comment.indexOf("实时设置") !== -1) {
                        console.log("sign 0112 find it")
                        realTimeTimer.restart()
                    } else {
                        sqlModelCore.findVague(root.curDataBaseName, root.searchText())
                    }
                }

                TextEdit {
                    id: valueEdit

                    // The text last committed (or first shown).
                    property string duibiname: styleData.value === undefined ? "" : String(styleData.value)

                    objectName: "valueEdit"
                    anchors.fill: parent
                    anchors.rightMargin: 20
                    text: styleData.value === undefined ? "" : String(styleData.value)
                    color: "#000000"
                    selectByMouse: true
                    selectByKeyboard: false
                    verticalAlignment: TextEdit.AlignVCenter
                    clip: true

                    // Red: edited but not yet saved.
                    onTextChanged: {
                        if (!cursorVisible)
                            return
                        var now = text.trim()
                        var committed = duibiname.trim()
                        if (now !== committed && now !== "" && committed !== "")
                            color = "#ff0000"
                    }
                    Keys.onReturnPressed: valueCell.commit()
                    Keys.onEnterPressed: valueCell.commit()
                }
                Button {
                    id: commitButton
                    objectName: "commitButton"
                    width: 20
                    height: 14
                    anchors.right: parent.right
                    anchors.verticalCenter: parent.verticalCenter
                    onClicked: valueCell.commit()
                }
            }
        }
        TableViewColumn {
            role: "comment"
            title: "comment"
            width: 200
        }
    }

    Item {
        id: controlArea
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        height: 133

        Column {
            anchors.fill: parent
            anchors.leftMargin: 18
            anchors.topMargin: 9
            spacing: 12

            RowLayout {
                height: 28
                Label {
                    Layout.preferredHeight: 28
                    text: "table: "
                    verticalAlignment: Text.AlignVCenter
                }
                ComboBox {
                    id: tableChoice
                    objectName: "tableChoice"
                    Layout.preferredWidth: 390
                    Layout.preferredHeight: 28
                    textRole: "name"
                    currentIndex: 0
                    // "value" is never read: the display name is what is sent,
                    // so "clouddisk" goes out, never "VoraCloudDisk".
                    model: ListModel {
                        ListElement { name: "all"; value: "all" }
                        ListElement { name: "project"; value: "project" }
                        ListElement { name: "scan"; value: "scan" }
                        ListElement { name: "alg"; value: "alg" }
                        ListElement { name: "postprocess"; value: "postprocess" }
                        ListElement { name: "navigation"; value: "navigation" }
                        ListElement { name: "deviceadjust"; value: "deviceadjust" }
                        ListElement { name: "clouddisk"; value: "VoraCloudDisk" }
                    }
                    onCurrentIndexChanged: {
                        if (currentIndex < 0)
                            return
                        var name = model.get(currentIndex).name
                        console.log("radioButtonChecked:", name)
                        root.curDataBaseName = name === root.allTable.text ? "" : name
                        sqlModelCore.selectAll(root.curDataBaseName)
                    }
                }
            }

            RowLayout {
                height: 28
                TextField {
                    id: findText
                    objectName: "findText"
                    Layout.preferredWidth: 509
                    Layout.preferredHeight: 28
                    placeholderText: "Text Field"
                }
                Button {
                    id: findButton
                    objectName: "findButton"
                    Layout.preferredWidth: 100
                    Layout.preferredHeight: 28
                    text: "find"
                    onClicked: {
                        console.log("sign 0112 find")
                        var keyword = findText.text.trim()
                        if (keyword !== "") {
                            console.log("sign 0106 find")
                            sqlModelCore.findVague(root.curDataBaseName, keyword)
                        }
                    }
                }
            }

            RowLayout {
                id: buttonRow
                objectName: "buttonRow"
                height: 28

                Keys.onPressed: {
                    console.log("sign 1 12 ==========")
                    if (event.key === Qt.Key_Return || event.key === Qt.Key_Enter) {
                        console.log("this is why luan le")
                        event.accepted = true
                        sqlModelCore.findVague(root.curDataBaseName, root.searchText())
                    }
                }

                // Lists every table whatever the combo box shows: selectAll()
                // without a table. A later "refresh" goes back to the choice.
                Button {
                    id: showAllButton
                    objectName: "showAllButton"
                    text: "show all"
                    onClicked: {
                        console.log("sign 0112 show all")
                        findText.text = ""
                        sqlModelCore.selectAll()
                    }
                }
                Button {
                    id: refreshButton
                    objectName: "refreshButton"
                    text: "refresh"
                    onClicked: {
                        console.log("sign 0112 refresh")
                        sqlModelCore.findVague(root.curDataBaseName, root.searchText())
                    }
                }
                Button {
                    id: hideButton
                    objectName: "hideButton"
                    text: "hide"
                    onClicked: {
                        console.log("hide")
                        root.visible = false
                    }
                }
                Button {
                    text: "exec"
                    visible: false
                }
                Button {
                    text: "null"
                    visible: false
                }
            }
        }
    }
}
