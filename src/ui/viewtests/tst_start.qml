// The window before and during the capture.
import QtQuick
import QtTest
import Lumamon

Item {
    id: root

    width: 700
    height: 900

    ViewTest {
        name: "Start"
        stage: root

        function test_the_ring_shows_for_the_keyboard_only() {
            const toggle = control("Advanced logs");
            mouseClick(toggle);
            verify(!toggle.visualFocus);
            keyClick(Qt.Key_Tab);
            verify(control("System apps information").visualFocus);
            const rings = drawn(root).filter(item => item instanceof FocusRing);
            compare(rings.length, 1);
            compare(rings[0].border.color, colorOf("LinkColor"));
            // A press that disables the button for a moment leaves it as it was.
            const button = control("Start diagnostics");
            view.startButtonLabel = "Nothing follows";
            for (const [press, ring] of [[() => keyClick(Qt.Key_Space), true], [() => mouseClick(button), false]]) {
                keyClick(Qt.Key_Backtab);
                button.forceActiveFocus(Qt.TabFocusReason);
                verify(button.visualFocus);
                press();
                view.primaryButtonDisabled = true;
                view.primaryButtonDisabled = false;
                verify(button.activeFocus);
                compare(button.visualFocus, ring);
            }
        }

        function test_toggles_rewrite_the_list() {
            mouseClick(control("System apps information"));
            verify(view.getInstalledApps);
            compare(shownTexts().slice(2, 6), [
                "BASIC LOGS", "• Lumadoc configuration, settings and logs\n• System configuration and settings",
                "ADVANCED LOGS", "• Full Lumadoc data dump\n• System apps version information"]);
            control("Advanced logs").forceActiveFocus();
            for (const [key, on] of [[Qt.Key_Space, true], [Qt.Key_Return, true], [Qt.Key_Enter, true],
                                     [Qt.Key_Space, false]]) {
                keyClick(key);
                compare(view.getSpinDump, on);
            }
            compare(shownTexts()[4], "Advanced logs");
        }

        // The toggles stay in their place: the pointer is still over the box that it has just worked.
        function test_the_columns_line_up() {
            const place = item => item.mapToItem(root, 0, 0);
            const before = place(control("Advanced logs"));
            mouseClick(control("Advanced logs"));
            mouseClick(control("System apps information"));
            waitForRendering(root);
            compare(place(control("Advanced logs")), before);
            const [left, right] = [textItem(shownTexts()[3]), textItem(shownTexts()[5])];
            compare([left.lineCount, right.lineCount], [2, 2]);
            compare([place(right).y, right.height], [place(left).y, left.height]);
            verify(place(right).x > place(left).x + left.contentWidth);
            const editor = control("Advanced logs").parent;
            verify(place(right).x + right.width <= place(editor).x + editor.width);
        }

        function test_capture_inverts_the_button() {
            reproduce();
            const button = control("Stop diagnostics");
            compare(button.background.color, colorOf("PrimaryTextColor"));
            compare(button.contentItem.color, colorOf("BackgroundColor"));
            compare(indicator(), null);
        }

        function test_running_shows_a_moving_bar() {
            reproduce();
            view.primaryButtonDisabled = true;
            view.isRunning = true;
            view.logLabel = "Capturing Lumadoc settings and logs.";
            verify(!control("Stop diagnostics").enabled);
            compare(shownTexts().pop(), "Capturing Lumadoc settings and logs.");
            verifyAnnounced("Capturing Lumadoc settings and logs.");
            const bar = indicator();
            const mark = bar.children[0];
            const before = mark.x;
            tryVerify(() => mark.x !== before);
            view.isAnimating = false;
            const still = mark.x;
            wait(50);
            compare(mark.x, still);
        }

        function test_fast_changes_are_announced_as_they_are_then() {
            view.logLabel = "Uploading 1%";
            tryVerify(() => announcements.includes("Uploading 1%"));
            for (let percent = 2; percent <= 20; ++percent) {
                view.logLabel = "Uploading " + percent + "%";
                wait(5);
            }
            tryVerify(() => announcements.includes("Uploading 20%"));
            compare(announcements.filter(text => text.startsWith("Uploading")), ["Uploading 1%", "Uploading 20%"]);
        }

        // Of the captions this one has the least to do: it leads back to sharing.
        function test_the_button_works_by_pointer_and_keys() {
            const button = control("Start diagnostics");
            button.forceActiveFocus();
            for (const press of [() => keyClick(Qt.Key_Return), () => keyClick(Qt.Key_Enter),
                                 () => keyClick(Qt.Key_Space), () => mouseClick(button)]) {
                view.startButtonLabel = "Stop upload";
                press();
                tryCompare(view, "startButtonLabel", "Share logs");
                // Two quick presses would be one.
                wait(2 * Application.styleHints.mouseDoubleClickInterval);
            }
        }

        function test_two_quick_presses_are_one_and_none_when_disabled_data() {
            const press = key => () => [key, key].forEach(each => keyClick(each));
            return [{ tag: "click", twice: () => mouseDoubleClickSequence(control("Stop upload")) },
                    { tag: "Return", twice: press(Qt.Key_Return) }, { tag: "Space", twice: press(Qt.Key_Space) },
                    { tag: "screen reader", twice: () => [1, 2].forEach(() => control("Stop upload").press()) }];
        }

        function test_two_quick_presses_are_one_and_none_when_disabled({ twice }) {
            view.startButtonLabel = "Stop upload";
            view.primaryButtonDisabled = true;
            mouseClick(control("Stop upload"));
            keyClick(Qt.Key_Return);
            wait(20);
            compare(view.startButtonLabel, "Stop upload");
            view.primaryButtonDisabled = false;
            control("Stop upload").forceActiveFocus();
            twice();
            tryCompare(view, "startButtonLabel", "Share logs");
            wait(20);
            // The second press would have asked for the description.
            verify(view.isInitialFocus);
        }
    }
}
