// The description: several lines, which scroll. Tab and Return lead to the next box, Shift+Return breaks the line.
import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Lumamon

ColumnLayout {
    id: box

    required property ContentView view
    readonly property bool isMissing: !view.isInitialFocus && view.feedbackText === ""
    readonly property int focusedField: view.feedbackFormFocus

    function leave() {
        if (input.readOnly)
            input.nextItemInFocusChain().forceActiveFocus(Qt.TabFocusReason);
        else
            view.leaveFeedback();
    }

    function breakLineOrLeave(event: KeyEvent) {
        event.accepted = !(event.modifiers & Qt.ShiftModifier);
        if (event.accepted)
            leave();
    }

    spacing: 6
    onFocusedFieldChanged: {
        if (focusedField === ContentView.Field.feedback)
            input.forceActiveFocus(Qt.TabFocusReason);
        else if (focusedField === ContentView.Field.noField)
            input.focus = false;
    }

    BodyText {
        id: caption

        text: box.view.feedbackLabel
        Layout.fillWidth: true
    }

    ScrollView {
        Layout.fillWidth: true
        Layout.preferredHeight: 80

        background: BoxFrame {
            isWrong: box.isMissing
            isFocused: input.activeFocus
        }

        TextArea {
            id: input

            text: box.view.feedbackText
            readOnly: box.view.isFeedbackEmailLayoutDisabled
            color: Assets.color(readOnly ? "SecondaryTextColor" : "PrimaryTextColor")
            font.family: "BrennicClean-Regular"
            font.pixelSize: 14
            textFormat: TextEdit.PlainText
            wrapMode: TextEdit.Wrap
            background: null
            Accessible.name: caption.text
            Accessible.readOnly: readOnly
            Accessible.editable: !readOnly
            Accessible.description: box.isMissing ? message.text : ""
            Keys.onTabPressed: box.leave()
            Keys.onReturnPressed: event => box.breakLineOrLeave(event)
            Keys.onEnterPressed: event => box.breakLineOrLeave(event)
            Keys.onBacktabPressed: nextItemInFocusChain(false).forceActiveFocus(Qt.BacktabFocusReason)
            onTextChanged: {
                if (text === box.view.feedbackText)
                    return;
                const position = cursorPosition;
                box.view.changeFeedback(text);
                cursorPosition = Math.min(position, length);
            }
            onActiveFocusChanged: {
                if (activeFocus)
                    box.view.feedbackFormFocus = ContentView.Field.feedback;
            }
        }
    }

    LiveText {
        id: message

        text: "Desciption is required"
        colorName: "error"
        visible: box.isMissing
        Layout.fillWidth: true
    }
}
