import QtQml 2.15
import QtQuick 2.15
import QtQuick.Controls 2.15
import QtQuick.Layouts 1.15

// The developer-mode window's page: two tabs of settings and, on the device
// tab only, the button that leaves the developer mode.
Page {
    id: root

    visible: true
    title: "开发者模式"
    width: 600
    height: 400

    background: Rectangle {
        color: "#434349"
    }

    header: TabBar {
        id: tabBar

        width: root.width

        TabButton {
            objectName: "tab0"
            text: "基本配置"
        }
        TabButton {
            objectName: "tab1"
            text: "设备相关"
        }
    }

    StackLayout {
        id: stackLayout

        anchors.fill: parent
        currentIndex: tabBar.currentIndex

        Flickable {
            id: basicFlickable

            objectName: "basicFlickable"
            clip: true
            contentHeight: basicConfiguration.height

            BasicConfiguration {
                id: basicConfiguration

                width: basicFlickable.width
            }
        }

        Flickable {
            id: deviceFlickable

            objectName: "deviceFlickable"
            clip: true
            contentHeight: deviceRelated.height

            DeviceRelated {
                id: deviceRelated

                width: deviceFlickable.width
            }
        }
    }

    Button {
        id: quitButton

        objectName: "quitButton"
        text: "退出开发者模式"
        width: root.width
        anchors.bottom: parent.bottom
        visible: deviceFlickable.visible
        onClicked: $developerModeController.quitDeveloperMode()
    }
}
