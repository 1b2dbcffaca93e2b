// The alerts: one at a time, and worked by keys.
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

    Alerts {
        id: others
    }

    AlertPresentation {
        id: alert

        view: state
        alerts: others
    }

    TestCase {
        id: test

        name: "Alerts"
        when: windowShown

        function texts(item) {
            let result = [];
            for (let i = 0; i < item.children.length; ++i) {
                const child = item.children[i];
                if (!child.visible)
                    continue;
                if (child instanceof BodyText)
                    result.push(child.text);
                result = result.concat(texts(child));
            }
            return result;
        }

        function shown() {
            tryVerify(() => alert.opened);
            return texts(alert.contentItem);
        }

        function init() {
            verify(!alert.visible);
        }

        function cleanup() {
            state.showAlert = false;
            while (others.isUp)
                others.dismiss();
            tryVerify(() => !alert.visible);
        }

        function test_too_large() {
            state.activeAlert = ContentView.ActiveAlert.fileSize;
            state.showAlert = true;
            compare(shown(), ["File Size Error", "The total file size should not exceed 10 MB.", "OK"]);
            keyClick(Qt.Key_Return);
            verify(!state.showAlert);
        }

        function test_replace() {
            state.activeAlert = ContentView.ActiveAlert.replaceFile;
            state.fileExistsAlertMessage = "File a.png already exists. Do you want to replace it?";
            state.showAlert = true;
            compare(shown(), ["Confirm Replace", "File a.png already exists. Do you want to replace it?", "Replace",
                              "Cancel"]);
            keyClick(Qt.Key_Escape);
            verify(!state.showAlert);
        }

        // What cannot be undone is not what Return does.
        function test_cancel_has_the_keyboard() {
            state.activeAlert = ContentView.ActiveAlert.replaceFile;
            state.showAlert = true;
            shown();
            const focused = () => root.Window.activeFocusItem.text;
            compare(focused(), "Cancel");
            keyClick(Qt.Key_Backtab);
            compare(focused(), "Replace");
            keyClick(Qt.Key_Tab);
            compare(focused(), "Cancel");
            keyClick(Qt.Key_Return);
            verify(!state.showAlert);
        }

        function test_none_chosen() {
            state.activeAlert = ContentView.ActiveAlert.noAlert;
            state.showAlert = true;
            compare(shown(), ["Error", "An unknown error occurred.", "OK"]);
        }

        function test_others_come_one_after_the_other() {
            others.present("First", "One", "OK");
            others.present("Second", "Two", "Fine");
            compare(shown(), ["First", "One", "OK"]);
            keyClick(Qt.Key_Escape);
            compare(shown(), ["Second", "Two", "Fine"]);
            keyClick(Qt.Key_Space);
            tryVerify(() => !alert.visible);
        }

        function test_the_form_goes_first() {
            others.present("Other", "One", "OK");
            state.activeAlert = ContentView.ActiveAlert.fileSize;
            state.showAlert = true;
            compare(shown()[0], "File Size Error");
            keyClick(Qt.Key_Escape);
            compare(shown()[0], "Other");
        }
    }
}
