// The sections in one stack, centred. Which of them are there is the state's business.
import QtQuick
import Lumamon

Column {
    id: sections

    required property ContentView view

    spacing: 12

    Header {
        view: sections.view
        anchors.horizontalCenter: parent.horizontalCenter
    }

    BodyText {
        view: sections.view
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
        anchors.horizontalCenter: parent.horizontalCenter
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
        anchors.horizontalCenter: parent.horizontalCenter
    }
}
