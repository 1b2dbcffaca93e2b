// The one modal presentation of alerts: the form's own, and after them those that other parts ask for.
import QtQuick
import QtQuick.Layouts
import Lumamon

WindowDialog {
    id: alert

    readonly property bool isOfForm: ContentView.showAlert
    readonly property bool isQuestion: isOfForm && ContentView.activeAlert === ContentView.ActiveAlert.replaceFile
    /// Title, message, and the caption of the button that every alert has.
    readonly property var texts: {
        if (!isOfForm)
            return Alerts.texts;
        if (isQuestion)
            return ["Confirm Replace", ContentView.fileExistsAlertMessage, "Cancel"];
        return ContentView.activeAlert === ContentView.ActiveAlert.fileSize
            ? ["File Size Error", "The total file size should not exceed 10 MB.", "OK"]
            : ["Error", "An unknown error occurred.", "OK"];
    }

    function answer(confirmed: bool) {
        isOfForm ? ContentView.answerAlert(confirmed) : Alerts.dismiss();
    }

    width: Math.min(420, parent ? parent.width - 48 : 420)
    visible: ContentView.showAlert || Alerts.isUp
    title: texts[0]
    onEscaped: answer(false)
    onOpened: dismiss.forceActiveFocus(Qt.PopupFocusReason)
    // The next alert has no second button, which may have had the keyboard.
    onIsQuestionChanged: dismiss.forceActiveFocus(Qt.PopupFocusReason)

    // It may name a path or an address, which can be copied.
    EditableText {
        id: message

        content: alert.texts[1]
        readOnly: true
        Layout.fillWidth: true
        Accessible.role: Accessible.Notification
        Accessible.name: text
        // A text that comes up is announced by Qt itself, and one that changes twice in a turn once.
        onTextChanged: if (visible) Qt.callLater(Announcer.announce, message) // qmllint disable
    }

    RowLayout {
        spacing: 12
        Layout.alignment: Qt.AlignRight
        Layout.topMargin: 8

        ThickBorderButtonStyle {
            visible: alert.isQuestion
            text: "Replace"
            strokeColor: Theme.color("error")
            textColor: strokeColor
            onClicked: alert.answer(true)
        }

        FocusableButtonStyle {
            id: dismiss

            // The second click would answer the alert that comes next.
            takesDoubleClick: false
            text: alert.texts[2]
            onClicked: alert.answer(false)
        }
    }
}
