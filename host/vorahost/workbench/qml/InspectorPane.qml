import QtQuick 2.12
import QtQuick.Controls 2.12
import QtQuick.Layouts 1.12

// The settings inspector: each setting of the developer mode with its entry
// value, its current value and the database's, what differs, and a revert.
ColumnLayout {
    id: root

    readonly property var inspector: $host.inspector
    readonly property var widths: [220, 95, 120, 240, 170]

    spacing: 6

    RowLayout {
        Layout.fillWidth: true
        spacing: 8

        Label {
            Layout.fillWidth: true
            wrapMode: Text.WordWrap
            color: "#555555"
            text: root.inspector.mode === root.inspector.modeOff
                  ? "The developer mode is off: switch it on to see its settings."
                  : "Entry: the value when the developer mode was entered (written back on leaving). "
                    + "Current: the developer mode's value now. Database: what the row holds, in its stored type."
        }
        HostButton {
            objectName: "revertAll"
            text: "Revert all changes"
            blocker: root.inspector.revertBlocker !== "" ? root.inspector.revertBlocker
                                                         : root.inspector.changedCount === 0 ? "nothing is changed" : ""
            onClicked: root.inspector.revertAll()
        }
    }

    Label {
        visible: root.inspector.mode !== root.inspector.modeOff && root.inspector.revertBlocker !== ""
        color: "#8a6d00"
        text: "Revert is unavailable: " + root.inspector.revertBlocker
    }

    Row {
        Layout.topMargin: 4
        spacing: 8

        Repeater {
            model: ["Setting", "Entry", "Current", "Database (table · key)", "State"]
            delegate: Label {
                width: root.widths[index]
                font.bold: true
                text: modelData
            }
        }
    }

    Rectangle {
        Layout.fillWidth: true
        Layout.fillHeight: true
        color: "white"
        border.color: "#cccccc"

        ListView {
            id: rows

            objectName: "inspectorRows"
            anchors.fill: parent
            anchors.margins: 4
            clip: true
            model: root.inspector
            ScrollBar.vertical: ScrollBar {}
            delegate: Rectangle {
                width: rows.width
                height: 34
                color: model.mismatch ? "#fdecea" : model.changed ? "#fff4e0" : (index % 2 ? "#fafafa" : "white")

                Row {
                    anchors.verticalCenter: parent.verticalCenter
                    spacing: 8

                    Text {
                        width: root.widths[0]
                        elide: Text.ElideRight
                        font.family: "monospace"
                        font.pixelSize: 12
                        text: model.key
                    }
                    Text {
                        width: root.widths[1]
                        elide: Text.ElideRight
                        font.family: "monospace"
                        font.pixelSize: 12
                        text: model.entry
                    }
                    Row {
                        width: root.widths[2]
                        spacing: 4

                        Rectangle {
                            visible: model.currentColour !== ""
                            width: 12
                            height: 12
                            anchors.verticalCenter: parent.verticalCenter
                            color: model.currentColour !== "" ? model.currentColour : "transparent"
                            border.color: "#888888"
                        }
                        Text {
                            elide: Text.ElideRight
                            font.family: "monospace"
                            font.pixelSize: 12
                            font.bold: model.changed
                            text: model.current
                        }
                    }
                    Column {
                        width: root.widths[3]

                        Text {
                            width: parent.width
                            elide: Text.ElideRight
                            font.family: "monospace"
                            font.pixelSize: 12
                            text: model.table === "" ? "(not in the database)" : model.database
                            color: model.table === "" ? "#999999" : "black"
                        }
                        Text {
                            width: parent.width
                            visible: model.table !== ""
                            elide: Text.ElideMiddle
                            font.pixelSize: 10
                            color: "#777777"
                            text: model.table + " · " + model.dbKey
                        }
                    }
                    Text {
                        width: root.widths[4]
                        font.pixelSize: 12
                        color: model.mismatch ? "#c62828" : "#b26a00"
                        text: (model.changed ? "changed" : "") + (model.changed && model.mismatch ? ", " : "")
                              + (model.mismatch ? "database differs" : "")
                    }
                    HostButton {
                        text: "Revert"
                        height: 26
                        blocker: root.inspector.revertBlocker !== "" ? root.inspector.revertBlocker
                                                                     : !model.changed && !model.mismatch
                                                                       ? "already at its entry value" : ""
                        onClicked: root.inspector.revertSetting(model.key)
                    }
                }
            }
        }
    }
}
