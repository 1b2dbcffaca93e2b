// The sections in one stack, centred. The state decides which of them are there.
import QtQuick
import Lumamon

Column {
    id: sections

    required property ContentView view

    spacing: 12

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
        anchors.horizontalCenter: parent.horizontalCenter
    }

    PrimaryButton {
        view: sections.view
        visible: !sections.view.isCloseLayoutVisible
        focus: true
        anchors.horizontalCenter: parent.horizontalCenter
    }

    StatusLine {
        view: sections.view
        visible: sections.view.isLogLabelVisible || sections.view.isRunning
        width: sections.width
    }

    LateSection {
        view: sections.view
        file: "LogIdBlock.qml"
        isShown: sections.view.isLoggingCompleteVisible
        width: sections.width
    }

    LateSection {
        view: sections.view
        file: "FeedbackForm.qml"
        isShown: sections.view.isFeedbackLayoutVisible
        width: Math.min(632, sections.width)
    }

    LateSection {
        view: sections.view
        file: "UploadFailedBlock.qml"
        isShown: sections.view.isUploadFailedLayoutVisible
        width: sections.width
    }

    LateSection {
        view: sections.view
        file: "CloseLayout.qml"
        isShown: sections.view.isCloseLayoutVisible
    }

    // A section that is made when it is first shown, so that the window opens sooner, and piece by piece, so that the
    // window goes on drawing meanwhile.
    component LateSection: Loader {
        required property ContentView view
        /// The file of the section, which takes `view`.
        required property string file
        required property bool isShown

        function make() {
            if (isShown && status === Loader.Null)
                setSource(file, { view: view });
        }

        asynchronous: true
        visible: isShown
        anchors.horizontalCenter: parent.horizontalCenter
        onIsShownChanged: make()
        Component.onCompleted: make()
    }
}
