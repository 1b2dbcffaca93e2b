// The description: several lines, which scroll. Tab and Return lead to the next box, Shift+Return breaks the line.
import QtQuick
import QtQuick.Controls.Basic
import Lumamon

FormBox {
    id: box

    function leave() {
        if (area.readOnly)
            area.nextItemInFocusChain().forceActiveFocus(Qt.TabFocusReason);
        else
            view.leaveFeedback();
    }

    function breakLineOrLeave(event: KeyEvent) {
        event.accepted = !(event.modifiers & Qt.ShiftModifier);
        if (event.accepted)
            leave();
    }

    field: ContentView.Field.feedback
    caption: view.feedbackLabel
    text: view.feedbackText
    problem: "Desciption is required"
    isWrong: !view.isInitialFocus && text === ""
    input: area
    limit: view.maxFeedbackCharacterCount
    onChanged: text => view.changeFeedback(text)

    ScrollView {
        implicitHeight: 80
        anchors.fill: parent

        TextArea {
            id: area

            text: box.text
            readOnly: box.view.isFeedbackEmailLayoutDisabled
            color: Assets.color(readOnly ? "SecondaryTextColor" : "PrimaryTextColor")
            font.family: "BrennicClean-Regular"
            font.pixelSize: 14
            textFormat: TextEdit.PlainText
            wrapMode: TextEdit.Wrap
            background: null
            Accessible.name: box.caption
            Accessible.readOnly: readOnly
            Accessible.editable: !readOnly
            Accessible.description: box.isWrong ? box.problem : ""
            Keys.onTabPressed: box.leave()
            Keys.onReturnPressed: event => box.breakLineOrLeave(event)
            Keys.onEnterPressed: event => box.breakLineOrLeave(event)
            Keys.onBacktabPressed: nextItemInFocusChain(false).forceActiveFocus(Qt.BacktabFocusReason)
        }
    }
}
