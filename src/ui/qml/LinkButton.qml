// A text that works as a link.
import QtQuick

Pressable {
    id: link

    property bool underlined: true
    property alias contentItem: caption

    implicitWidth: caption.implicitWidth
    implicitHeight: caption.implicitHeight
    cursorShape: Qt.PointingHandCursor
    Accessible.role: Accessible.Link

    BodyText {
        id: caption

        text: link.text
        colorName: link.enabled ? "LinkColor" : "SecondaryTextColor"
        font.underline: link.underlined && link.enabled
        wrapMode: Text.NoWrap
        Accessible.ignored: true
    }
}
