import QtQml 2.15
import QtQuick 2.15
import QtQuick.Controls 2.15
import QtQuick.Dialogs 1.3
import QtQuick.Layouts 1.15

// One pseudo-colour section: its weight as a number field and its bound
// colour as a swatch that opens a colour dialog.
Control {
    id: root

    property alias title: titleText.text
    property color color: "red"
    property real weight: -999999

    signal editColorFinished(color inputColor)
    signal editWeightFinished(real inputWeight)
    // Declared for an apply button that the page does not show.
    signal apply

    // Ten decimals hide the binary noise of sums such as 0.1 + 0.2; parsing
    // the fixed form back drops the trailing zeros.
    function showWeight() {
        weightField.text = parseFloat(root.weight.toFixed(10)).toString();
    }

    // The dialog is made on the first tap and kept. Made with the page, six
    // dialogs, and the dialog type itself (built on Qt Quick Controls 1),
    // would take most of the page's opening time and memory; it opens preset
    // with the section's colour either way. It joins the bar's data like a
    // declared child, so it is found where one would be.
    function openColorDialog() {
        if (!colorGroup.dialog) {
            const dialog = Qt.createQmlObject(
                    'import QtQuick.Dialogs 1.3; ColorDialog { objectName: "colorDialog" }', root,
                    "ColorPickerBar.qml");
            dialog.color = Qt.binding(() => root.color);
            dialog.accepted.connect(() => root.editColorFinished(dialog.currentColor));
            root.data.push(dialog);
            colorGroup.dialog = dialog;
        }
        colorGroup.dialog.open();
    }

    background: null
    onWeightChanged: root.showWeight()

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

        RowLayout {
            id: weightGroup

            Text {
                text: "权重:"
                color: "#FFFFFF"
                Layout.alignment: Qt.AlignVCenter
            }

            TextField {
                id: weightField

                property string pressedText

                objectName: "weightField"
                color: "#FFFFFF"
                selectByMouse: true
                // Digits and points only; two points get through, as before.
                validator: RegularExpressionValidator {
                    regularExpression: /[0-9.]{0,}/
                }
                Layout.preferredWidth: 80
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
                    root.editWeightFinished(parseFloat(text));
                }
            }
        }

        RowLayout {
            id: colorGroup

            property QtObject dialog: null

            objectName: "colorGroup"

            Rectangle {
                id: swatch

                objectName: "swatch"
                implicitWidth: 20
                implicitHeight: 20
                color: root.color
                Layout.alignment: Qt.AlignVCenter
            }

            Text {
                objectName: "colorText"
                text: swatch.color.toString()
                Layout.alignment: Qt.AlignVCenter
            }

            TapHandler {
                onTapped: root.openColorDialog()
            }
        }
    }
}
