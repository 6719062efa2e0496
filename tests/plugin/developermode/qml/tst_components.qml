import QtQml.Models 2.15
import QtQuick 2.15
import QtTest 1.15
import "../../../../src/DeveloperMode/views/comps"

// What the small components do on their own, driven by real mouse and key
// events; their sizes and colours are read on the page (tst_pages).
Item {
    id: root

    width: 600
    height: 400

    Component { id: switchBarComponent; SwitchBar { width: 400; title: "switch" } }
    Component { id: colorPickerComponent; ColorPickerBar { width: 500; title: "section" } }
    Component { id: inputBarComponent; InputBar { width: 400; title: "input" } }
    Component { id: spyComponent; SignalSpy {} }
    Component {
        id: multiComponent

        SwitchBarMulti {
            width: 400
            title: "master"
            childList: ObjectModel { SwitchBar { objectName: "child"; title: "child" } }
        }
    }

    function spy(test, target, signalName) {
        return test.createTemporaryObject(spyComponent, root, {target: target, signalName: signalName});
    }

    TestCase {
        name: "SwitchBar"
        when: windowShown

        function test_tapReportsButNeverFlips() {
            const bar = createTemporaryObject(switchBarComponent, root);
            const clicked = root.spy(this, bar, "clicked");
            const track = findChild(bar, "track");
            // The title is no part of the switch.
            mouseClick(bar, 5, bar.height / 2);
            compare(clicked.count, 0);
            mouseClick(track);
            compare(clicked.count, 1);
            compare(bar.checked, false);
            bar.checked = true;
            mouseClick(track);
            compare(clicked.count, 2);
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
            const arrow = findChild(createTemporaryObject(switchBarComponent, root, {arrowStyle: data.style}), "arrow");
            compare(arrow.visible, data.visible);
            compare(arrow.rotation, data.rotation);
        }
    }

    TestCase {
        name: "SwitchBarMulti"
        when: windowShown

        // The list opens by a click beside the switch, only while the
        // master is on, and closes whenever the master goes off.
        function test_expandOnlyWhileOn() {
            const multi = createTemporaryObject(multiComponent, root);
            const clicked = root.spy(this, multi, "clicked");
            const header = findChild(multi, "header");
            const column = findChild(multi, "childColumn");
            mouseClick(header, 5, header.height / 2);
            compare(column.visible, false);
            compare(header.arrowStyle, 1);

            multi.checked = true;
            compare(column.visible, false);
            mouseClick(header, 5, header.height / 2);
            compare(column.visible, true);
            compare(header.arrowStyle, 2);
            compare(findChild(multi, "child").visible, true);
            mouseClick(header, 5, header.height / 2);
            compare(column.visible, false);
            mouseClick(header, 5, header.height / 2);
            multi.checked = false;
            multi.checked = true;
            compare(column.visible, false);
            compare(clicked.count, 0);

            // A tap on the track is the component's click and flips nothing.
            mouseClick(findChild(header, "track"));
            compare(clicked.count, 1);
            compare(multi.checked, true);
            compare(column.visible, false);
        }
    }

    TestCase {
        name: "EditFields"
        when: windowShown

        function test_weightDisplay_data() {
            return [
                {tag: "float noise", weight: 0.1 + 0.2, text: "0.3"},
                {tag: "integer", weight: 37, text: "37"},
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
                {tag: "value, return", bar: v, typed: "15", key: enter, text: "15", emitted: 15},
                {tag: "value, enter", bar: v, typed: "4", key: Qt.Key_Enter, text: "4", emitted: 4},
                {tag: "value, point and letters rejected", bar: v, typed: "1x.5", key: enter, text: "15", emitted: 15},
                {tag: "value, minus rejected", bar: v, typed: "-3", key: enter, text: "3", emitted: 3},
                {tag: "value, emptied restores", bar: v, typed: "", key: enter, text: "7", emitted: 7},
                {tag: "value, emptied and left", bar: v, typed: "", key: 0, text: "7", emitted: 7}
            ];
        }

        function test_edit(data) {
            const bar = createTemporaryObject(data.bar.component, root, data.bar.init);
            const other = createTemporaryObject(inputBarComponent, root, {y: 100});
            const finished = root.spy(this, bar, data.bar.signal);
            const field = findChild(bar, data.bar.field);
            mouseClick(field);
            keyClick(Qt.Key_A, Qt.ControlModifier);
            keyClick(Qt.Key_Backspace);
            for (const c of data.typed)
                keyClick(c);
            // Return, Enter, or a click into another field.
            if (data.key)
                keyClick(data.key);
            else
                mouseClick(findChild(other, "valueField"));
            compare(field.activeFocus, false);
            compare(field.text, data.text);
            compare(finished.count, 1);
            fuzzyCompare(finished.signalArguments[0][0], data.emitted, 1e-12);
            // The field shows what was typed; the value changes only when the
            // owner sets it.
            compare(bar[data.bar.property], data.bar.init[data.bar.property]);
        }
    }
}
