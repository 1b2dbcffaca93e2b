// What an alert says. It may name a path or an address, so it can be selected and copied.
import QtQuick
import Lumamon

TextEdit {
    id: message

    property bool isMade: false

    color: Assets.color("PrimaryTextColor")
    selectionColor: Assets.color("PrimaryColor")
    selectedTextColor: "white"
    font.family: "BrennicClean-Regular"
    font.pixelSize: 14
    textFormat: TextEdit.PlainText
    wrapMode: TextEdit.Wrap
    readOnly: true
    selectByMouse: true
    activeFocusOnTab: true
    // A text that comes up is announced by Qt itself, and one that changes twice in a turn once.
    onTextChanged: {
        if (isMade && visible)
            Qt.callLater(Announcer.announce, message);
    }
    Component.onCompleted: isMade = true
    Accessible.role: Accessible.Notification
    Accessible.name: text

    FocusRing {
        radius: 4
        visible: message.activeFocus
    }
}
