// The alerts: one at a time, and worked by keys.
import QtQuick
import QtTest
import Lumamon

Item {
    id: root

    width: 700
    height: 600

    AlertPresentation {
        id: alert
    }

    Component {
        id: windowComponent

        Main {}
    }

    ViewTest {
        name: "Alerts"
        stage: root

        function shown() {
            tryVerify(() => alert.opened);
            return drawn(alert.contentItem).filter(item => item instanceof BodyText || item instanceof EditableText)
                .map(item => item.text);
        }

        // Two quick presses are one.
        function ask(kind) {
            wait(Application.styleHints.mouseDoubleClickInterval + 50);
            ContentView.activeAlert = kind;
            ContentView.showAlert = true;
        }

        function init() {
            verify(!alert.visible);
        }

        function cleanup() {
            ContentView.showAlert = false;
            while (Alerts.isUp)
                Alerts.dismiss();
            tryVerify(() => !alert.visible);
        }

        function test_alerts_of_the_form() {
            ContentView.fileExistsAlertMessage = "File a.png already exists.";
            const replace = ["Confirm Replace", "File a.png already exists.", "Replace", "Cancel"];
            for (const [kind, key, texts] of [
                     [ContentView.ActiveAlert.fileSize, Qt.Key_Return,
                      ["File Size Error", "The total file size should not exceed 10 MB.", "OK"]],
                     [ContentView.ActiveAlert.replaceFile, Qt.Key_Escape, replace],
                     // What cannot be undone is not what Return does.
                     [ContentView.ActiveAlert.replaceFile, Qt.Key_Return, replace],
                     [ContentView.ActiveAlert.noAlert, Qt.Key_Space, ["Error", "An unknown error occurred.", "OK"]]]) {
                ask(kind);
                compare(shown(), texts);
                const focused = () => root.Window.activeFocusItem.text;
                compare(focused(), texts[texts.length - 1]);
                if (texts.includes("Replace")) {
                    keyClick(Qt.Key_Backtab);
                    compare(focused(), "Replace");
                    keyClick(Qt.Key_Tab);
                }
                keyClick(key);
                verify(!ContentView.showAlert);
                tryVerify(() => !alert.visible);
            }
        }

        function test_the_button_of_the_next_alert_has_the_keyboard() {
            Alerts.present("First", "One", "OK");
            ask(ContentView.ActiveAlert.replaceFile);
            shown();
            keyClick(Qt.Key_Backtab);
            compare(root.Window.activeFocusItem.text, "Replace");
            keyClick(Qt.Key_Return);
            compare(shown(), ["First", "One", "OK"]);
            compare(root.Window.activeFocusItem.text, "OK");
        }

        // As long as they get: six files with long names.
        function test_a_list_of_files_fits_the_smallest_window() {
            Alerts.present("Files Not Attached", `${"W".repeat(60)}: Pipes and devices cannot be attached\n`.repeat(6)
                           + "and 2 more", "OK");
            compare(shown().length, 3);
            verify(alert.height <= 576 - 48, alert.height);
            keyClick(Qt.Key_Escape);
        }

        function test_a_message_can_be_copied() {
            Alerts.present("Not Opened", "Write to:\nsomeone@brennic.example", "OK");
            const message = () => drawn(alert.contentItem).find(item => item instanceof EditableText);
            compare(shown()[1], message().text);
            settle();
            const place = message().positionToRectangle(message().text.indexOf("someone"));
            mouseDoubleClickSequence(message(), place.x + 4, place.y + 4);
            compare(message().selectedText, "someone");
            keyClick(Qt.Key_A, Qt.ControlModifier);
            compare(message().selectedText, message().text);
            verify(message().activeFocus);
            keyClick(Qt.Key_Tab);
            compare(root.Window.activeFocusItem.text, "OK");
            keyClick(Qt.Key_Backtab);
            verify(message().activeFocus);
            keyClick(Qt.Key_Escape);
        }

        function test_others_come_after_the_forms() {
            Alerts.present("First", "One", "OK");
            Alerts.present("Second", "Two", "Fine");
            ask(ContentView.ActiveAlert.fileSize);
            compare(shown()[0], "File Size Error");
            announcements = [];
            keyClick(Qt.Key_Escape);
            compare(shown(), ["First", "One", "OK"]);
            tryCompare(announcements, "length", 1);
            compare(announcements, ["One"]);
            keyClick(Qt.Key_Return);
            compare(shown(), ["Second", "Two", "Fine"]);
            keyClick(Qt.Key_Return);
            compare(shown(), ["Second", "Two", "Fine"], "the second of two quick presses");
            wait(Application.styleHints.mouseDoubleClickInterval + 50);
            keyClick(Qt.Key_Space);
            tryVerify(() => !alert.visible);
        }

        function test_the_keyboard_goes_back_after_an_alert() {
            ContentView.isFeedbackLayoutVisible = true;
            const window = createTemporaryObject(windowComponent, root);
            window.requestActivate();
            const control = () => drawn(window.contentItem).find(
                item => item.text === "Attach screenshot and pdf files" && item.activeFocusOnTab);
            tryVerify(() => control() !== undefined);
            const attach = control();
            attach.forceActiveFocus(Qt.TabFocusReason);
            ask(ContentView.ActiveAlert.fileSize);
            tryVerify(() => !attach.activeFocus);
            ContentView.answerAlert(false);
            tryVerify(() => attach.activeFocus);
            ContentView.isFeedbackLayoutVisible = false;
        }
    }
}
