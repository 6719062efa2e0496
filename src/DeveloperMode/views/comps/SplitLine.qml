import QtQml 2.15
import QtQuick 2.15
import QtQuick.Layouts 1.15

// A 1-pixel separator between rows.
Rectangle {
    id: root

    color: "#30D8D8D8"
    Layout.fillWidth: true
    Layout.preferredHeight: 1
    implicitHeight: 1
    height: 1
}
