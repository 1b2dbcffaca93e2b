// The form: what its boxes take, what they say, and how the keyboard goes through them.
import QtQuick
import QtTest
import Lumamon
import Surroundings

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
            const before = description().height;
            const longest = "x\n".repeat(1000);
            view.changeFeedback(longest);
            description().cursorPosition = 2000;
            type("y");
            compare([view.feedbackText, description().text], [longest, longest]);
            compare(description().cursorPosition, 2000);
            waitForRendering(root);
            compare(description().height, before);
            verify(description().contentHeight > before);
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
            // A screen reader writes past both.
            for (const box of [description(), address()]) {
                const text = box.text;
                box.text = "written";
                compare(box.text, text);
            }
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

        // Each row: box, what it holds, where the caret is, what is put in, and both afterwards.
        function test_the_caret_stays_where_the_text_went_in() {
            showForm();
            const most = "x".repeat(1990) + "y".repeat(10);
            for (const [box, text, at, added, after, caret] of [
                     [address(), "ab.de", 2, " ", "ab.de", 2], [address(), "a.de", 1, " @ b\nc ", "a@bc.de", 4],
                     [address(), "x".repeat(40), 3, " y ", "xxxy" + "x".repeat(36), 4],
                     [address(), "", 0, "someone@brennic.example\n", "someone@brennic.example", 23],
                     [description(), most, 5, "\u00E9", "xxxxx\u00E9" + most.slice(5, -1), 6],
                     [description(), most, 2000, "z", most, 2000],
                     [description(), "x".repeat(1999), 1, "\u{1F469}\u200D\u{1F680}".repeat(2),
                      "x" + "\u{1F469}\u200D\u{1F680}".repeat(2) + "x".repeat(1997), 11]]) {
                box === address() ? view.changeEmail(text) : view.changeFeedback(text);
                box.cursorPosition = at;
                box.insert(at, added);
                compare([box.text, box.cursorPosition], [after, Math.min(caret, box.length)], added);
                compare(box === address() ? view.emailText : view.feedbackText, after);
            }
        }

        // Nor does the box scroll when a character is dropped.
        function test_the_caret_is_in_sight_and_the_rest_keeps_its_place() {
            showForm();
            view.changeFeedback("x\n".repeat(1000));
            const seen = () => description().cursorRectangle.y;
            description().cursorPosition = 1000;
            verify(seen() >= 0 && seen() + description().cursorRectangle.height <= description().height);
            const before = [seen(), description().contentY];
            type("y");
            compare([seen(), description().contentY], before);
            const bar = drawn(root).find(item => item instanceof PageScrollBar);
            mousePress(bar, 6, bar.height / 2);
            mouseMove(bar, 6, 0);
            mouseRelease(bar, 6, 0);
            verify(description().contentY < before[1]);
            mouseWheel(description(), 50, 40, 0, -60000);
            compare(description().contentY, description().extent - description().height);
            Touchpad.scroll(description(), 7);
            compare(description().contentY, description().extent - description().height - 7);
            keyClick(Qt.Key_Home, Qt.ControlModifier);
            compare(description().contentY, 0);
        }

        function test_a_paste_replaces_what_is_selected_in_one_step() {
            showForm();
            type("first");
            Pasteboard.setText("second");
            shortest = 99;
            keyClick(Qt.Key_A, Qt.ControlModifier);
            keyClick(Qt.Key_V, Qt.ControlModifier);
            compare([view.feedbackText, description().cursorPosition, shortest], ["second", 6, 6]);
            keyClick(Qt.Key_Z, Qt.ControlModifier);
            compare(view.feedbackText, "first");
        }

        // Of the texts that the rules have seen.
        property int shortest: 0
        property int longest: 0
        readonly property string written: view?.feedbackText ?? ""
        onWrittenChanged: {
            longest = Math.max(longest, written.length);
            shortest = Math.min(shortest, written.length);
        }

        // However much it is, only so much gets in; and never into a text that is fixed.
        function test_a_huge_text_is_cut_before_it_is_pasted() {
            showForm();
            longest = 0;
            Pasteboard.setText("x\n".repeat(2500000));
            type("abc");
            keyClick(Qt.Key_Left);
            keyClick(Qt.Key_V, Qt.ControlModifier);
            compare(view.feedbackText, "ab" + "x\n".repeat(999));
            compare([longest, description().cursorPosition], [2003, 2000]);
            // One character, and no end.
            Pasteboard.setText("x" + "\u0301".repeat(2500000));
            keyClick(Qt.Key_A, Qt.ControlModifier);
            keyClick(Qt.Key_V, Qt.ControlModifier);
            compare(view.feedbackText, "ab" + "x\n".repeat(999), "what cannot get in removes nothing");
            type("x");
            view.isFeedbackEmailLayoutDisabled = true;
            Pasteboard.setText("y");
            keyClick(Qt.Key_V, Qt.ControlModifier);
            compare(view.feedbackText, "x");
        }
    }
}
