// The Log ID, the failed upload and the end.
import QtQuick
import QtTest
import Lumamon
import Surroundings

Item {
    id: root

    width: 700
    height: 900

    ViewTest {
        name: "Outcome"
        stage: root

        // It is underlined under the pointer.
        function test_the_log_id() {
            showForm();
            set({ isSampleMissing: true });
            verifyAnnounced("The advanced logs have no data dump of Lumadoc.");
            view.viewlogsButtonDisabled = false;
            verify(control("view logs").enabled);
            const copy = control("Copy ID");
            verify(!copy.contentItem.font.underline);
            mouseMove(copy, copy.width / 2, copy.height / 2);
            tryVerify(() => view.isCopyHovering);
            verify(copy.contentItem.font.underline);
            mouseMove(root, 1, 1);
            tryVerify(() => !view.isCopyHovering);
            mouseClick(copy);
            compare(view.CopyText, "ID Copied!");
            verify(control("ID Copied!") !== null);
        }

        function test_the_log_id_is_selected_by_pointer_and_keys() {
            showForm();
            const id = control("Log ID");
            id.content = "0a1b2c3d-aaaa";
            mouseDrag(id, 2, id.height / 2, id.width, 0);
            compare(id.selectedText, id.text);
            for (const select of [() => {}, () => keyClick(Qt.Key_A, Qt.ControlModifier)]) {
                Pasteboard.setText("");
                select();
                keyClick(Qt.Key_C, Qt.ControlModifier);
                compare(Pasteboard.text(), id.text);
                id.deselect();
            }
            keyClick(Qt.Key_X);
            compare(id.text, "0a1b2c3d-aaaa");
            // As a screen reader writes it.
            id.text = "x";
            compare(id.text, "0a1b2c3d-aaaa");
            keyClick(Qt.Key_Tab);
            verify(control("Copy ID").activeFocus);
        }

        function test_the_failed_block() {
            fail();
            view.isSecondaryError = ContentView.SecondaryError.network;
            const texts = ["Error sharing logs.", "Please ensure you have access to the internet."];
            // Below the form.
            compare(shownTexts().slice(-6), [...texts, "You can", "view the logs", "and share it with us at",
                                             "lumadoc-support@brennic.example"]);
            texts.forEach(verifyAnnounced);
            verify(control("view the logs").enabled);
        }

        SignalSpy {
            id: closed

            signalName: "closeRequested"
        }

        function test_the_end_has_one_button() {
            finish();
            compare(shownTexts().slice(-2), ["The log files were sent successfully.", "Close"]);
            const close = control("Close");
            verify(close.activeFocus && close instanceof ThickBorderButtonStyle);
            closed.target = view;
            keyClick(Qt.Key_Space);
            compare(closed.count, 1);
        }
    }
}
