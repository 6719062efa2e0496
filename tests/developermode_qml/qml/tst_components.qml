import QtQml.Models 2.15
import QtQuick 2.15
import QtTest 1.15
import "../../../src/DeveloperMode/views/comps"

// The five small components on their own, driven by real mouse and key
// events.
Item {
    id: root

    width: 600
    height: 400

    Component { id: switchBarComponent; SwitchBar { width: 400; title: "switch" } }
    Component { id: colorPickerComponent; ColorPickerBar { width: 500; title: "section" } }
    Component { id: inputBarComponent; InputBar { width: 400; title: "input" } }
    Component { id: splitLineComponent; SplitLine { width: 300 } }
    Component { id: spyComponent; SignalSpy {} }
    Component {
        id: multiComponent

        SwitchBarMulti {
            width: 400
            title: "master"
            childList: ObjectModel { SwitchBar { objectName: "child"; title: "child" } }
        }
    }

    // Helpers shared by the test cases; each passes itself for the events.
    function spy(test, target, signalName) {
        return test.createTemporaryObject(spyComponent, root, {target: target, signalName: signalName});
    }

    function typeText(test, text) {
        for (let i = 0; i < text.length; ++i)
            test.keyClick(text[i]);
    }

    function clearField(test, field) {
        test.mouseClick(field);
        test.keyClick(Qt.Key_A, Qt.ControlModifier);
        test.keyClick(Qt.Key_Backspace);
    }

    function sameColor(test, actual, expected) {
        test.verify(Qt.colorEqual(actual, expected), actual + " is not " + expected);
    }

    TestCase {
        name: "SwitchBar"
        when: windowShown

        function test_tapReportsButNeverFlips() {
            const bar = createTemporaryObject(switchBarComponent, root);
            const spy = root.spy(this, bar, "clicked");
            const track = findChild(bar, "track");
            const knob = findChild(bar, "knob");
            root.sameColor(this, track.color, "#0C0D0E");
            compare(knob.x, 0);
            // The title is no part of the switch.
            mouseClick(bar, 5, bar.height / 2);
            compare(spy.count, 0);
            mouseClick(track);
            compare(spy.count, 1);
            compare(bar.checked, false);
            root.sameColor(this, track.color, "#0C0D0E");

            bar.checked = true;
            root.sameColor(this, track.color, "#3EA2FF");
            compare(knob.width, 20);
            tryCompare(knob, "x", track.width - knob.width);
            mouseClick(track);
            compare(spy.count, 2);
            compare(bar.checked, true);
        }

        function test_arrow_data() {
            return [
                {tag: "none", style: 0, visible: false, rotation: 0},
                {tag: "right", style: 1, visible: true, rotation: 0},
                {tag: "down", style: 2, visible: true, rotation: 90},
                {tag: "unknown", style: 3, visible: true, rotation: 0},
                {tag: "negative", style: -1, visible: false, rotation: 0}
            ];
        }

        function test_arrow(data) {
            const bar = createTemporaryObject(switchBarComponent, root, {arrowStyle: data.style});
            const arrow = findChild(bar, "arrow");
            compare(arrow.visible, data.visible);
            compare(arrow.rotation, data.rotation);
            compare(arrow.text, ">");
        }
    }

    TestCase {
        name: "SwitchBarMulti"
        when: windowShown

        function test_expandOnlyWhileOn() {
            const multi = createTemporaryObject(multiComponent, root);
            const spy = root.spy(this, multi, "clicked");
            const header = findChild(multi, "header");
            const column = findChild(multi, "childColumn");
            const arrow = findChild(header, "arrow");

            // Off: the header ignores clicks beside the switch.
            mouseClick(header, 5, header.height / 2);
            compare(column.visible, false);
            compare(arrow.rotation, 0);
            compare(spy.count, 0);

            multi.checked = true;
            compare(column.visible, false);
            mouseClick(header, 5, header.height / 2);
            compare(column.visible, true);
            compare(header.arrowStyle, 2);
            compare(arrow.rotation, 90);
            compare(findChild(multi, "child").visible, true);
            compare(spy.count, 0);

            mouseClick(header, 5, header.height / 2);
            compare(column.visible, false);
            compare(header.arrowStyle, 1);

            // Switching off collapses; switching on again starts collapsed.
            mouseClick(header, 5, header.height / 2);
            compare(column.visible, true);
            multi.checked = false;
            multi.checked = true;
            compare(column.visible, false);

            // A tap on the track is the component's click and flips nothing.
            mouseClick(findChild(header, "track"));
            compare(spy.count, 1);
            compare(multi.checked, true);
            compare(column.visible, false);
        }
    }

    TestCase {
        name: "ColorPickerBar"
        when: windowShown

        function test_defaults() {
            const bar = createTemporaryObject(colorPickerComponent, root);
            root.sameColor(this, bar.color, "red");
            compare(bar.weight, -999999);
            root.sameColor(this, findChild(bar, "swatch").color, "red");
            compare(findChild(bar, "swatch").width, 20);
            compare(findChild(bar, "swatch").height, 20);
            compare(findChild(bar, "colorText").text, "#ff0000");
            compare(findChild(bar, "weightField").width, 80);
            bar.color = Qt.rgba(0, 0, 1, 1);
            root.sameColor(this, findChild(bar, "swatch").color, "#0000ff");
            compare(findChild(bar, "colorText").text, "#0000ff");
        }

        function test_weightDisplay_data() {
            return [
                {tag: "float noise", weight: 0.1 + 0.2, text: "0.3"},
                {tag: "integer", weight: 37, text: "37"},
                {tag: "half", weight: 2.5, text: "2.5"},
                {tag: "ten decimals", weight: 1 / 3, text: "0.3333333333"},
                {tag: "below ten decimals", weight: 0.00000000001, text: "0"},
                {tag: "negative", weight: -4, text: "-4"}
            ];
        }

        function test_weightDisplay(data) {
            const bar = createTemporaryObject(colorPickerComponent, root);
            bar.weight = data.weight;
            compare(findChild(bar, "weightField").text, data.text);
        }

        function test_emptiedFieldLosingFocus() {
            const bar = createTemporaryObject(colorPickerComponent, root, {weight: 8});
            const other = createTemporaryObject(inputBarComponent, root, {y: 100});
            const spy = root.spy(this, bar, "editWeightFinished");
            const field = findChild(bar, "weightField");
            root.clearField(this, field);
            compare(field.text, "");
            // Focus leaves by a click into another field.
            mouseClick(findChild(other, "valueField"));
            compare(field.activeFocus, false);
            compare(field.text, "8");
            compare(spy.count, 1);
            compare(spy.signalArguments[0][0], 8);
        }
    }

    TestCase {
        name: "InputBarAndSplitLine"
        when: windowShown

        function test_valueDisplay() {
            const bar = createTemporaryObject(inputBarComponent, root);
            const field = findChild(bar, "valueField");
            compare(field.width, 120);
            compare(field.horizontalAlignment, TextInput.AlignRight);
            bar.value = 42;
            compare(field.text, "42");
        }

        function test_splitLine() {
            const line = createTemporaryObject(splitLineComponent, root);
            compare(line.height, 1);
            root.sameColor(this, line.color, "#30D8D8D8");
        }
    }

    TestCase {
        name: "EditFields"
        when: windowShown

        // The weight field of ColorPickerBar and the value field of InputBar.
        function test_edit_data() {
            const w = {component: colorPickerComponent, init: {weight: 0.30000000000000004}, property: "weight",
                       signal: "editWeightFinished", field: "weightField"};
            const v = {component: inputBarComponent, init: {value: 7}, property: "value", signal: "editFinished",
                       field: "valueField"};
            const enter = Qt.Key_Return;
            return [
                {tag: "weight, return", bar: w, typed: "12.5", key: enter, text: "12.5", emitted: 12.5},
                {tag: "weight, enter", bar: w, typed: "3", key: Qt.Key_Enter, text: "3", emitted: 3},
                {tag: "weight, letters rejected", bar: w, typed: "a1b", key: enter, text: "1", emitted: 1},
                {tag: "weight, two points pass", bar: w, typed: "1.2.3", key: enter, text: "1.2.3", emitted: 1.2},
                {tag: "weight, minus rejected", bar: w, typed: "-5", key: enter, text: "5", emitted: 5},
                {tag: "weight, emptied restores", bar: w, typed: "", key: enter, text: "0.3", emitted: 0.3},
                {tag: "value, digits", bar: v, typed: "15", key: enter, text: "15", emitted: 15},
                {tag: "value, point and letters rejected", bar: v, typed: "1x.5", key: enter, text: "15", emitted: 15},
                {tag: "value, minus rejected", bar: v, typed: "-3", key: enter, text: "3", emitted: 3},
                {tag: "value, emptied restores", bar: v, typed: "", key: enter, text: "7", emitted: 7}
            ];
        }

        function test_edit(data) {
            const bar = createTemporaryObject(data.bar.component, root, data.bar.init);
            const spy = root.spy(this, bar, data.bar.signal);
            const field = findChild(bar, data.bar.field);
            root.clearField(this, field);
            root.typeText(this, data.typed);
            keyClick(data.key);
            compare(field.activeFocus, false);
            compare(field.text, data.text);
            compare(spy.count, 1);
            fuzzyCompare(spy.signalArguments[0][0], data.emitted, 1e-12);
            // The field shows what was typed; the value itself changes only
            // when the owner sets it.
            compare(bar[data.bar.property], data.bar.init[data.bar.property]);
        }
    }
}
