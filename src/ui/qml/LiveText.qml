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
    onTextChanged: announce()
    onVisibleChanged: announce()
    Component.onCompleted: announce()
}
