import QtQuick 2.15
import QtQuick.Controls 2.15
import QtTest 1.15
import "../../../src/DeveloperMode/views"

// The developer-mode page with its two tabs against the recording stand-in
// "$developerModeController": every row, its key and its call, the master
// rule of "读图存图", the fields and the exit button.
Item {
    id: root

    readonly property var settings: ({
            "enableScanDistanceValue": false, "enableSecondCameraWindow": true, "enableSaveReadImage": true,
            "enableReadCaliImage": true, "enableSaveCaliImage": false, "enableReadScanImage": true,
            "enableSaveScanImage": true, "enableSaveScanImage_GrayPic": false,
            "enableSaveScanImage_ColorPic": true, "enablePseudoColor": true,
            "pseudo_color_section_1": 0.30000000000000004, "pseudo_color_section_2": 20,
            "pseudo_color_section_3": 30, "pseudo_color_section_4": 40, "pseudo_color_section_5": 50,
            "pseudo_color_section_6": 60, "pseudo_color_bound_1": "#ff0000", "pseudo_color_bound_2": "#00ff00",
            "pseudo_color_bound_3": "#0000ff", "pseudo_color_bound_4": "#ffff00",
            "pseudo_color_bound_5": "#00ffff", "pseudo_color_bound_6": "#ff00ff",
            "rollbackFrame": 5, "enableWatermark": false
        })

    width: 600
    height: 400

    Component { id: pageComponent; DeveloperModeView {} }

    TestCase {
        id: test

        name: "DeveloperModeView"
        when: windowShown

        property var page: null

        function init() {
            $developerModeController.reset(root.settings);
            page = createTemporaryObject(pageComponent, root);
            verify(page);
            waitForRendering(page);
        }

        function callList() {
            return $developerModeController.calls.map(c => c.key + "=" + c.value);
        }

        function tab(index) {
            return findChild(page, "tab" + index);
        }

        function row(name) {
            const item = findChild(page, name);
            verify(item, "no row " + name);
            return item;
        }

        function header(multi) {
            return findChild(multi, "header");
        }

        // A click on a section's header beside its switch.
        function toggleSection(multi) {
            const bar = header(multi);
            const column = findChild(multi, "childColumn");
            const wasVisible = column.visible;
            mouseClick(bar, 5, bar.height / 2);
            // Layouts place their rows when polished, before the next frame.
            if (column.visible !== wasVisible)
                waitForRendering(page);
        }

        // Scrolls the first tab so that item is inside the visible area.
        function reveal(item) {
            const flickable = findChild(page, "basicFlickable");
            const y = item.mapToItem(flickable.contentItem, 0, 0).y;
            const contentY = Math.max(0, Math.min(y - 40, flickable.contentHeight - flickable.height));
            if (contentY !== flickable.contentY) {
                flickable.contentY = contentY;
                waitForRendering(flickable);
            }
        }

        function test_page() {
            compare(page.width, 600);
            compare(page.height, 400);
            compare(page.title, "开发者模式");
            verify(Qt.colorEqual(page.background.color, "#434349"));
            compare(tab(0).text, "基本配置");
            compare(tab(1).text, "设备相关");
            compare(findChild(page, "quitButton").text, "退出开发者模式");
            compare(findChild(page, "basicFlickable").clip, true);
            compare(findChild(page, "deviceFlickable").clip, true);
        }

        function test_rows_data() {
            return [
                {tag: "scan distance", name: "enableScanDistanceValue", title: "扫描距离值", tab: 0},
                {tag: "second camera", name: "enableSecondCameraWindow", title: "视频流第二窗口", tab: 0},
                {tag: "read and save images", name: "enableSaveReadImage", title: "读图存图", tab: 0},
                {tag: "pseudo colour", name: "enablePseudoColor", title: "伪彩色", tab: 0},
                {tag: "rollback", name: "rollbackFrame", title: "回退帧数", tab: 0},
                {tag: "watermark", name: "enableWatermark", title: "开发者模式禁止演示水印", tab: 1}
            ];
        }

        // Top-level rows: title, bound state, and one call with the negated
        // state per click for the switches; switching "读图存图" on (and only
        // that) also switches its six children off.
        function test_rows(data) {
            mouseClick(tab(data.tab));
            const item = row(data.name);
            compare(item.title, data.title);
            if (data.name === "rollbackFrame") {
                compare(findChild(item, "valueField").text, "5");
                return;
            }
            const before = root.settings[data.name];
            compare(item.checked, before);
            const track = findChild(header(item) || item, "track");
            mouseClick(track);
            compare(item.checked, !before);
            mouseClick(track);
            compare(item.checked, before);
            const expected = [];
            for (const on of [!before, before]) {
                expected.push(data.name + "=" + on);
                if (on && data.name === "enableSaveReadImage")
                    expected.push("enableReadCaliImage=false", "enableSaveCaliImage=false",
                                  "enableReadScanImage=false", "enableSaveScanImage=false",
                                  "enableSaveScanImage_GrayPic=false", "enableSaveScanImage_ColorPic=false");
            }
            compare(callList(), expected);
            compare($developerModeController.calls[0].type, "bool");
        }

        function test_switchFollowsOnlyTheController() {
            $developerModeController.storesValues = false;
            const item = row("enableScanDistanceValue");
            mouseClick(findChild(item, "track"));
            mouseClick(findChild(item, "track"));
            // Neither click flipped the switch, so both asked for "on".
            compare(callList(), ["enableScanDistanceValue=true", "enableScanDistanceValue=true"]);
            compare(item.checked, false);
        }

        function test_childRows_data() {
            return [
                {tag: "read calibration", name: "enableReadCaliImage", title: "标定读图"},
                {tag: "save calibration", name: "enableSaveCaliImage", title: "标定存图"},
                {tag: "read scan", name: "enableReadScanImage", title: "扫描读图"},
                {tag: "save scan", name: "enableSaveScanImage", title: "扫描存图-总开关"},
                {tag: "save scan grey", name: "enableSaveScanImage_GrayPic", title: "扫描存图-黑白"},
                {tag: "save scan colour", name: "enableSaveScanImage_ColorPic", title: "扫描存图-纹理"}
            ];
        }

        function test_childRows(data) {
            const settings = root.settings;
            const master = row("enableSaveReadImage");
            const child = row(data.name);
            toggleSection(master);
            compare(child.visible, true);
            compare(child.title, data.title);
            compare(child.checked, settings[data.name]);
            reveal(child);
            mouseClick(findChild(child, "track"));
            compare(callList(), [data.name + "=" + !settings[data.name]]);
            compare(child.checked, !settings[data.name]);
        }

        function test_masterSwitchedOffKeepsChildren() {
            const master = row("enableSaveReadImage");
            toggleSection(master);
            compare(row("enableReadCaliImage").visible, true);
            mouseClick(findChild(header(master), "track"));
            compare(callList(), ["enableSaveReadImage=false"]);
            compare(row("enableReadCaliImage").visible, false);
            compare($developerModeController.config.enableReadCaliImage, true);
            compare($developerModeController.config.enableSaveScanImage_ColorPic, true);

            // On again: collapsed, and every child starts from off.
            mouseClick(findChild(header(master), "track"));
            compare(row("enableReadCaliImage").visible, false);
            toggleSection(master);
            for (const name of ["enableReadCaliImage", "enableReadScanImage", "enableSaveScanImage",
                                "enableSaveScanImage_ColorPic"])
                compare(row(name).checked, false, name);
        }

        function test_collapsedSectionUnreachable() {
            const master = row("enableSaveReadImage");
            const child = row("enableReadCaliImage");
            const below = master.mapToItem(root, 0, master.height + 20);
            compare(child.visible, false);
            // Where the first child would be, the next row is.
            mouseClick(root, root.width - 60, below.y);
            for (const c of $developerModeController.calls)
                verify(c.key !== "enableReadCaliImage", "collapsed child reached");
            compare(findChild(master, "childColumn").visible, false);
        }

        // The six weights and the rollback frame: one more digit typed at the
        // end reaches the controller as a number of the field's kind.
        function test_typedNumbers_data() {
            const rows = [{tag: "rollback", name: "rollbackFrame", field: "valueField", text: "52", type: "int"}];
            for (let n = 1; n <= 6; ++n)
                rows.push({tag: "section-" + n, n: n, name: "pseudo_color_section_" + n, field: "weightField",
                           text: n === 1 ? "0.35" : String(n * 100 + 5), type: "double"});
            return rows;
        }

        function test_typedNumbers(data) {
            const bar = row(data.n ? "section_" + data.n : data.name);
            const field = findChild(bar, data.field);
            if (data.n) {
                toggleSection(row("enablePseudoColor"));
                compare(bar.visible, true);
                compare(bar.title, "section-" + data.n);
                compare(field.text, data.n === 1 ? "0.3" : String(data.n * 10));
                verify(Qt.colorEqual(findChild(bar, "swatch").color, root.settings["pseudo_color_bound_" + data.n]));
            }
            reveal(bar);
            mouseClick(field);
            keyClick(Qt.Key_End);
            keyClick(data.n ? Qt.Key_5 : Qt.Key_2);
            keyClick(Qt.Key_Return);
            compare(callList(), [data.name + "=" + data.text]);
            compare($developerModeController.calls[0].type, data.type);
            // The stored value comes back through the binding.
            compare(field.text, data.text);
        }

        // The dialog opens on the colour's text or its swatch, starts from
        // the section's colour, and the swatch waits for the stored value.
        function test_sectionColour() {
            const section = row("section_3");
            toggleSection(row("enablePseudoColor"));
            reveal(section);
            $developerModeController.storesValues = false;
            mouseClick(findChild(section, "colorText"));
            const dialog = Array.prototype.find.call(section.data, o => o.objectName === "colorDialog");
            verify(dialog);
            tryCompare(dialog, "visible", true);
            verify(Qt.colorEqual(dialog.color, "#0000ff"));
            dialog.currentColor = "#123456";
            dialog.accept();
            compare(callList(), ["pseudo_color_bound_3=#123456"]);
            compare($developerModeController.calls[0].type, "QColor");
            verify(Qt.colorEqual(findChild(section, "swatch").color, "#0000ff"));

            $developerModeController.storesValues = true;
            mouseClick(findChild(section, "swatch"));
            tryCompare(dialog, "visible", true);
            dialog.currentColor = "#654321";
            dialog.accept();
            verify(Qt.colorEqual(findChild(section, "swatch").color, "#654321"));
        }

        function test_exitButtonOnlyOnDeviceTab() {
            const button = findChild(page, "quitButton");
            compare(button.visible, false);
            mouseClick(tab(1));
            tryCompare(button, "visible", true);
            compare(button.width, page.width);
            compare(button.mapToItem(page, 0, button.height).y, page.height);
            mouseClick(button);
            compare($developerModeController.quitCount, 1);
            compare(callList(), []);
            mouseClick(tab(0));
            tryCompare(button, "visible", false);
            compare($developerModeController.quitCount, 1);
        }

        function test_missingKeysShowDefaults() {
            $developerModeController.reset({});
            page = createTemporaryObject(pageComponent, root);
            compare(row("enableWatermark").checked, false);
            compare(row("enableScanDistanceValue").checked, false);
            compare(row("rollbackFrame").value, 0);
            compare(row("section_2").weight, -999999);
        }
    }
}
