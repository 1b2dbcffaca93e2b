// The page keeps its place: whatever comes and goes, nothing moves under the pointer, overlaps or is cut off.
import QtQuick
import QtTest
import Lumamon

Item {
    id: root

    width: 680
    height: 756

    ViewTest {
        name: "Page"
        stage: root

        function primaryButton() {
            return control(view.startButtonLabel);
        }

        // The primary button, which is as wide as its caption, both boxes, the button below them and what is beside it.
        function places() {
            const items = drawn(root).filter(item => item instanceof BoxFrame || item === primaryButton());
            items.push(control("Attach screenshot and pdf files"),
                       textItem("(Max 10 MB; Do not include any sensitive information)"));
            return items.map(item => item.mapToItem(root, 0, 0).y);
        }

        function frame(item) {
            return item.mapToItem(root, 0, 0, item.width, item.height);
        }

        function verifyWhole() {
            const shown = drawn(root).filter(item => (item instanceof BodyText && item.text.trim() !== "")
                                             || item instanceof AssetImage || item instanceof BoxFrame
                                             || item === control("Log ID"));
            for (const item of shown) {
                const { x, y, width, height } = frame(item);
                verify(x >= 0 && y >= 0 && x + width <= root.width && y + height <= root.height, item.text ?? item);
                verify(!item.truncated, item.text);
                for (const other of shown) {
                    const there = frame(other);
                    const apart = there.x >= x + width || there.x + there.width <= x || there.y >= y + height
                        || there.y + there.height <= y;
                    verify(item === other || apart, `${item.text ?? item} and ${other.text ?? other}`);
                }
            }
        }

        function test_in_every_order() {
            showForm();
            const before = places();
            for (const name of everyPair(Object.keys(states))) {
                states[name]();
                settle();
                compare(places(), before, name);
                verifyWhole();
                // With the margins of the window, which opens as high as this.
                verify(sections.children[0].implicitHeight + 48 <= root.height, name);
            }
            finish();
            verifyWhole();
        }

        // Where nothing is uploaded, the end is below the form; the window opens that high.
        function test_the_end_of_the_standalone_build() {
            showForm();
            set({ startButtonLabel: "Close", logLabel: "", thickBorderButtonStyle: true, isCloseLayoutVisible: true,
                  isFeedbackEmailLayoutDisabled: true });
            verifyWhole();
            verify(sections.children[0].implicitHeight + 48 <= root.height);
        }

        function test_before_the_form() {
            const button = () => primaryButton().y;
            const before = button();
            mouseClick(control("Advanced logs"));
            mouseClick(control("System apps information"));
            settle();
            verifyWhole();
            reproduce();
            set({ isRunning: true, logLabel: "Capturing Lumadoc settings and logs." });
            verifyWhole();
            compare(button(), before);
        }

        function test_a_counter_says_why_typing_stops() {
            const counters = () => shownTexts().filter(text => text.endsWith(" characters"));
            showForm();
            view.changeFeedback("x".repeat(1799));
            view.changeEmail("x".repeat(35));
            compare(counters(), []);
            view.changeFeedback("x".repeat(1800));
            view.changeEmail("é".repeat(50));
            settle();
            compare(counters(), ["1800 of 2000 characters", "40 of 40 characters"]);
            // Longer in code units than in characters.
            view.changeFeedback("👩‍🚀".repeat(400));
            compare(counters(), ["40 of 40 characters"]);
        }

        // Also when files are attached, which can then still be removed.
        function test_a_slow_disk_is_named() {
            showForm();
            const before = places();
            for (const count of [0, 2]) {
                set({ filesCountInDestination: count, isAttaching: true });
                compare(textItem("Waiting for the disk"), null);
                tryVerify(() => textItem("Waiting for the disk") !== null);
                compare([places(), control("Remove attached files") !== null], [before, count > 0]);
                settle();
                verifyWhole();
                set({ isAttaching: false });
                compare([textItem("Waiting for the disk"), textItem("2 file(s) attached") !== null], [null, count > 0]);
            }
        }

        function test_an_upload_shows_how_far_it_is() {
            showForm();
            states.uploading();
            const bar = indicator();
            compare(bar.children[0].width, bar.width * 0.57);
            compare(bar.children[0].x, 0);
            states.packing();
            tryVerify(() => bar.children[0].x > 0);
            states.failed();
            compare(indicator(), null);
        }
    }
}
