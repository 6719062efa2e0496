import QtQml 2.15
import QtQuick 2.15
import QtQuick.Controls 2.15
import QtQuick.Layouts 1.15

// A labelled whole-number field.
Control {
    id: root

    property alias title: titleText.text
    property int value: 0

    signal editFinished(int value)

    background: null
    onValueChanged: valueField.text = root.value.toString()

    contentItem: RowLayout {
        Text {
            id: titleText

            color: "#FFFFFF"
            Layout.alignment: Qt.AlignVCenter
        }

        Item {
            implicitHeight: 1
            Layout.fillWidth: true
        }

        TextField {
            id: valueField

            property string pressedText

            objectName: "valueField"
            color: "#FFFFFF"
            horizontalAlignment: TextInput.AlignRight
            selectByMouse: true
            validator: RegularExpressionValidator {
                regularExpression: /[0-9]{0,}/
            }
            Layout.minimumWidth: 120
            Layout.maximumWidth: 120
            background: Rectangle {
                color: "#50000000"
            }
            onPressed: pressedText = text
            Keys.onReturnPressed: focus = false
            Keys.onEnterPressed: focus = false
            onEditingFinished: {
                focus = false;
                if (text.length === 0)
                    text = pressedText;
                root.editFinished(parseInt(text));
            }
        }
    }
}
