// The form: what its boxes take, what they say, and how the keyboard goes through them.
import QtQuick
import QtTest
import Lumamon

Item {
    id: root

    width: 700
    height: 900

    ViewTest {
        id: form

        name: "Form"
        stage: root

        function description() {
            return control("Please tell us what led to the error (required)");
        }

        function address() {
            return control("Brennic can contact me for fixes at the following email address (optional)");
        }

        function frameColor(box) {
            let item = box;
            while (!(item instanceof BoxFrame))
                item = item.parent;
            return item.border.color;
        }

        // A blank at first is cleared; Shift+Return breaks the line; the cursor stays where it is.
        function test_typing_lets_share() {
            showForm();
            verify(description().activeFocus);
            compare(view.feedbackFormFocus, ContentView.Field.feedback);
            type(" ");
            compare(view.feedbackText + description().text, "");
            type("ac");
            keyClick(Qt.Key_Left);
            type("b");
            compare(description().cursorPosition, 2);
            keyClick(Qt.Key_Return, Qt.ShiftModifier);
            compare(view.feedbackText, "ab\nc");
            verify(description().activeFocus);
            verify(control("Share logs").enabled);
        }

        function test_an_emptied_description_is_asked_for() {
            showForm();
            type("x");
            keyClick(Qt.Key_Backspace);
            verify(!control("Share logs").enabled);
            compare(textItem("Desciption is required").color, colorOf("error"));
            verifyAnnounced("Desciption is required");
            compare(frameColor(description()), colorOf("error"));
            compare(description().Accessible.description, "Desciption is required");
            type("y");
            compare(textItem("Desciption is required"), null);
            compare(frameColor(description()), colorOf("Border"));
        }

        function test_keys_that_lead_to_the_address() {
            showForm();
            type("abc");
            for (const key of [Qt.Key_Tab, Qt.Key_Return, Qt.Key_Enter]) {
                description().forceActiveFocus();
                description().cursorPosition = 2;
                keyClick(key);
                compare([view.feedbackText, description().text], ["abc", "abc"]);
                verify(address().activeFocus);
                compare(view.feedbackFormFocus, ContentView.Field.email);
            }
        }

        function test_a_long_description_is_cut_and_scrolls() {
            showForm();
            const box = description().parent.parent;
            const before = box.height;
            const longest = "x\n".repeat(1000);
            view.changeFeedback(longest);
            description().cursorPosition = 2000;
            type("y");
            compare([view.feedbackText, description().text], [longest, longest]);
            compare(description().cursorPosition, 2000);
            waitForRendering(root);
            compare(box.height, before);
            verify(description().height > before);
        }

        function test_a_wrong_address_is_marked_and_does_not_hinder() {
            showForm();
            type("x");
            mouseClick(address());
            compare(view.feedbackFormFocus, ContentView.Field.email);
            // Spaces do not get into it.
            type("a @ b");
            compare([view.emailText, address().text], ["a@b", "a@b"]);
            compare(textItem("Invalid email address").color, colorOf("error"));
            compare(frameColor(address()), colorOf("error"));
            compare(address().Accessible.description, "Invalid email address");
            verifyAnnounced("Invalid email address");
            verify(control("Share logs").enabled);
            type(".de");
            compare(textItem("Invalid email address"), null);
            compare(frameColor(address()), colorOf("Border"));
            // Return leads back.
            keyClick(Qt.Key_Return);
            compare(view.emailText, "a@b.de");
            verify(description().activeFocus);
        }

        function test_while_it_is_shared_nothing_can_be_edited() {
            showForm();
            type("x");
            view.filesCountInDestination = 1;
            view.isFeedbackEmailLayoutDisabled = true;
            verify(description().readOnly && address().readOnly);
            verify(!control("Attach screenshot and pdf files").enabled && !control("Remove attached files").enabled);
            type("y");
            compare(view.feedbackText, "x");
            keyClick(Qt.Key_Tab);
            verify(!description().activeFocus);
            // Sharing takes the keyboard from the boxes.
            description().forceActiveFocus();
            view.feedbackFormFocus = ContentView.Field.noField;
            verify(!description().activeFocus);
            // The status line is there for as long as something runs.
            view.logLabel = "Uploading 57%";
            for (const isRunning of [true, false]) {
                view.isRunning = isRunning;
                compare([textItem("Uploading 57%") !== null, indicator() !== null], [isRunning, isRunning]);
            }
        }
    }
}
