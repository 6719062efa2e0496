import QtQuick 2.12
import QtQuick.Controls 2.12
import QtQuick.Layouts 1.12

// The host's main window: buttons for the plug-in's commands and a live log
// of the bus in both directions.
Rectangle {
    id: root

    property int maxLines: 400

    function logMessage(from, text) {
        logModel.append({ "from": from, "text": text })
        if (logModel.count > root.maxLines)
            logModel.remove(0, logModel.count - root.maxLines)
        logView.positionViewAtEnd()
    }

    function colourOf(from) {
        if (from === "host")
            return "#1565c0"
        if (from === "page")
            return "#6a1b9a"
        return "#2e7d32"
    }

    implicitWidth: 900
    implicitHeight: 600
    color: "#f4f4f4"

    Connections {
        target: $host
        function onMessageLogged(from, text) { root.logMessage(from, text) }
    }

    ListModel { id: logModel }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 12
        spacing: 8

        Label {
            text: "vorahost — libApplicationTools"
            font.pixelSize: 20
            font.bold: true
        }
        Label {
            Layout.fillWidth: true
            elide: Text.ElideMiddle
            color: "#555555"
            text: "plug-in: " + ($host.pluginFile.length > 0 ? $host.pluginFile : "(none)")
                  + "\ndatabase: " + $host.databaseFile
        }

        GroupBox {
            title: "Developer mode"
            Layout.fillWidth: true
            RowLayout {
                spacing: 8
                Button {
                    id: developerModeOnButton
                    objectName: "developerModeOn"
                    text: "On"
                    onClicked: $host.send({ "cmd": "enableDeveloperMode", "enabled": true })
                }
                Button {
                    id: developerModeOffButton
                    objectName: "developerModeOff"
                    text: "Off"
                    onClicked: $host.send({ "cmd": "enableDeveloperMode", "enabled": false })
                }
                Button {
                    id: showDeveloperModeViewButton
                    objectName: "showDeveloperModeView"
                    text: "Show window"
                    onClicked: $host.send({ "module": "DeveloperMode", "cmd": "showDeveloperModeView" })
                }
                Button {
                    id: queryDeveloperModeSettingButton
                    objectName: "queryDeveloperModeSetting"
                    text: "Query settings"
                    onClicked: $host.send({ "module": "DeveloperMode", "cmd": "queryDeveloperModeSetting" })
                }
            }
        }

        GroupBox {
            title: "Config editor"
            Layout.fillWidth: true
            RowLayout {
                spacing: 8
                Button {
                    id: openConfigEditorButton
                    objectName: "openConfigEditor"
                    text: "Open"
                    onClicked: $host.send({ "cmd": "showConfigEditor", "visible": true })
                }
                Button {
                    id: closeConfigEditorButton
                    objectName: "closeConfigEditor"
                    text: "Close"
                    onClicked: $host.send({ "cmd": "showConfigEditor", "visible": false })
                }
                Item { Layout.fillWidth: true }
                Button {
                    text: "Clear log"
                    onClicked: logModel.clear()
                }
            }
        }

        Label { text: "Bus (host → plug-in in blue, plug-in → host in green, page → host in purple)" }

        Rectangle {
            Layout.fillWidth: true
            Layout.fillHeight: true
            color: "white"
            border.color: "#cccccc"

            ListView {
                id: logView
                objectName: "busLog"
                anchors.fill: parent
                anchors.margins: 4
                clip: true
                model: logModel
                ScrollBar.vertical: ScrollBar {}
                delegate: Text {
                    width: logView.width
                    wrapMode: Text.WrapAnywhere
                    maximumLineCount: 2
                    elide: Text.ElideRight
                    font.family: "monospace"
                    font.pixelSize: 12
                    color: root.colourOf(model.from)
                    text: model.from + "  " + model.text
                }
            }
        }
    }
}
