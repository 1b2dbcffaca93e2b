// A text that works as a link.
import QtQuick
import QtQuick.Templates as T
import Lumamon

T.AbstractButton {
    id: link

    required property ContentView view
    property bool underlined: true

    hoverEnabled: true

    implicitWidth: implicitContentWidth
    implicitHeight: implicitContentHeight
    Accessible.role: Accessible.Link
    Accessible.name: text
    Accessible.description: enabled ? "" : "Unavailable"
    Keys.onReturnPressed: clicked()
    Keys.onEnterPressed: clicked()

    contentItem: BodyText {
        view: link.view
        text: link.text
        colorName: link.enabled ? "LinkColor" : "SecondaryTextColor"
        font.underline: link.underlined && link.enabled
        Accessible.ignored: true
    }

    background: Rectangle {
        color: "transparent"

        FocusRing {
            view: link.view
            visible: link.visualFocus
        }
    }

    HoverHandler {
        cursorShape: Qt.PointingHandCursor
    }
}
