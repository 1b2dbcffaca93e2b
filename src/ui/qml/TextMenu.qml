// The menu of a text that can be selected. It comes up when it is made, and goes with its closing.
import QtQuick
import QtQuick.Templates as T
import Lumamon

T.Menu {
    id: shown

    required property EditableText owner
    required property point at

    implicitWidth: 160
    implicitHeight: contentHeight + 2 * padding
    padding: 4
    margins: 0
    onClosed: destroy()
    Component.onCompleted: {
        // A menu has no way to name what a screen reader finds.
        contentItem.parent.Accessible.name = "Edit";
        popup(at.x, at.y);
    }

    contentItem: ListView {
        implicitHeight: contentHeight
        model: shown.contentModel
        currentIndex: shown.currentIndex
    }

    background: Rectangle {
        color: Theme.color("BackgroundColor")
        radius: 6
        border.width: 1
        border.color: Theme.color("Border")
    }

    Entry {
        text: "Cut"
        enabled: !shown.owner.readOnly && shown.owner.selectedText !== ""
        onTriggered: shown.owner.cut()
    }

    Entry {
        text: "Copy"
        enabled: shown.owner.selectedText !== ""
        onTriggered: shown.owner.copy()
    }

    Entry {
        text: "Paste"
        enabled: shown.owner.canPaste
        onTriggered: shown.owner.takeIn(false)
    }

    Entry {
        text: "Select all"
        enabled: shown.owner.length > 0
        onTriggered: shown.owner.selectAll()
    }

    component Entry: T.MenuItem {
        id: entry

        implicitHeight: 32
        // The arrow keys go over the others.
        activeFocusOnTab: enabled
        opacity: enabled ? 1.0 : 0.65
        Accessible.description: enabled ? "" : "Unavailable"

        contentItem: BodyText {
            text: entry.text
            leftPadding: 12
            verticalAlignment: Text.AlignVCenter
            Accessible.ignored: true
        }

        background: Rectangle {
            color: entry.highlighted ? Qt.alpha(Theme.color("Border"), 0.2) : "transparent"
            radius: 4
        }
    }
}
