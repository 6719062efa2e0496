import QtQml 2.15
import QtQml.Models 2.15
import QtQuick 2.15
import QtQuick.Controls 2.15
import QtQuick.Layouts 1.15

// A master switch heading a list of rows. The list can be opened (by a click
// on the header beside the switch) only while the master is on, and it closes
// again whenever the master goes off.
Control {
    id: root

    property alias title: headerSwitch.title
    property alias checked: headerSwitch.checked
    property ObjectModel childList: ObjectModel {}

    signal clicked

    background: null

    contentItem: ColumnLayout {
        id: column

        property bool isExpand: false

        spacing: 8

        SwitchBar {
            id: headerSwitch

            objectName: "header"
            arrowStyle: childColumn.visible ? 2 : 1
            Layout.fillWidth: true
            onClicked: root.clicked()
            onCheckedChanged: {
                if (!checked)
                    column.isExpand = false;
            }

            MouseArea {
                id: expandArea

                objectName: "expandArea"
                z: -1
                anchors.fill: parent
                enabled: headerSwitch.checked
                onClicked: column.isExpand = !column.isExpand
            }
        }

        ColumnLayout {
            id: childColumn

            objectName: "childColumn"
            visible: headerSwitch.checked && column.isExpand
            spacing: 8
            Layout.leftMargin: 30
            Layout.fillWidth: true

            Repeater {
                model: root.childList
            }
        }
    }
}
