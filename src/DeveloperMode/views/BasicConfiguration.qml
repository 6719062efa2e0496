import QtQml 2.15
import QtQml.Models 2.15
import QtQuick 2.15
import QtQuick.Controls 2.15
import QtQuick.Layouts 1.15
import "./comps"

// First tab: camera and image switches, the pseudo-colour scale and the
// rollback count. Every row shows one entry of the controller's config and
// sends each edit back through updateValue; nothing is kept here.
Control {
    id: root

    // The controller goes before its window, which is released a little
    // later; until then the rows read an empty map.
    function config() {
        return $developerModeController ? $developerModeController.config : {};
    }

    // A setting that the map does not hold leaves the row at its default
    // instead of assigning undefined to a typed property.
    function setting(key, fallback) {
        const value = root.config()[key];
        return value === undefined || value === null ? fallback : value;
    }

    function flag(key) {
        return !!root.config()[key];
    }

    leftPadding: 30
    rightPadding: 30
    topPadding: 15
    bottomPadding: 15
    background: null

    contentItem: ColumnLayout {
        spacing: 8

        SwitchBar {
            objectName: "enableScanDistanceValue"
            Layout.fillWidth: true
            title: "扫描距离值"
            checked: root.flag("enableScanDistanceValue")
            onClicked: $developerModeController.updateValue("enableScanDistanceValue", !checked)
        }
        SplitLine {}
        SwitchBar {
            objectName: "enableSecondCameraWindow"
            Layout.fillWidth: true
            title: "视频流第二窗口"
            checked: root.flag("enableSecondCameraWindow")
            onClicked: $developerModeController.updateValue("enableSecondCameraWindow", !checked)
        }
        SplitLine {}
        SwitchBarMulti {
            objectName: "enableSaveReadImage"
            Layout.fillWidth: true
            title: "读图存图"
            checked: root.flag("enableSaveReadImage")
            // Switching the master on starts every child from off; switching
            // it off only hides them with their values. checked is read after
            // updateValue has returned, when the binding already shows the new
            // state.
            onClicked: {
                $developerModeController.updateValue("enableSaveReadImage", !checked);
                if (checked) {
                    $developerModeController.updateValue("enableReadCaliImage", false);
                    $developerModeController.updateValue("enableSaveCaliImage", false);
                    $developerModeController.updateValue("enableReadScanImage", false);
                    $developerModeController.updateValue("enableSaveScanImage", false);
                    $developerModeController.updateValue("enableSaveScanImage_GrayPic", false);
                    $developerModeController.updateValue("enableSaveScanImage_ColorPic", false);
                }
            }
            childList: ObjectModel {
                SwitchBar {
                    objectName: "enableReadCaliImage"
                    Layout.fillWidth: true
                    title: "标定读图"
                    checked: root.flag("enableReadCaliImage")
                    onClicked: $developerModeController.updateValue("enableReadCaliImage", !checked)
                }
                SwitchBar {
                    objectName: "enableSaveCaliImage"
                    Layout.fillWidth: true
                    title: "标定存图"
                    checked: root.flag("enableSaveCaliImage")
                    onClicked: $developerModeController.updateValue("enableSaveCaliImage", !checked)
                }
                SwitchBar {
                    objectName: "enableReadScanImage"
                    Layout.fillWidth: true
                    title: "扫描读图"
                    checked: root.flag("enableReadScanImage")
                    onClicked: $developerModeController.updateValue("enableReadScanImage", !checked)
                }
                SwitchBar {
                    objectName: "enableSaveScanImage"
                    Layout.fillWidth: true
                    title: "扫描存图-总开关"
                    checked: root.flag("enableSaveScanImage")
                    onClicked: $developerModeController.updateValue("enableSaveScanImage", !checked)
                }
                SwitchBar {
                    objectName: "enableSaveScanImage_GrayPic"
                    Layout.fillWidth: true
                    title: "扫描存图-黑白"
                    checked: root.flag("enableSaveScanImage_GrayPic")
                    onClicked: $developerModeController.updateValue("enableSaveScanImage_GrayPic", !checked)
                }
                SwitchBar {
                    objectName: "enableSaveScanImage_ColorPic"
                    Layout.fillWidth: true
                    title: "扫描存图-纹理"
                    checked: root.flag("enableSaveScanImage_ColorPic")
                    onClicked: $developerModeController.updateValue("enableSaveScanImage_ColorPic", !checked)
                }
            }
        }
        SplitLine {}
        SwitchBarMulti {
            objectName: "enablePseudoColor"
            Layout.fillWidth: true
            title: "伪彩色"
            checked: root.flag("enablePseudoColor")
            onClicked: $developerModeController.updateValue("enablePseudoColor", !checked)
            childList: ObjectModel {
                ColorPickerBar {
                    objectName: "section_1"
                    Layout.fillWidth: true
                    title: "section-1"
                    weight: root.setting("pseudo_color_section_1", -999999)
                    color: root.setting("pseudo_color_bound_1", "red")
                    onEditWeightFinished: $developerModeController.updateValue("pseudo_color_section_1", inputWeight)
                    onEditColorFinished: $developerModeController.updateValue("pseudo_color_bound_1", inputColor)
                }
                ColorPickerBar {
                    objectName: "section_2"
                    Layout.fillWidth: true
                    title: "section-2"
                    weight: root.setting("pseudo_color_section_2", -999999)
                    color: root.setting("pseudo_color_bound_2", "red")
                    onEditWeightFinished: $developerModeController.updateValue("pseudo_color_section_2", inputWeight)
                    onEditColorFinished: $developerModeController.updateValue("pseudo_color_bound_2", inputColor)
                }
                ColorPickerBar {
                    objectName: "section_3"
                    Layout.fillWidth: true
                    title: "section-3"
                    weight: root.setting("pseudo_color_section_3", -999999)
                    color: root.setting("pseudo_color_bound_3", "red")
                    onEditWeightFinished: $developerModeController.updateValue("pseudo_color_section_3", inputWeight)
                    onEditColorFinished: $developerModeController.updateValue("pseudo_color_bound_3", inputColor)
                }
                ColorPickerBar {
                    objectName: "section_4"
                    Layout.fillWidth: true
                    title: "section-4"
                    weight: root.setting("pseudo_color_section_4", -999999)
                    color: root.setting("pseudo_color_bound_4", "red")
                    onEditWeightFinished: $developerModeController.updateValue("pseudo_color_section_4", inputWeight)
                    onEditColorFinished: $developerModeController.updateValue("pseudo_color_bound_4", inputColor)
                }
                ColorPickerBar {
                    objectName: "section_5"
                    Layout.fillWidth: true
                    title: "section-5"
                    weight: root.setting("pseudo_color_section_5", -999999)
                    color: root.setting("pseudo_color_bound_5", "red")
                    onEditWeightFinished: $developerModeController.updateValue("pseudo_color_section_5", inputWeight)
                    onEditColorFinished: $developerModeController.updateValue("pseudo_color_bound_5", inputColor)
                }
                ColorPickerBar {
                    objectName: "section_6"
                    Layout.fillWidth: true
                    title: "section-6"
                    weight: root.setting("pseudo_color_section_6", -999999)
                    color: root.setting("pseudo_color_bound_6", "red")
                    onEditWeightFinished: $developerModeController.updateValue("pseudo_color_section_6", inputWeight)
                    onEditColorFinished: $developerModeController.updateValue("pseudo_color_bound_6", inputColor)
                }
            }
        }
        SplitLine {}
        InputBar {
            objectName: "rollbackFrame"
            Layout.fillWidth: true
            title: "回退帧数"
            value: root.setting("rollbackFrame", 0)
            onEditFinished: $developerModeController.updateValue("rollbackFrame", value)
        }
    }
}
