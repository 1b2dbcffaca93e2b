// A text that a screen reader reads by itself when it comes up or changes.
import QtQuick
import Lumamon

BodyText {
    id: live

    function announce() {
        if (visible && text.trim() !== "")
            Announcer.announce(live);
    }

    Accessible.role: Accessible.AlertMessage
    // Later, when its name has followed its text.
    onTextChanged: Qt.callLater(announce) // qmllint disable use-proper-function
    onVisibleChanged: Qt.callLater(announce) // qmllint disable use-proper-function
    Component.onCompleted: Qt.callLater(announce) // qmllint disable use-proper-function
}
