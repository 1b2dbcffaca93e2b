// The sections in one stack, centred. Which of them are there is the state's business.
import QtQuick
import QtQuick.Layouts
import Lumamon

ColumnLayout {
    id: sections

    required property ContentView view

    spacing: 16

    Header {
        view: sections.view
        Layout.alignment: Qt.AlignHCenter
    }

    BodyText {
        view: sections.view
        text: sections.view.captureInfoLabel
        font.pixelSize: 12
        colorName: "SecondaryTextColor"
        horizontalAlignment: Text.AlignHCenter
        Layout.fillWidth: true
    }

    LogEditor {
        view: sections.view
        visible: sections.view.isLogEditorVisible
        Layout.alignment: Qt.AlignHCenter
    }

    PrimaryButton {
        view: sections.view
        visible: !sections.view.isCloseLayoutVisible
        focus: true
        Layout.alignment: Qt.AlignHCenter
    }

    StatusLine {
        view: sections.view
        visible: sections.view.isLogLabelVisible || sections.view.isRunning
        Layout.fillWidth: true
    }

    LateSection {
        view: sections.view
        file: "LogIdBlock.qml"
        isShown: sections.view.isLoggingCompleteVisible
        Layout.fillWidth: true
    }

    LateSection {
        view: sections.view
        file: "UploadFailedBlock.qml"
        isShown: sections.view.isUploadFailedLayoutVisible
        Layout.fillWidth: true
    }

    LateSection {
        view: sections.view
        file: "FeedbackForm.qml"
        isShown: sections.view.isFeedbackLayoutVisible
        Layout.fillWidth: true
        Layout.maximumWidth: 632
        Layout.alignment: Qt.AlignHCenter
    }

    LateSection {
        view: sections.view
        file: "CloseLayout.qml"
        isShown: sections.view.isCloseLayoutVisible
        Layout.alignment: Qt.AlignHCenter
    }
}
