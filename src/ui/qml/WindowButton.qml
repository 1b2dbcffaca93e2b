// What the window's buttons have in common: a caption on a rounded ground.
import QtQuick
import Lumamon

Pressable {
    id: button

    property color textColor: Theme.color("PrimaryTextColor")
    property real sidePadding: 16
    property alias background: ground
    property alias contentItem: caption

    implicitWidth: caption.implicitWidth + 2 * sidePadding
    implicitHeight: caption.implicitHeight + 16
    ringRadius: ground.radius + 4
    Accessible.role: Accessible.Button

    Rectangle {
        id: ground

        anchors.fill: parent
        radius: 16
    }

    BodyText {
        id: caption

        text: button.text
        color: button.textColor
        x: button.sidePadding
        y: 8
        width: button.width - 2 * button.sidePadding
        horizontalAlignment: Text.AlignHCenter
        Accessible.ignored: true
    }
}
