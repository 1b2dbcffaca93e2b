// The sections in one stack. The state decides which of them are there; those that take turns on one page keep their
// places, so that nothing moves under the pointer.
import QtQuick
import Lumamon

Column {
    id: sections

    /// A dialog is over them.
    property bool isCovered: false
    readonly property alias primary: primary
    readonly property bool isFormPage: ContentView.isFeedbackLayoutVisible

    spacing: 16

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
        text: ContentView.captureInfoLabel
        font.pixelSize: 12
        colorName: "SecondaryTextColor"
        horizontalAlignment: Text.AlignHCenter
        width: sections.width
    }

    LogEditor {
        visible: ContentView.isLogEditorVisible
        width: sections.width
    }

    // The one button that leads through the run.
    FocusableButtonStyle {
        id: primary

        visible: !ContentView.isCloseLayoutVisible
        focus: true
        isFocusQuiet: true
        takesDoubleClick: false
        text: ContentView.startButtonLabel
        enabled: !ContentView.primaryButtonDisabled
        colorBinding: Theme.color(ContentView.primaryButtonColor)
        textColor: Theme.color(ContentView.primaryButtonTextColor)
        onClicked: ContentView.primaryButtonPressed()
        anchors.horizontalCenter: parent.horizontalCenter
    }

    StatusLine {
        visible: !ContentView.isCloseLayoutVisible
        width: sections.width
    }

    LateSection {
        file: "LogIdBlock.qml"
        isShown: ContentView.isLoggingCompleteVisible
        isKept: sections.isFormPage
    }

    LateSection {
        file: "FeedbackForm.qml"
        isShown: sections.isFormPage
    }

    LateSection {
        file: "UploadFailedBlock.qml"
        isShown: ContentView.isUploadFailedLayoutVisible
        // The standalone build shows the end below the form, and uploads nothing.
        isKept: sections.isFormPage && !ContentView.isCloseLayoutVisible
    }

    LateSection {
        file: "CloseLayout.qml"
        isShown: ContentView.isCloseLayoutVisible
    }

    // Made while the user reproduces the problem, piece by piece, so that the window goes on drawing; it is whole when it
    // is shown.
    component LateSection: LatePart {
        required property bool isShown
        /// Its place is kept while it is not shown.
        property bool isKept: false

        isNeeded: isShown || ContentView.advanceLogToggleDisabled
        properties: ({ visible: false })
        onLoaded: item.visible = Qt.binding(() => isShown)
        asynchronous: true
        visible: isShown || isKept
        width: parent.width
    }
}
