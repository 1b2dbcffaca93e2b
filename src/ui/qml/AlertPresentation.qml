// The one modal presentation of alerts: the form's own, and after them those that other parts ask for.
import QtQuick
import QtQuick.Layouts
import Lumamon

WindowDialog {
    id: alert

    required property ContentView view
    required property Alerts alerts
    readonly property bool isOfForm: view.showAlert
    readonly property bool isQuestion: isOfForm && view.activeAlert === ContentView.ActiveAlert.replaceFile
    /// Title and message.
    readonly property var texts: {
        if (!isOfForm)
            return [alerts.title, alerts.message];
        switch (view.activeAlert) {
        case ContentView.ActiveAlert.fileSize:
            return ["File Size Error", "The total file size should not exceed 10 MB."];
        case ContentView.ActiveAlert.replaceFile:
            return ["Confirm Replace", view.fileExistsAlertMessage];
        default:
            return ["Error", "An unknown error occurred."];
        }
    }

    function answer(confirmed: bool) {
        if (isOfForm)
            view.answerAlert(confirmed);
        else
            alerts.dismiss();
    }

    width: Math.min(420, parent ? parent.width - 48 : 420)
    visible: view.showAlert || alerts.isUp
    title: texts[0]
    onEscaped: answer(false)
    onOpened: dismiss.forceActiveFocus(Qt.PopupFocusReason)

    // It may name a path or an address, which can be copied.
    EditableText {
        id: message

        property bool isMade: false

        view: alert.view
        content: alert.texts[1]
        readOnly: true
        Layout.fillWidth: true
        Accessible.role: Accessible.Notification
        Accessible.name: text
        // A text that comes up is announced by Qt itself, and one that changes twice in a turn once.
        onTextChanged: {
            if (isMade && visible)
                Qt.callLater(Announcer.announce, message); // qmllint disable
        }
        Component.onCompleted: isMade = true

        FocusRing {
            radius: 4
            visible: message.activeFocus
        }
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
            colorBinding: Theme.color("BackgroundColor")
            onClicked: alert.answer(true)
        }

        FocusableButtonStyle {
            id: dismiss

            text: alert.isQuestion ? "Cancel" : alert.isOfForm ? "OK" : alert.alerts.buttonTitle
            colorBinding: Theme.color("PrimaryColor")
            textColor: "white"
            onClicked: alert.answer(false)
        }
    }
}
