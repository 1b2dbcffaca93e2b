// A text that works as a link.
import QtQuick
import Lumamon

Pressable {
    id: link

    required property ContentView view
    property bool underlined: true
    property alias contentItem: caption

    implicitWidth: caption.implicitWidth
    implicitHeight: caption.implicitHeight
    cursorShape: Qt.PointingHandCursor
    Accessible.role: Accessible.Link

    Rectangle {
        anchors.fill: parent
        color: "transparent"

        FocusRing {
            view: link.view
            visible: link.visualFocus
        }
    }

    BodyText {
        id: caption

        view: link.view
        text: link.text
        colorName: link.enabled ? "LinkColor" : "SecondaryTextColor"
        font.underline: link.underlined && link.enabled
        wrapMode: Text.NoWrap
        Accessible.ignored: true
    }
}
