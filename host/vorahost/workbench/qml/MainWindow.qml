import QtQuick 2.12
import QtQuick.Controls 2.12
import QtQuick.Layouts 1.12

// The host's main window: the developer mode's state and commands, the config
// editor's, and three tabs: the bus log, the settings inspector and the write
// journal.
Rectangle {
    id: root

    readonly property var inspector: $host.inspector
    readonly property bool hasPlugin: $host.pluginFile.length > 0
    readonly property string mode: root.inspector.mode
    readonly property string noPlugin: root.hasPlugin ? "" : "no plug-in is loaded (--no-plugin)"

    function modeText() {
        if (root.mode === root.inspector.modeOn)
            return "Developer mode: on"
        if (root.mode === root.inspector.modeLoading)
            return "Developer mode: loading…"
        return "Developer mode: off"
    }

    function firstOf(reasons) {
        for (var i = 0; i < reasons.length; ++i) {
            if (reasons[i] !== "")
                return reasons[i]
        }
        return ""
    }

    implicitWidth: 1000
    implicitHeight: 740
    color: "#f4f4f4"

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 12
        spacing: 8

        RowLayout {
            Layout.fillWidth: true
            spacing: 12

            Label {
                text: "vorahost — libApplicationTools"
                font.pixelSize: 20
                font.bold: true
            }
            Item { Layout.fillWidth: true }
            Rectangle {
                objectName: "modeState"
                radius: 4
                implicitWidth: modeLabel.implicitWidth + 16
                implicitHeight: modeLabel.implicitHeight + 8
                color: root.mode === root.inspector.modeOn ? "#2e7d32" : root.mode === root.inspector.modeLoading ? "#ef8f00" : "#9e9e9e"

                Label {
                    id: modeLabel

                    anchors.centerIn: parent
                    color: "white"
                    font.bold: true
                    text: root.modeText()
                }
            }
        }

        RowLayout {
            Layout.fillWidth: true
            spacing: 16

            Repeater {
                id: paths

                model: [
                    { "label": "plug-in: ", "shown": root.hasPlugin ? $host.pluginFileShort : "(none)",
                      "full": $host.pluginFile },
                    { "label": "database: ", "shown": $host.databaseFileShort, "full": $host.databaseFile }
                ]
                delegate: Label {
                    color: "#555555"
                    textFormat: Text.PlainText
                    text: modelData.label + modelData.shown

                    MouseArea {
                        id: pathHover

                        anchors.fill: parent
                        hoverEnabled: true
                        acceptedButtons: Qt.NoButton
                    }
                    ToolTip {
                        visible: pathHover.containsMouse && modelData.full.length > 0
                        text: modelData.full
                    }
                }
            }
            Item { Layout.fillWidth: true }
        }

        RowLayout {
            Layout.fillWidth: true
            spacing: 8

            GroupBox {
                title: "Developer mode"

                RowLayout {
                    spacing: 8

                    HostButton {
                        id: developerModeOnButton

                        objectName: "developerModeOn"
                        text: "On"
                        blocker: root.firstOf([root.noPlugin,
                                               root.mode !== root.inspector.modeOff ? "the developer mode is already on" : ""])
                        onClicked: $host.send({ "cmd": "enableDeveloperMode", "enabled": true })
                    }
                    HostButton {
                        id: developerModeOffButton

                        objectName: "developerModeOff"
                        text: "Off"
                        blocker: root.firstOf([root.noPlugin,
                                               root.mode === root.inspector.modeOff ? "the developer mode is already off" : ""])
                        onClicked: $host.send({ "cmd": "enableDeveloperMode", "enabled": false })
                    }
                    HostButton {
                        id: showDeveloperModeViewButton

                        objectName: "showDeveloperModeView"
                        text: "Show window"
                        blocker: root.firstOf([root.noPlugin,
                                               root.mode === root.inspector.modeOff ? "switch the developer mode on first" : "",
                                               root.inspector.windowOpen ? "the window is already open" : ""])
                        onClicked: $host.send({ "module": "DeveloperMode", "cmd": "showDeveloperModeView" })
                    }
                    HostButton {
                        id: queryDeveloperModeSettingButton

                        objectName: "queryDeveloperModeSetting"
                        text: "Query settings"
                        blocker: root.firstOf([root.noPlugin,
                                               root.mode === root.inspector.modeOff ? "switch the developer mode on first" : ""])
                        onClicked: $host.send({ "module": "DeveloperMode", "cmd": "queryDeveloperModeSetting" })
                    }
                }
            }

            GroupBox {
                title: "Config editor"

                RowLayout {
                    spacing: 8

                    HostButton {
                        id: openConfigEditorButton

                        objectName: "openConfigEditor"
                        text: "Open"
                        blocker: root.firstOf([root.noPlugin,
                                               $host.configEditorOpen ? "the config editor is already open" : ""])
                        onClicked: $host.send({ "cmd": "showConfigEditor", "visible": true })
                    }
                    HostButton {
                        id: closeConfigEditorButton

                        objectName: "closeConfigEditor"
                        text: "Close"
                        blocker: root.firstOf([root.noPlugin,
                                               $host.configEditorOpen ? "" : "the config editor is not open"])
                        onClicked: $host.send({ "cmd": "showConfigEditor", "visible": false })
                    }
                }
            }
            Item { Layout.fillWidth: true }
        }

        TabBar {
            id: tabs

            objectName: "tabs"
            Layout.fillWidth: true

            TabButton {
                text: "Bus log"
            }
            TabButton {
                objectName: "inspectorTab"
                text: root.mode === root.inspector.modeOff ? "Settings inspector"
                                          : "Settings inspector (" + root.inspector.changedCount + " changed, "
                                            + root.inspector.mismatchCount + " differ)"
            }
            TabButton {
                text: "Write journal (" + $host.journal.count + ")"
            }
        }

        StackLayout {
            Layout.fillWidth: true
            Layout.fillHeight: true
            currentIndex: tabs.currentIndex

            BusLogPane {
                id: busLogPane
            }
            InspectorPane {
                id: inspectorPane
            }
            JournalPane {
                id: journalPane
            }
        }
    }
}
