// What an alert says. It may name a path or an address, so it can be selected and copied.
import QtQuick
import Lumamon

TextEdit {
    id: message

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
    // A text that comes up is announced by Qt itself.
    onTextChanged: Announcer.announce(message)
    Accessible.role: Accessible.Notification
    Accessible.name: text

    FocusRing {
        radius: 4
        visible: message.activeFocus
    }
}
