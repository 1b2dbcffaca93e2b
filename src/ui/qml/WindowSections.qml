// The sections in one stack. The state decides which of them are there; those that take turns on one page keep their
// places, so that nothing moves under the pointer.
import QtQuick
import Lumamon

Column {
    id: sections

    required property ContentView view
    /// A dialog is over them.
    property bool isCovered: false
    readonly property alias primary: primary
    readonly property bool isFormPage: view.isFeedbackLayoutVisible

    spacing: 16

    Binding {
        target: Theme
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

    // The one button that leads through the run. The last of its styles is that of the closing page.
    FocusableButtonStyle {
        id: primary

        visible: !sections.view.isCloseLayoutVisible
        focus: true
        isFocusQuiet: true
        takesDoubleClick: false
        text: sections.view.startButtonLabel
        enabled: !sections.view.primaryButtonDisabled
        colorBinding: Theme.color(sections.view.primaryButtonColor)
        textColor: Theme.color(sections.view.primaryButtonTextColor)
        onClicked: sections.view.primaryButtonPressed()
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
        isShown: sections.view.isLoggingCompleteVisible
        isKept: sections.isFormPage
    }

    LateSection {
        view: sections.view
        file: "FeedbackForm.qml"
        isShown: sections.isFormPage
    }

    LateSection {
        view: sections.view
        file: "UploadFailedBlock.qml"
        isShown: sections.view.isUploadFailedLayoutVisible
        // The standalone build shows the end below the form, and uploads nothing.
        isKept: sections.isFormPage && !sections.view.isCloseLayoutVisible
    }

    LateSection {
        view: sections.view
        file: "CloseLayout.qml"
        isShown: sections.view.isCloseLayoutVisible
    }

    // Made while the user reproduces the problem, piece by piece, so that the window goes on drawing; it is whole when it
    // is shown.
    component LateSection: LatePart {
        required property ContentView view
        required property bool isShown
        /// Its place is kept while it is not shown.
        property bool isKept: false

        isNeeded: isShown || view.advanceLogToggleDisabled
        properties: ({ view: view, visible: false })
        onLoaded: item.visible = Qt.binding(() => isShown)
        asynchronous: true
        visible: isShown || isKept
        width: parent.width
    }
}
