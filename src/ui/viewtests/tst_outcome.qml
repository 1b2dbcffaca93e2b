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

        function test_the_log_id_stands_out() {
            showForm();
            const id = textItem(view.logId);
            compare([id.font.pixelSize, id.font.family, id.font.bold], [20, "BrennicClean-Bold", true]);
            compare(textItem("Logs generated successfully.").font.pixelSize, 18);
            compare(control("view logs").enabled, false);
            view.viewlogsButtonDisabled = false;
            compare(control("view logs").enabled, true);
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

        function test_the_failed_block_data() {
            return [{ tag: "none", error: ContentView.SecondaryError.none, line: [] },
                    { tag: "network", error: ContentView.SecondaryError.network,
                      line: ["Please ensure you have access to the internet."] },
                    { tag: "canceled", error: ContentView.SecondaryError.canceled, line: ["Upload cancelled."] }];
        }

        function test_the_failed_block(data) {
            fail();
            view.isSecondaryError = data.error;
            const texts = shownTexts();
            const from = texts.indexOf("Error sharing logs.");
            compare(texts.slice(from, from + 4 + data.line.length),
                    ["Error sharing logs."].concat(data.line, ["You can", "view the logs",
                                                               "and share it with us at"]));
            compare(textItem("Error sharing logs.").color, colorOf("error"));
            verifyAnnounced("Error sharing logs.");
            for (const line of data.line)
                verifyAnnounced(line);
            verify(control("view the logs").enabled);
            // Below the form.
            verify(texts.indexOf(view.feedbackLabel) < from);
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

        function test_close_ends_it_data() {
            return [{ tag: "pointer", press: button => mouseClick(button) },
                    { tag: "Return", press: () => keyClick(Qt.Key_Return) },
                    { tag: "Space", press: () => keyClick(Qt.Key_Space) }];
        }

        function test_close_ends_it(data) {
            finish();
            closed.target = view;
            closed.clear();
            data.press(control("Close"));
            compare(closed.count, 1);
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
