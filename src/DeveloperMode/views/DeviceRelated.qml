import QtQml 2.15
import QtQml.Models 2.15
import QtQuick 2.15
import QtQuick.Controls 2.15
import QtQuick.Layouts 1.15
import "./comps"

// Second tab: settings that belong to the device rather than to scanning.
Control {
    id: root

    // The controller goes before its window, which is released a little
    // later; until then the row reads an empty map.
    function config() {
        return $developerModeController ? $developerModeController.config : {};
    }

    leftPadding: 30
    rightPadding: 30
    topPadding: 15
    bottomPadding: 15
    background: null

    contentItem: ColumnLayout {
        spacing: 5

        SwitchBar {
            id: watermarkSwitch

            objectName: "enableWatermark"
            Layout.fillWidth: true
            title: "开发者模式禁止演示水印"
            checked: !!root.config()["enableWatermark"]
            onClicked: $developerModeController.updateValue("enableWatermark", !checked)
        }
    }
}
