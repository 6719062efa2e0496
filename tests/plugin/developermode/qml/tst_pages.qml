import QtQuick 2.15
import QtQuick.Controls 2.15
import QtQuick.Layouts 1.15
import QtTest 1.15
import "../../../../src/DeveloperMode/views"

// The developer-mode page with its two tabs against the recording stand-in
// "$developerModeController": its layout numbers, colours and texts read from
// the loaded page, every row with its title, bound key, edit call and value
// type, and the exit button.
Item {
    id: root

    // Every switch differs from the ones beside it, no colour is the
    // components' default red.
    readonly property var settings: ({
            "enableScanDistanceValue": false, "enableSecondCameraWindow": true, "enableSaveReadImage": true,
            "enableReadCaliImage": true, "enableSaveCaliImage": false, "enableReadScanImage": true,
            "enableSaveScanImage": false, "enableSaveScanImage_GrayPic": true,
            "enableSaveScanImage_ColorPic": false, "enablePseudoColor": true,
            "pseudo_color_section_1": 0.30000000000000004, "pseudo_color_section_2": 20,
            "pseudo_color_section_3": 30, "pseudo_color_section_4": 40, "pseudo_color_section_5": 50,
            "pseudo_color_section_6": 60, "pseudo_color_bound_1": "#00ff00", "pseudo_color_bound_2": "#0000ff",
            "pseudo_color_bound_3": "#ffff00", "pseudo_color_bound_4": "#00ffff",
            "pseudo_color_bound_5": "#ff00ff", "pseudo_color_bound_6": "#808080",
            "rollbackFrame": 5, "enableWatermark": false
        })

    width: 600
    height: 400

    Component { id: pageComponent; DeveloperModeView {} }

    TestCase {
        id: test

        property var page: null

        name: "DeveloperModeView"
        when: windowShown

        function init() {
            $developerModeController.reset(root.settings);
            page = createTemporaryObject(pageComponent, root);
            verify(page);
            waitForRendering(page);
        }

        function calls() {
            return $developerModeController.calls.map(c => c.key + "=" + c.value + " " + c.type);
        }

        // An item by a path of object names from the page; "content" steps
        // into a control's content item, "#n" to the n-th child, "parent" up.
        function at(path) {
            let item = page;
            for (const step of path.split("/").filter(s => s)) {
                item = step === "content" ? item.contentItem
                     : step === "parent" ? item.parent
                     : step[0] === "#" ? item.children[Number(step.slice(1))] : findChild(item, step);
                verify(item, path + ": no " + step);
            }
            return item;
        }

        // Opens a section by a click on its header beside the switch.
        function expand(section) {
            const header = at(section + "/header");
            mouseClick(header, 5, header.height / 2);
            tryCompare(at(section + "/childColumn"), "visible", true);
            waitForRendering(page);
        }

        // Scrolls the first tab so that item is inside the visible area.
        function reveal(item) {
            const flickable = at("basicFlickable");
            const y = item.mapToItem(flickable.contentItem, 0, 0).y;
            const contentY = Math.max(0, Math.min(y - 40, flickable.contentHeight - flickable.height));
            if (contentY !== flickable.contentY) {
                flickable.contentY = contentY;
                waitForRendering(page);
            }
        }

        // One row per property: tables.json's "layout", [path, property, value].
        function test_layout_data() {
            return $tables.layout.map(r => ({tag: r[0] + " " + r[1], path: r[0], property: r[1], value: r[2]}));
        }

        function test_layout(data) {
            if (data.path === "every row") {
                expand("enableSaveReadImage");
                expand("enablePseudoColor");
                const rows = test_rows_data().map(r => at(r.name)).filter(r => r.width !== r.parent.width);
                compare(rows.map(r => r.objectName).join(), data.value);
                return;
            }
            let value = at(data.path);
            for (const name of data.property.split("."))
                value = value[name];
            compare(String(value), String(data.value));
        }

        // tables.json's "rows", one per row of the page: its title, the entry
        // of config it shows, and what an edit calls, with the type of the
        // value; "also": the switches an edit switches off with it.
        function test_rows_data() {
            return $tables.rows;
        }

        function test_rows(data) {
            const settings = Object.assign({}, root.settings);
            if (data.from !== undefined) {
                settings[data.name] = data.from;
                $developerModeController.reset(settings);
            }
            if (data.tab)
                mouseClick(findChild(page, "tab" + data.tab));
            if (data.section)
                expand(data.section);
            const item = at(data.name);
            compare(item.title, data.title);
            reveal(item);
            if (data.n) {
                // The weight typed one digit longer; the section's own colour
                // dialog, opened by a tap on its colour.
                const weightKey = "pseudo_color_section_" + data.n, colourKey = "pseudo_color_bound_" + data.n;
                const field = findChild(item, "weightField");
                compare(field.text, data.n === 1 ? "0.3" : String(data.n * 10));
                verify(Qt.colorEqual(findChild(item, "swatch").color, settings[colourKey]));
                mouseClick(field);
                keyClick(Qt.Key_End);
                keyClick(Qt.Key_5);
                keyClick(Qt.Key_Return);
                mouseClick(findChild(item, "colorText"));
                const dialog = colourDialog(item);
                verify(Qt.colorEqual(dialog.color, settings[colourKey]));
                dialog.currentColor = "#123456";
                dialog.accept();
                compare(calls(), [weightKey + "=" + (data.n === 1 ? "0.35" : data.n * 100 + 5) + " double",
                                  colourKey + "=#123456 QColor"]);
                compare(field.text, data.n === 1 ? "0.35" : String(data.n * 100 + 5));
                verify(Qt.colorEqual(findChild(item, "swatch").color, "#123456"));
                return;
            }
            if (data.name === "rollbackFrame") {
                const field = findChild(item, "valueField");
                compare(field.text, "5");
                mouseClick(field);
                keyClick(Qt.Key_End);
                keyClick(Qt.Key_2);
                keyClick(Qt.Key_Return);
                compare(calls(), ["rollbackFrame=52 int"]);
                compare(field.text, "52");
                return;
            }
            // A switch shows its entry, asks for the other state and shows
            // that once the controller has it.
            const before = settings[data.name];
            compare(item.checked, before);
            mouseClick(findChild(findChild(item, "header") || item, "track"));
            compare(calls(), [data.name + "=" + !before + " bool"].concat((data.also || []).map(k => k + "=false bool")));
            compare(item.checked, !before);
        }

        // The dialog of a colour row, once it is open.
        function colourDialog(item) {
            const search = o => o && (o.objectName === "colorDialog" ? o
                : Array.prototype.reduce.call(o.data || o.resources || [], (r, c) => r || search(c), null)
                  || (o.item ? search(o.item) : null));
            tryVerify(() => search(item) && search(item).visible, 60000, "colour dialog of " + item.title);
            return search(item);
        }

        function test_exitButtonOnlyOnDeviceTab() {
            const button = at("quitButton");
            compare(button.visible, false);
            mouseClick(at("tab1"));
            tryCompare(button, "visible", true);
            compare(button.mapToItem(page, 0, button.height).y, page.height);
            mouseClick(button);
            compare($developerModeController.quitCount, 1);
            compare(calls(), []);
            mouseClick(at("tab0"));
            tryCompare(button, "visible", false);
        }

        function test_missingKeysShowDefaults() {
            $developerModeController.reset({});
            compare(at("enableWatermark").checked, false);
            compare(at("enableSecondCameraWindow").checked, false);
            compare(at("rollbackFrame").value, 0);
            for (let n = 1; n <= 6; ++n) {
                compare(at("section_" + n).weight, -999999);
                verify(Qt.colorEqual(at("section_" + n).color, "red"), "section " + n);
            }
        }
    }
}
