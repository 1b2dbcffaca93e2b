// The window's own file panel: by keys and by the pointer.
import QtQuick
import QtTest
import Lumamon
import Surroundings

Item {
    id: root

    width: 700
    height: 600

    FilePanel {
        id: panel
    }

    ViewTest {
        name: "FilePanel"
        stage: root

        property string here

        function init() {
            here = Folder.make(["b.PNG", "A.pdf", "c d%.docx", "E.jpg", "no.exe", ".hidden.png", "z/in.png", "Y/1.gif"]);
            panel.folder.open(here);
            ContentView.isFilePickerPresented = ContentView.isFilePanelVisible = true;
            tryVerify(() => panel.opened);
            tryVerify(() => rows().length === 6);
            wait(2 * Application.styleHints.mouseDoubleClickInterval);
        }

        function cleanup() {
            ContentView.isFilePanelVisible = false;
            tryVerify(() => !panel.visible);
        }

        function rows() {
            return drawn(panel.contentItem).filter(item => item instanceof Toggle);
        }

        function scrollBar() {
            return drawn(panel.contentItem).find(item => item instanceof PageScrollBar);
        }

        function button(caption) {
            return drawn(panel.contentItem).find(item => item instanceof Pressable && item.text.startsWith(caption));
        }

        function test_files_are_checked_by_keys() {
            compare(rows().map(row => row.text), ["Y/", "z/", "A.pdf", "b.PNG", "c d%.docx", "E.jpg"]);
            compare(rows().map(row => row.Accessible.role === Accessible.Button), [true, true, false, false, false, false]);
            verify(!button("Attach").enabled);
            keyClick(Qt.Key_Down);
            // A folder has no box to show that it has the keyboard.
            compare(drawn(panel.contentItem).filter(item => item instanceof FocusRing).length, 1);
            keyClick(Qt.Key_Down);
            keyClick(Qt.Key_Space);
            compare(button("Attach").text, "Attach");
            keyClick(Qt.Key_Down);
            keyClick(Qt.Key_Return);
            compare(button("Attach").text, "Attach 2 files");
            keyClick(Qt.Key_Down);
            keyClick(Qt.Key_Space);
            wait(2 * Application.styleHints.mouseDoubleClickInterval);
            keyClick(Qt.Key_Space);
            compare(rows().map(row => row.checked), [false, false, true, true, false, false]);
            compare(panel.picked, [here + "/A.pdf", here + "/b.PNG"]);
            keyClick(Qt.Key_Escape);
            verify(!ContentView.isFilePickerPresented);
        }

        function test_a_long_list_scrolls() {
            verify(!scrollBar());
            panel.folder.open(Folder.make(Array.from({ length: 60 }, (_, number) => `${100 + number}.png`)));
            tryVerify(() => scrollBar());
            mouseWheel(rows()[2], 9, 9, 0, -120);
            verify(scrollBar().position > 0);
            Touchpad.scroll(rows()[2], -6000);
            tryVerify(() => rows().pop().text === "159.png");
            mousePress(scrollBar(), 6, scrollBar().height - 9);
            mouseMove(scrollBar(), 6, 0);
            mouseRelease(scrollBar(), 6, 0);
            tryVerify(() => rows()[0].text === "100.png");
        }

        function test_folders_are_opened_by_the_pointer() {
            mouseClick(button("Cancel"));
            verify(!ContentView.isFilePickerPresented);
            tryVerify(() => !panel.visible);
            ContentView.isFilePanelVisible = true;
            tryCompare(panel, "opened", true);
            // A second click in the same place would check the file that is there now.
            const row = rows()[1];
            mouseClick(row);
            tryVerify(() => rows().length === 1 && rows()[0].text === "in.png");
            mouseClick(rows()[0]);
            verify(!rows()[0].checked);
            wait(2 * Application.styleHints.mouseDoubleClickInterval);
            mouseClick(rows()[0]);
            verify(rows()[0].checked);
            mouseClick(button("Parent folder"));
            tryVerify(() => rows().length === 6);
            compare(button("Attach").text, "Attach");
            mouseClick(button("Attach"));
            verify(!ContentView.isFilePickerPresented);
            compare(panel.picked, []);
        }
    }
}
