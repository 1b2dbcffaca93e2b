// The menu of the texts that can be edited or selected.
import QtQuick
import QtQuick.Templates as T
import QtTest
import Lumamon
import Surroundings

Item {
    id: root

    width: 700
    height: 900

    ViewTest {
        name: "Menu"
        stage: root

        function description() {
            return control("Please tell us what led to the error (required)");
        }

        function entries() {
            return drawn(root.Window.window.contentItem).filter(item => item instanceof T.MenuItem);
        }

        // By both keys and by the right button.
        function test_the_menu() {
            showForm();
            Pasteboard.setText("none");
            type("one");
            const texts = ["Cut", "Copy", "Paste", "Select all"];
            const choose = (open, entry, able) => {
                open();
                tryVerify(() => entries().length === 4);
                compare(entries().map(item => item.text), texts);
                compare(entries().filter(item => item.enabled).map(item => item.text), able);
                for (let i = 0; i <= able.indexOf(entry); ++i)
                    keyClick(Qt.Key_Down);
                verify(entries().find(item => item.text === entry).highlighted);
                keyClick(Qt.Key_Return);
                tryVerify(() => entries().length === 0);
                description().forceActiveFocus();
            };
            choose(() => keyClick(Qt.Key_Menu), "Select all", ["Paste", "Select all"]);
            compare(description().selectedText, "one");
            choose(() => keyClick(Qt.Key_F10, Qt.ShiftModifier), "Cut", texts);
            compare(view.feedbackText, "");
            choose(() => mouseClick(description(), 50, 40, Qt.RightButton), "Paste", ["Paste"]);
            compare([view.feedbackText, description().cursorPosition], ["one", 3]);
            // What is selected stays so under the button.
            description().selectAll();
            choose(() => mouseClick(description(), 20, 10, Qt.RightButton), "Copy", texts);
            compare(Pasteboard.text(), "one");
            keyClick(Qt.Key_Menu);
            tryVerify(() => entries().length === 4);
            keyClick(Qt.Key_Escape);
            tryVerify(() => entries().length === 0);
            compare(view.feedbackText, "one");
        }
    }
}
