import QtQuick 2.12
import QtQuick.Controls 2.12

// A button that says why it cannot act: when "blocker" is not empty the
// button is disabled and hovering it shows the reason (a disabled control
// gets no hover events itself, hence the mouse area above it).
Item {
    id: root

    property alias text: button.text
    property string blocker: ""

    signal clicked()

    implicitWidth: button.implicitWidth
    implicitHeight: button.implicitHeight

    Button {
        id: button

        anchors.fill: parent
        enabled: root.blocker === ""
        onClicked: root.clicked()
    }
    MouseArea {
        id: hover

        anchors.fill: parent
        hoverEnabled: true
        acceptedButtons: Qt.NoButton
    }
    ToolTip {
        visible: hover.containsMouse && root.blocker !== ""
        text: root.blocker
        delay: 300
    }
}
