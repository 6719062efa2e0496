import QtQuick 2.12
import QtQuick.Controls 2.12
import QtQuick.Layouts 1.12

// The write journal of this session: every write to the configuration
// database, who made it, the stored value before and after.
ColumnLayout {
    id: root

    readonly property var journal: $host.journal

    spacing: 6

    Label {
        Layout.fillWidth: true
        color: "#555555"
        textFormat: Text.PlainText
        text: root.journal.file.length > 0 ? "Every write of this session; also appended to " + root.journal.file
                                           : "Every write of this session (start vorahost with --journal FILE to keep them in a file)."
    }

    Rectangle {
        Layout.fillWidth: true
        Layout.fillHeight: true
        color: "white"
        border.color: "#cccccc"

        ListView {
            id: journalView

            property bool follow: true

            objectName: "journalRows"
            anchors.fill: parent
            anchors.margins: 4
            clip: true
            model: root.journal
            ScrollBar.vertical: ScrollBar {}
            onCountChanged: if (follow) positionViewAtEnd()
            onMovementEnded: follow = atYEnd
            delegate: Row {
                spacing: 8
                height: 18

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
                    color: model.by === "host" ? "#1565c0" : model.by === "page" ? "#6a1b9a" : "#2e7d32"
                    text: model.by
                }
                Text {
                    width: 330
                    elide: Text.ElideMiddle
                    font.family: "monospace"
                    font.pixelSize: 12
                    text: model.table + " · " + model.key
                }
                Text {
                    width: journalView.width - 500
                    elide: Text.ElideRight
                    textFormat: Text.PlainText
                    font.family: "monospace"
                    font.pixelSize: 12
                    color: model.ok ? "black" : "#c62828"
                    text: model.old + " → " + model.new + (model.ok ? "" : "   not written: " + model.error)
                }
            }
        }
    }
}
