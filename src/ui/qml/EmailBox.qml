// The address for the answer: one line. Return leads back to the description.
import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Lumamon

ColumnLayout {
    id: box

    required property ContentView view
    readonly property int focusedField: view.feedbackFormFocus

    spacing: 6
    onFocusedFieldChanged: {
        if (focusedField === ContentView.Field.email)
            input.forceActiveFocus(Qt.TabFocusReason);
        else if (focusedField === ContentView.Field.noField)
            input.focus = false;
    }

    BodyText {
        id: caption

        text: box.view.emailLabel
        Layout.fillWidth: true
    }

    TextField {
        id: input

        text: box.view.emailText
        enabled: !box.view.isFormFrozen
        readOnly: box.view.isFeedbackEmailLayoutDisabled
        color: Assets.color(enabled ? "PrimaryTextColor" : "SecondaryTextColor")
        font.family: "BrennicClean-Regular"
        font.pixelSize: 14
        inputMethodHints: Qt.ImhEmailCharactersOnly
        Accessible.name: caption.text
        Accessible.readOnly: readOnly
        Accessible.editable: !readOnly
        Accessible.description: message.visible ? message.text : enabled ? "" : "Unavailable"
        Keys.onReturnPressed: box.view.leaveEmail()
        Keys.onEnterPressed: box.view.leaveEmail()
        onTextChanged: {
            if (text === box.view.emailText)
                return;
            const position = cursorPosition;
            box.view.changeEmail(text);
            cursorPosition = Math.min(position, length);
        }
        onActiveFocusChanged: {
            if (activeFocus)
                box.view.feedbackFormFocus = ContentView.Field.email;
        }
        Layout.fillWidth: true

        background: BoxFrame {
            isWrong: message.visible
            isFocused: input.activeFocus
        }
    }

    LiveText {
        id: message

        text: "Invalid email address"
        colorName: "error"
        visible: !box.view.isEmailValid
        Layout.fillWidth: true
    }
}
