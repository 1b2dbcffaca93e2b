// A text box of the form with its caption, its frame and what is wrong with its text. What does not fit scrolls.
import QtQuick
import QtQuick.Layouts
import Lumamon

ColumnLayout {
    id: box

    required property int field
    /// The description, which has several lines: Shift+Return breaks one, and Tab leaves the box as Return does.
    readonly property bool isLong: field === ContentView.Field.feedback
    readonly property string caption: isLong ? ContentView.feedbackLabel : ContentView.emailLabel
    readonly property string text: isLong ? ContentView.feedbackText : ContentView.emailText
    readonly property string problem: isLong ? "Desciption is required" : "Invalid email address"
    readonly property bool isWrong: isLong ? !ContentView.isInitialFocus && text === "" : !ContentView.isEmailValid
    readonly property int limit: isLong ? ContentView.maxFeedbackCharacterCount : ContentView.maxEmailCharacterCount
    readonly property int focusedField: ContentView.feedbackFormFocus

    function leave(event: KeyEvent) {
        const isTab = event.key === Qt.Key_Tab;
        event.accepted = isTab || !isLong || !(event.modifiers & Qt.ShiftModifier);
        if (!event.accepted)
            return;
        if (isLong ? input.readOnly : isTab)
            input.nextItemInFocusChain().forceActiveFocus(Qt.TabFocusReason);
        else if (isLong)
            ContentView.leaveFeedback();
        else
            ContentView.feedbackFormFocus = ContentView.Field.feedback;
    }

    spacing: 6
    onFocusedFieldChanged: {
        if (focusedField === field)
            input.forceActiveFocus(Qt.TabFocusReason);
        else if (focusedField === ContentView.Field.noField)
            input.focus = false;
    }

    BodyText {
        text: box.caption
        Layout.fillWidth: true
    }

    BoxFrame {
        id: frame

        isWrong: box.isWrong
        isFocused: input.activeFocus
        isFrozen: input.readOnly || !input.enabled
        implicitHeight: box.isLong ? 80 : 30
        Layout.fillWidth: true

        // It fills the frame, and its upper margin grows below zero, so that a screen reader finds it where
        // it is seen.
        EditableText {
            id: input

            readonly property real edge: 5
            readonly property real extent: contentHeight + 2 * edge
            property real contentY: 0

            function reveal() {
                const { y, height: line } = cursorRectangle;
                if (y < edge)
                    bar.moveTo(contentY + y - edge);
                else if (y + line > height - edge)
                    bar.moveTo(contentY + y + line + edge - height);
            }

            limit: box.limit
            content: box.text
            isFramed: true
            enabled: box.isLong || !ContentView.isFormFrozen
            readOnly: ContentView.isFeedbackEmailLayoutDisabled
            color: Theme.color(frame.isFrozen ? "SecondaryTextColor" : "PrimaryTextColor")
            inputMethodHints: box.isLong ? Qt.ImhNone : Qt.ImhEmailCharactersOnly
            topPadding: edge - contentY
            leftPadding: 9
            rightPadding: 13
            clip: true
            anchors.fill: parent
            anchors.margins: frame.border.width
            Accessible.name: box.caption
            Accessible.multiLine: box.isLong
            Accessible.description: box.isWrong ? box.problem : enabled ? "" : "Unavailable"
            Keys.onTabPressed: event => box.leave(event)
            Keys.onReturnPressed: event => box.leave(event)
            Keys.onEnterPressed: event => box.leave(event)
            Keys.onBacktabPressed: nextItemInFocusChain(false).forceActiveFocus(Qt.BacktabFocusReason)
            onCursorRectangleChanged: reveal()
            onActiveFocusChanged: if (activeFocus) ContentView.feedbackFormFocus = box.field
            // What the rules have dropped moves neither the caret nor the page.
            onEdited: {
                const y = contentY;
                const caret = box.isLong ? ContentView.changeFeedback(text, cursorPosition)
                                         : ContentView.changeEmail(text, cursorPosition);
                bar.moveTo(y);
                cursorPosition = caret;
            }
        }

        PageScrollBar {
            id: bar

            page: input
            extent: input.extent
            anchors.right: parent.right
            height: parent.height
            Accessible.name: box.caption
        }
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
            readonly property int count: box.text.length < nearLimit ? 0 : ContentView.characterCount(box.text)
            readonly property int nearLimit: 0.9 * box.limit

            text: `${count} of ${box.limit} characters`
            colorName: "SecondaryTextColor"
            visible: count >= nearLimit
        }
    }
}
