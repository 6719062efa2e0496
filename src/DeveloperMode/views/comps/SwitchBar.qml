import QtQml 2.15
import QtQuick 2.15
import QtQuick.Controls 2.15
import QtQuick.Layouts 1.15

// One labelled on/off switch. It never flips itself: a tap only reports
// clicked(), and the new state comes back through the binding on checked.
Control {
    id: root

    property alias title: titleText.text
    property bool checked: false
    // 0: no arrow, 1: arrow pointing right, 2: arrow pointing down.
    property int arrowStyle: 0

    signal clicked

    background: null

    contentItem: RowLayout {
        Text {
            id: titleText

            color: "#FFFFFF"
            verticalAlignment: Text.AlignVCenter
            horizontalAlignment: Text.AlignLeft
            Layout.alignment: Qt.AlignLeft | Qt.AlignVCenter
        }

        Text {
            id: arrowText

            objectName: "arrow"
            text: ">"
            color: "#FFFFFF"
            visible: root.arrowStyle > 0
            rotation: root.arrowStyle === 2 ? 90 : 0
            Layout.alignment: Qt.AlignVCenter
        }

        Item {
            implicitHeight: 1
            Layout.fillWidth: true
        }

        Rectangle {
            id: track

            objectName: "track"
            implicitWidth: 40
            implicitHeight: 20
            radius: height / 2
            color: root.checked ? "#3EA2FF" : "#0C0D0E"
            Layout.alignment: Qt.AlignVCenter

            Rectangle {
                id: knob

                objectName: "knob"
                width: track.implicitHeight
                height: track.implicitHeight
                radius: width / 2
                color: "#FFFFFF"
                x: root.checked ? track.width - knob.width : 0
            }

            TapHandler {
                onTapped: root.clicked()
            }
        }
    }
}
