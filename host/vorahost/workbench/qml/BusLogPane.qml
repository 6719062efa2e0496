import QtQuick 2.12
import QtQuick.Controls 2.12
import QtQuick.Layouts 1.12

// The bus log: one line per message (time, direction, a shortened text), a
// text filter, and the selected message in full in the pane below.
ColumnLayout {
    id: root

    readonly property var log: $host.log
    property alias view: logView
    // The detail pane's height, changed by dragging the bar above it.
    property real detailHeight: 170

    function colourOf(from) {
        if (from === "host")
            return "#1565c0"
        if (from === "page")
            return "#6a1b9a"
        return "#2e7d32"
    }

    function showSelected() {
        detail.text = logView.currentIndex >= 0 ? root.log.fullText(logView.currentIndex) : ""
    }

    spacing: 6

    RowLayout {
        Layout.fillWidth: true
        spacing: 8

        TextField {
            id: filterField

            objectName: "logFilter"
            Layout.preferredWidth: 320
            selectByMouse: true
            placeholderText: "Filter: any text of a message"
            onTextChanged: root.log.filter = text
        }
        Label {
            color: "#555555"
            text: root.log.count + (filterField.text.length > 0 ? " matching" : "") + " of the last messages"
        }
        Label {
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignRight
            elide: Text.ElideRight
            color: "#555555"
            text: "host → plug-in: blue, plug-in → host: green, page → host: purple"
        }
        HostButton {
            text: "Copy"
            blocker: logView.currentIndex >= 0 ? "" : "select a line first"
            onClicked: root.log.copy(logView.currentIndex)
        }
        HostButton {
            text: "Clear"
            onClicked: root.log.clear()
        }
    }

    Rectangle {
        Layout.fillWidth: true
        Layout.fillHeight: true
        Layout.minimumHeight: 80
        color: "white"
        border.color: "#cccccc"

        ListView {
            id: logView

            // Follows new messages until the user scrolls up.
            property bool follow: true

            objectName: "busLog"
            anchors.fill: parent
            anchors.margins: 4
            clip: true
            model: root.log
            currentIndex: -1
            highlightMoveDuration: 0
            highlight: Rectangle { color: "#dde8f6" }
            ScrollBar.vertical: ScrollBar {}
            onCountChanged: {
                if (follow)
                    positionViewAtEnd()
                if (currentIndex >= count)
                    currentIndex = -1
            }
            onMovementEnded: follow = atYEnd
            onCurrentIndexChanged: root.showSelected()
            delegate: Item {
                width: logView.width
                height: 18

                Row {
                    anchors.fill: parent
                    spacing: 8

                    Text {
                        width: 90
                        font.family: "monospace"
                        font.pixelSize: 12
                        color: "#777777"
                        text: model.time
                    }
                    Text {
                        width: 48
                        font.family: "monospace"
                        font.pixelSize: 12
                        color: root.colourOf(model.from)
                        text: model.from
                    }
                    Text {
                        width: parent.width - 154
                        elide: Text.ElideRight
                        textFormat: Text.PlainText
                        font.family: "monospace"
                        font.pixelSize: 12
                        color: model.refused ? "#c62828" : root.colourOf(model.from)
                        text: (model.refused ? "REFUSED: " + model.reason + "  " : "") + model.text
                    }
                }
                MouseArea {
                    anchors.fill: parent
                    onClicked: logView.currentIndex = index
                }
            }
        }
    }

    Rectangle {
        Layout.fillWidth: true
        implicitHeight: 6
        color: handle.pressed ? "#bbbbbb" : "#dddddd"

        MouseArea {
            id: handle

            property real startY: 0
            property real startHeight: 0

            anchors.fill: parent
            cursorShape: Qt.SplitVCursor
            onPressed: {
                startY = mapToItem(root, mouse.x, mouse.y).y
                startHeight = root.detailHeight
            }
            onPositionChanged: {
                const y = mapToItem(root, mouse.x, mouse.y).y
                root.detailHeight = Math.max(40, Math.min(root.height - 160, startHeight + startY - y))
            }
        }
    }

    ScrollView {
        Layout.fillWidth: true
        Layout.preferredHeight: root.detailHeight
        clip: true

        TextArea {
            id: detail

            objectName: "logDetail"
            readOnly: true
            selectByMouse: true
            wrapMode: TextEdit.WrapAnywhere
            textFormat: TextEdit.PlainText
            font.family: "monospace"
            font.pixelSize: 12
            placeholderText: "Select a line to see its message in full; copy it with Copy, or a part with Ctrl+C."
            background: Rectangle {
                color: "white"
                border.color: "#cccccc"
            }
        }
    }
}
