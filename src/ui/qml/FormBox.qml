// A text box of the form with its caption, its frame and what is wrong with its text.
import QtQuick
import QtQuick.Layouts
import Lumamon

ColumnLayout {
    id: box

    required property ContentView view
    required property int field
    required property string caption
    /// As it is after the rules of the box.
    required property string text
    required property string problem
    required property bool isWrong
    required property int limit
    /// What takes the text, within `content`.
    required property var input
    default property alias content: frame.data
    readonly property int focusedField: view.feedbackFormFocus

    signal changed(text: string)

    spacing: 6
    onFocusedFieldChanged: {
        if (focusedField === field)
            input.forceActiveFocus(Qt.TabFocusReason);
        else if (focusedField === ContentView.Field.noField)
            input.focus = false;
    }

    Connections {
        target: box.input

        function onTextChanged() {
            if (box.input.text === box.text)
                return;
            const position = box.input.cursorPosition;
            box.changed(box.input.text);
            box.input.cursorPosition = Math.min(position, box.input.length);
        }

        function onActiveFocusChanged() {
            if (box.input.activeFocus)
                box.view.feedbackFormFocus = box.field;
        }
    }

    BodyText {
        text: box.caption
        Layout.fillWidth: true
    }

    BoxFrame {
        id: frame

        isWrong: box.isWrong
        isFocused: box.input.activeFocus
        isFrozen: box.input.readOnly || !box.input.enabled
        implicitHeight: children[children.length - 1].implicitHeight
        Layout.fillWidth: true
    }

    // Below the box there is always room for what is wrong, and for why typing is about to stop.
    RowLayout {
        spacing: 12

        LiveText {
            text: box.isWrong ? box.problem : ""
            colorName: "error"
            Layout.fillWidth: true
        }

        BodyText {
            // What a person counts as characters, which are never more than the text is long.
            readonly property int count: box.text.length < nearLimit ? 0 : box.view.characterCount(box.text)
            readonly property int nearLimit: 0.9 * box.limit

            text: `${count} of ${box.limit} characters`
            colorName: "SecondaryTextColor"
            visible: count >= nearLimit
        }
    }
}
