// The window's own file panel: by keys and by the pointer.
import QtQuick
import QtTest
import Lumamon

Item {
    id: root

    width: 700
    height: 600

    ContentView {
        id: state
    }

    FilePanel {
        id: panel

        view: state
    }

    ViewTest {
        name: "FilePanel"
        stage: root

        readonly property url here: Qt.resolvedUrl(".").toString().replace(/\/$/, "")

        function init() {
            panel.folder = here;
            panel.filters = ["tst_a*.qml", "ViewTest*"];
            state.isFilePickerPresented = state.isFilePanelVisible = true;
            tryVerify(() => panel.opened);
            tryVerify(() => rows().length === 4);
        }

        function cleanup() {
            state.isFilePanelVisible = false;
            tryVerify(() => !panel.visible);
        }

        function rows() {
            return drawn(panel.contentItem).filter(item => item instanceof Toggle);
        }

        function button(caption) {
            return drawn(panel.contentItem).find(item => item instanceof Pressable && item.text.startsWith(caption));
        }

        function test_files_are_checked_by_keys() {
            compare(rows().map(row => row.text), ["tst_alerts.qml", "tst_assets.qml", "ViewTest.qml", "ViewTests.cpp"]);
            verify(!button("Attach").enabled);
            keyClick(Qt.Key_Space);
            compare(button("Attach").text, "Attach");
            keyClick(Qt.Key_Down);
            keyClick(Qt.Key_Return);
            compare(button("Attach").text, "Attach 2 files");
            keyClick(Qt.Key_Down);
            keyClick(Qt.Key_Space);
            wait(2 * Application.styleHints.mouseDoubleClickInterval);
            keyClick(Qt.Key_Space);
            compare(rows().map(row => row.checked), [true, true, false, false]);
            compare(panel.picked, [here + "/tst_alerts.qml", here + "/tst_assets.qml"]);
            keyClick(Qt.Key_Escape);
            verify(!state.isFilePickerPresented);
        }

        function test_folders_are_opened_by_the_pointer() {
            mouseClick(button("Cancel"));
            verify(!state.isFilePickerPresented);
            tryVerify(() => !panel.visible);
            panel.filters = ["Main.qml"];
            state.isFilePanelVisible = true;
            panel.folder = Qt.resolvedUrl("..").toString().replace(/\/$/, "");
            const folders = ["assets/", "qml/", "viewtests/"];
            tryCompare(panel, "opened", true);
            tryVerify(() => rows().length === 3);
            compare(rows().map(row => row.text), folders);
            // A folder has no box to show that it has the keyboard.
            keyClick(Qt.Key_Down);
            compare(drawn(panel.contentItem).filter(item => item instanceof FocusRing).length, 1);
            // A second click in the same place would check the file that is there now.
            const row = rows()[1];
            mouseClick(row);
            tryVerify(() => rows().length === 1 && rows()[0].text === "Main.qml");
            mouseClick(rows()[0]);
            verify(!rows()[0].checked);
            wait(2 * Application.styleHints.mouseDoubleClickInterval);
            mouseClick(rows()[0]);
            verify(rows()[0].checked);
            mouseClick(button("Parent folder"));
            tryVerify(() => rows().length === 3);
            compare(button("Attach").text, "Attach");
            mouseClick(button("Attach"));
            verify(!state.isFilePickerPresented);
            compare(panel.picked, []);
        }
    }
}
