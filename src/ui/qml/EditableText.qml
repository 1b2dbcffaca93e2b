// A text that can be selected, and edited unless it is read-only. Its menu comes by the right button, the Menu key or
// Shift+F10. What is pasted is cut before it gets in: laying out megabytes would stop the window.
import QtQuick
import Lumamon

TextEdit {
    id: edit

    required property string content
    /// How many characters can be pasted.
    property int limit: 0
    /// Something around it shows that it has the keyboard.
    property bool isFramed: false

    /// Somebody has changed the text, which is not the content any more.
    signal edited()

    function takeIn(isSelection: bool) {
        if (!readOnly)
            ContentView.paste(textDocument, selectionStart, selectionEnd, isSelection, limit);
    }

    function openMenu(at: point) {
        Qt.createComponent("TextMenu.qml").createObject(edit, { owner: edit, at: at });
    }

    text: content
    // A screen reader can write into a text that is read-only; then it does not stay.
    onTextChanged: {
        if (text !== content && (readOnly || !enabled))
            text = Qt.binding(() => content);
        else if (text !== content)
            edited();
    }
    color: Theme.color("PrimaryTextColor")
    selectionColor: Theme.color("PrimaryColor")
    selectedTextColor: "white"
    font.family: "BrennicClean-Regular"
    font.pixelSize: 14
    wrapMode: TextEdit.Wrap
    activeFocusOnTab: true
    Accessible.role: Accessible.EditableText
    Accessible.readOnly: readOnly
    Accessible.editable: !readOnly
    Keys.onPressed: event => {
        const opens = event.key === Qt.Key_Menu || (event.key === Qt.Key_F10 && event.modifiers === Qt.ShiftModifier);
        const pastes = event.matches(StandardKey.Paste);
        event.accepted = opens || pastes;
        if (opens)
            openMenu(Qt.point(cursorRectangle.x, cursorRectangle.y + cursorRectangle.height));
        else if (pastes)
            takeIn(false);
    }

    MouseArea {
        acceptedButtons: Qt.RightButton | Qt.MiddleButton
        cursorShape: Qt.IBeamCursor
        anchors.fill: parent
        onPressed: mouse => {
            edit.forceActiveFocus(Qt.MouseFocusReason);
            if (mouse.button === Qt.MiddleButton || edit.selectedText === "")
                edit.cursorPosition = edit.positionAt(mouse.x, mouse.y);
        }
        onClicked: mouse => mouse.button === Qt.RightButton ? edit.openMenu(Qt.point(mouse.x, mouse.y)) : edit.takeIn(true)
    }

    FocusRing {
        radius: 4
        visible: edit.activeFocus && !edit.isFramed
    }
}
