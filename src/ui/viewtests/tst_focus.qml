// The keyboard: in whatever order the states of a run come, it is on a control that is seen and shows it, and goes from
// each control to the one that the eye finds next.
import QtQuick
import QtTest
import Lumamon
import Surroundings

Item {
    id: root

    width: 680
    height: 756

    Component {
        id: windowComponent

        Main {}
    }

    ViewTest {
        name: "Focus"
        stage: root

        property Main window

        function init() {
            Program.restart(view);
            window = createTemporaryObject(windowComponent, root);
            stage = window.contentItem;
            window.requestActivate();
            tryVerify(() => window.active && focused() === "Start diagnostics");
        }

        function focused() {
            return window.activeFocusItem?.Accessible.name;
        }

        // Two quick presses are one.
        function answer() {
            wait(Application.styleHints.mouseDoubleClickInterval + 50);
            keyClick(Qt.Key_Return);
        }

        function controls() {
            return drawn(stage).filter(item => item.activeFocusOnTab && item.enabled);
        }

        function rings() {
            return drawn(stage).filter(item => item instanceof FocusRing);
        }

        function test_tab_follows_the_eye() {
            const fill = () => {
                view.changeFeedback("x");
                set({ filesCountInDestination: 2, viewlogsButtonDisabled: false });
            };
            for (const step of [() => {}, showForm, fill, fail]) {
                step();
                settle();
                const place = item => item.mapToItem(stage, 0, 0);
                const eye = controls().sort((one, other) => place(one).y - place(other).y
                                                            || place(one).x - place(other).x);
                eye[0].forceActiveFocus(Qt.TabFocusReason);
                for (const next of [...eye.slice(1), eye[0]]) {
                    keyClick(Qt.Key_Tab);
                    verify(window.activeFocusItem === next, `${focused()}, not ${next.Accessible.name}`);
                    compare(rings().length, 1, next.Accessible.name);
                }
                for (const next of eye.reverse()) {
                    keyClick(Qt.Key_Backtab);
                    verify(window.activeFocusItem === next, `${focused()}, not ${next.Accessible.name}`);
                }
            }
        }

        // The control that has the keyboard can be worked, and shows that the keyboard is on it.
        function isSeen() {
            const item = window.activeFocusItem;
            return item.visible && item.enabled && item.activeFocusOnTab && rings().length === 1;
        }

        // From each control that a state has, to each state that may come next.
        function test_it_is_never_on_what_is_hidden() {
            showForm();
            view.changeFeedback("x");
            for (const name of ["attached", "failed", "packing"]) {
                const reach = () => {
                    view.isFeedbackEmailLayoutDisabled = name !== "attached";
                    states[name]();
                    settle();
                };
                reach();
                for (const item of controls()) {
                    reach();
                    item.forceActiveFocus(Qt.TabFocusReason);
                    for (const next of ["offline", "none", "packing", name]) {
                        states[next]();
                        settle();
                        tryVerify(isSeen, 500, `${item.Accessible.name}, ${next}: ${focused()}`);
                    }
                }
            }
        }

        function test_it_goes_to_the_control_before() {
            showForm();
            set({ filesCountInDestination: 1 });
            control("Remove attached files").forceActiveFocus(Qt.TabFocusReason);
            set({ filesCountInDestination: 0 });
            tryVerify(() => focused() === "Attach screenshot and pdf files");
            control("Copy ID").forceActiveFocus(Qt.TabFocusReason);
            view.changeFeedback("x");
            states.failed();
            tryVerify(() => focused() === "Share logs");
        }

        // A screen reader presses a button and leaves the keyboard where it is, on what the press disables.
        function test_it_goes_on_from_what_is_disabled() {
            const names = ["Advanced logs", "System apps information"];
            for (const name of names) {
                view.advanceLogToggleDisabled = false;
                control(name).forceActiveFocus(Qt.TabFocusReason);
                reproduce();
                tryVerify(() => focused() === "Stop diagnostics" && isSeen(), 500, `${name}: ${focused()}`);
            }
            showForm();
            view.changeFeedback("x");
            set({ filesCountInDestination: 2 });
            for (const name of ["Attach screenshot and pdf files", "Remove attached files", view.emailLabel]) {
                set({ isFeedbackEmailLayoutDisabled: false, isFormFrozen: false });
                control(name).forceActiveFocus(Qt.TabFocusReason);
                set({ isFormFrozen: true });
                states.packing();
                tryVerify(isSeen, 500, `${name}: ${focused()}`);
            }
        }

        // The primary button is disabled while a step runs, and is what the user presses next.
        function test_it_waits_on_the_primary_button() {
            showForm();
            view.changeFeedback("x");
            control("Share logs").forceActiveFocus(Qt.TabFocusReason);
            view.primaryButtonDisabled = true;
            states.packing();
            settle();
            wait(50);
            states.uploading();
            view.primaryButtonDisabled = false;
            tryVerify(() => focused() === "Stop upload" && isSeen(), 500, focused());
        }

        // Whatever comes up below it meanwhile.
        function test_an_alert_keeps_it() {
            reproduce();
            Alerts.present("One", "Two", "OK");
            tryVerify(() => focused() === "OK");
            for (const [step, then] of [[showForm, view.feedbackLabel], [finish, "Close"]]) {
                step();
                tryVerify(() => focused() === "OK", 500, then);
            }
            answer();
            tryVerify(() => focused() === "Close");
        }

        // Also when the control has gone meanwhile.
        function test_it_comes_back_after_alerts_the_panel_and_the_menu() {
            showForm();
            for (const [name, meanwhile, then] of [["Log ID", () => {}, "Log ID"], ["Copy ID", () => fail(), "Share logs"],
                                                   [view.emailLabel, () => {}, view.emailLabel]]) {
                const covers = [[() => view.isFilePanelVisible = true, () => view.isFilePanelVisible = false],
                                [() => view.showAlert = true, () => view.showAlert = false],
                                [() => Alerts.present("One", "Two", "OK"), () => answer()]];
                if (name !== "Copy ID")
                    covers.push([() => keyClick(Qt.Key_Menu), () => keyClick(Qt.Key_Escape)]);
                for (const [cover, uncover] of covers) {
                    control(name)?.forceActiveFocus(Qt.TabFocusReason);
                    cover();
                    tryVerify(() => !control(name)?.activeFocus);
                    meanwhile();
                    uncover();
                    tryVerify(() => focused() === then, 5000, `${name}: ${focused()}`);
                    compare(rings().length, 1);
                }
            }
        }
    }
}
