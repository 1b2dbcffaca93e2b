// The Log ID, the failed upload and the end.
import QtQuick
import QtTest
import Lumamon

Item {
    id: root

    width: 700
    height: 900

    ViewTest {
        name: "Outcome"
        stage: root

        function test_the_link_to_the_logs_follows_its_field() {
            showForm();
            verify(!control("view logs").enabled);
            view.viewlogsButtonDisabled = false;
            verify(control("view logs").enabled);
        }

        // It is underlined under the pointer.
        function test_copy_says_so() {
            showForm();
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

        function test_the_failed_block() {
            fail();
            for (const [error, lines] of [[ContentView.SecondaryError.none, []],
                                          [ContentView.SecondaryError.network,
                                           ["Please ensure you have access to the internet."]],
                                          [ContentView.SecondaryError.canceled, ["Upload cancelled."]]]) {
                view.isSecondaryError = error;
                // Below the form.
                const texts = shownTexts();
                compare(texts.slice(texts.indexOf("(Max 10 MB; Do not include any sensitive information)") + 1),
                        ["Error sharing logs.", ...lines, "You can", "view the logs", "and share it with us at"]);
                for (const line of ["Error sharing logs.", ...lines])
                    verifyAnnounced(line);
            }
            verify(control("view the logs").enabled);
        }

        function test_the_end_has_one_button() {
            finish();
            compare(shownTexts().slice(-2), ["The log files were sent successfully.", "Close"]);
            compare(drawn(root).filter(item => item instanceof WindowButton).length, 1);
            const close = control("Close");
            verify(close.activeFocus);
            verify(close instanceof ThickBorderButtonStyle);
            verifyAnnounced("The log files were sent successfully.");
        }

        SignalSpy {
            id: closed

            signalName: "closeRequested"
        }

        function test_close_ends_it() {
            finish();
            closed.target = view;
            closed.clear();
            mouseClick(control("Close"));
            keyClick(Qt.Key_Return);
            keyClick(Qt.Key_Space);
            compare(closed.count, 3);
        }

        function test_the_standalone_build_ends_at_the_log_id() {
            showForm();
            set({ logLabel: "", startButtonLabel: "Close", thickBorderButtonStyle: true, isCloseLayoutVisible: true,
                  isFeedbackEmailLayoutDisabled: true });
            verify(textItem(view.logId) !== null);
            verify(control("Please tell us what led to the error (required)").readOnly);
            verify(control("Close").enabled);
            compare(control("Share logs"), null);
        }
    }
}
