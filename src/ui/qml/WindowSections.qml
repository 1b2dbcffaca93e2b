// The sections in one stack. The state decides which of them are there; those that take turns on one page keep their
// places, so that nothing moves under the pointer.
import QtQuick
import Lumamon

Column {
    id: sections

    required property ContentView view
    readonly property bool isFormPage: view.isFeedbackLayoutVisible
    // The later sections are made while the user reproduces the problem, and are whole when they are shown.
    readonly property bool isLaterNeeded: view.advanceLogToggleDisabled

    spacing: 16

    Binding {
        target: Assets
        property: "colorScheme"
        value: sections.view.colorScheme
    }

    Row {
        spacing: 16
        anchors.horizontalCenter: parent.horizontalCenter

        AssetImage {
            name: "lumadocdiagnosticlogo"
            size: 80
        }

        BodyText {
            text: "Brennic Lumadoc Diagnostics"
            font.pixelSize: 22
            wrapMode: Text.NoWrap
            anchors.verticalCenter: parent.verticalCenter
            Accessible.role: Accessible.Heading
        }
    }

    BodyText {
        text: sections.view.captureInfoLabel
        font.pixelSize: 12
        colorName: "SecondaryTextColor"
        horizontalAlignment: Text.AlignHCenter
        width: sections.width
    }

    LogEditor {
        view: sections.view
        visible: sections.view.isLogEditorVisible
        width: sections.width
    }

    PrimaryButton {
        view: sections.view
        visible: !sections.view.isCloseLayoutVisible
        focus: true
        anchors.horizontalCenter: parent.horizontalCenter
    }

    StatusLine {
        view: sections.view
        visible: !sections.view.isCloseLayoutVisible
        width: sections.width
    }

    LateSection {
        view: sections.view
        file: "LogIdBlock.qml"
        isNeeded: sections.isLaterNeeded
        isShown: sections.view.isLoggingCompleteVisible
        isKept: sections.isFormPage
        width: sections.width
    }

    LateSection {
        view: sections.view
        file: "FeedbackForm.qml"
        isNeeded: sections.isLaterNeeded
        isShown: sections.isFormPage
        width: sections.width
    }

    LateSection {
        view: sections.view
        file: "UploadFailedBlock.qml"
        isNeeded: sections.isLaterNeeded
        isShown: sections.view.isUploadFailedLayoutVisible
        isKept: sections.isFormPage
        width: sections.width
    }

    LateSection {
        view: sections.view
        file: "CloseLayout.qml"
        isShown: sections.view.isCloseLayoutVisible
        width: sections.width
    }

    // A section that is made after the window has opened, which opens sooner, and piece by piece, so that the window
    // goes on drawing meanwhile.
    component LateSection: Item {
        id: late

        required property ContentView view
        /// The file of the section, which takes `view`.
        required property string file
        required property bool isShown
        property bool isNeeded: isShown
        /// Its place is kept while it is not shown.
        property bool isKept: false
        readonly property bool isReady: !isShown || section.visible

        function make() {
            if ((isNeeded || isShown) && section.status === Loader.Null)
                section.setSource(file, { view: view });
        }

        visible: isShown || isKept
        implicitHeight: section.height
        onIsNeededChanged: make()
        onIsShownChanged: make()
        Component.onCompleted: make()

        Loader {
            id: section

            asynchronous: true
            visible: late.isShown && status === Loader.Ready
            width: late.width
        }
    }
}
