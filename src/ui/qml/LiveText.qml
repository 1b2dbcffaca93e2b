// A text that a screen reader reads by itself when it comes up or changes.
import QtQuick
import Lumamon

BodyText {
    id: live

    property bool isMade: false
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
    // Qt itself tells of a text that comes up.
    onTextChanged: {
        if (isMade)
            announce();
    }
    Component.onCompleted: isMade = true

    // What changes faster than it can be read, as an upload's progress does, is told as it is then.
    Timer {
        id: pause

        interval: 2000
        onTriggered: {
            if (live.isBehind)
                live.announce();
        }
    }
}
