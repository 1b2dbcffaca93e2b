// A text that a screen reader reads by itself when it comes up or changes.
import QtQuick
import Lumamon

BodyText {
    id: live

    property bool isBehind: false

    function announce() {
        if (!visible || text.trim() === "")
            return;
        isBehind = pause.running;
        if (isBehind)
            return;
        Announcer.announce(live);
        pause.restart();
    }

    Accessible.role: Accessible.Notification
    Accessible.ignored: text.trim() === ""
    // A text that comes up is announced by Qt itself.
    onTextChanged: announce()

    // A text that changes faster than it can be read, like an upload's progress, is announced after a pause with
    // the value that it has by then.
    Timer {
        id: pause

        interval: 2000
        onTriggered: if (live.isBehind) live.announce()
    }
}
