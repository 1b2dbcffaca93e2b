// What the view tests share: the window's sections on a stage, and ways to find what is on it.
import QtQuick
import QtTest
import Lumamon
import Surroundings

TestCase {
    id: test

    /// Where the sections are shown: the test itself is not drawn.
    required property Item stage
    /// The state of the run, which each test begins with as the program does.
    readonly property var view: ContentView
    property Item sections
    /// The changed texts that were announced to a screen reader.
    property var announcements: []

    when: windowShown

    Connections {
        target: Announcer

        function onAnnounced(item) {
            test.announcements.push(item.Accessible.name);
        }
    }

    Component {
        id: sectionsComponent

        Rectangle {
            anchors.fill: parent
            color: Theme.color("BackgroundColor")

            WindowSections {
                anchors.fill: parent
                anchors.margins: 24
            }
        }
    }

    function init() {
        Program.restart(view);
        announcements = [];
        sections = createTemporaryObject(sectionsComponent, stage);
        waitForRendering(stage);
    }

    /// Sections come up in later turns; then they are drawn.
    function settle() {
        tryVerify(() => drawn(stage).every(item => item.status !== Loader.Loading));
        stage.Window.window.update();
        waitForRendering(stage);
    }

    // The states of a run, as the flow sets them.
    function reproduce() {
        view.startButtonLabel = "Stop diagnostics";
        view.logLabel = "Please reproduce the steps that led to the issue and then select Stop diagnostics";
        view.primaryButtonColor = "PrimaryTextColor";
        view.primaryButtonTextColor = "BackgroundColor";
        view.advanceLogToggleDisabled = true;
    }

    function set(fields) {
        Object.assign(view, fields);
        settle();
    }

    function showForm() {
        reproduce();
        set({ logLabel: "Logging complete.", startButtonLabel: "Share logs", isLogEditorVisible: false,
              isFeedbackLayoutVisible: true, primaryButtonColor: "PrimaryColor", primaryButtonTextColor: "white",
              primaryButtonDisabled: true, isLogLabelVisible: false, isLoggingCompleteVisible: true });
    }

    function fail() {
        showForm();
        view.changeFeedback("x");
        set({ isUploadFailedLayoutVisible: true, isLoggingCompleteVisible: false });
    }

    function finish() {
        showForm();
        set({ startButtonLabel: "Close", logLabel: "", isFeedbackLayoutVisible: false, isCloseLayoutVisible: true,
              primaryButtonDisabled: false, primaryButtonColor: "clear", thickBorderButtonStyle: true });
    }

    /// The states of the form's page, in the order in which a run may come to them.
    readonly property var states: ({
        empty: () => view.changeFeedback(""),
        described: () => view.changeFeedback("It stopped"),
        nearlyFull: () => view.changeFeedback("x".repeat(1950)),
        wrongAddress: () => view.changeEmail("someone@"),
        longAddress: () => view.changeEmail("someone.with.a.long.name@brennic.example"),
        noSample: () => set({ isSampleMissing: true }),
        sample: () => set({ isSampleMissing: false }),
        attached: () => set({ filesCountInDestination: 2 }),
        none: () => set({ filesCountInDestination: 0 }),
        packing: () => set({ isRunning: true, logLabel: "Compressing logs.", isFeedbackEmailLayoutDisabled: true,
                             isUploadFailedLayoutVisible: false, isLoggingCompleteVisible: true }),
        uploading: () => set({ isRunning: true, logLabel: "Uploading 57%", startButtonLabel: "Stop upload" }),
        failed: () => failed(ContentView.SecondaryError.none),
        offline: () => failed(ContentView.SecondaryError.network),
        cancelled: () => failed(ContentView.SecondaryError.canceled)
    })

    function failed(why) {
        set({ isRunning: false, startButtonLabel: "Share logs", isSecondaryError: why,
              isUploadFailedLayoutVisible: true, isLoggingCompleteVisible: false });
    }

    /// A list in which each name follows each other one, and itself.
    function everyPair(names) {
        const pairs = [];
        names.forEach((name, i) => {
            pairs.push(name);
            names.slice(i + 1).forEach(later => pairs.push(name, later));
        });
        return pairs;
    }

    // Every item that is drawn below `item`, in the order of drawing.
    function drawn(item) {
        let result = [];
        for (let i = 0; i < item.children.length; ++i) {
            const child = item.children[i];
            if (child.visible && child.opacity > 0)
                result = result.concat([child], drawn(child));
        }
        return result;
    }

    /// The texts that a reader sees, from top to bottom.
    function shownTexts() {
        return drawn(stage).filter(item => item instanceof BodyText && item.text.trim() !== "").map(item => item.text);
    }

    /// The bar that moves while something runs.
    function indicator() {
        return drawn(stage).find(item => item.Accessible.role === Accessible.ProgressBar) ?? null;
    }

    function textItem(text) {
        return drawn(stage).find(item => item instanceof BodyText && item.text === text) ?? null;
    }

    /// The control of this accessible name.
    function control(name) {
        return drawn(stage).find(item => item.Accessible.name === name && item.activeFocusOnTab) ?? null;
    }

    /// A screen reader reads it by itself: it has changed, or is of those that are read when they come up.
    function verifyAnnounced(text) {
        tryVerify(() => announcements.includes(text)
                  || textItem(text)?.Accessible.role === Accessible.Notification);
    }

    function type(text) {
        for (const character of text)
            keyClick(character);
    }

    function colorOf(name) {
        return Theme.color(name);
    }
}
