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
            return $tables.arrow;
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
            return $tables.weight;
        }

        function test_weightDisplay(data) {
            const bar = createTemporaryObject(colorPickerComponent, root);
            bar.weight = data.weight;
            compare(findChild(bar, "weightField").text, data.text);
        }

        // tables.json's "edit": the weight field of ColorPickerBar and the
        // value field of InputBar; key "": a click into another field.
        function test_edit_data() {
            return $tables.edit;
        }

        function test_edit(data) {
            const bars = {weight: {component: colorPickerComponent, init: {weight: 0.30000000000000004}, property: "weight",
                                   signal: "editWeightFinished", field: "weightField"},
                          value: {component: inputBarComponent, init: {value: 7}, property: "value", signal: "editFinished",
                                  field: "valueField"}};
            data.bar = bars[data.bar];
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
                keyClick(Qt["Key_" + data.key]);
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
