// What the window's buttons have in common: a caption on a rounded ground, and a ring that shows the focus.
import QtQuick
import Lumamon

Pressable {
    id: button

    required property ContentView view
    property color textColor: Assets.color("PrimaryTextColor", view.colorScheme)
    property real sidePadding: 16
    property alias background: ground
    property alias contentItem: caption

    implicitWidth: caption.implicitWidth + 2 * sidePadding
    implicitHeight: caption.implicitHeight + 16
    Accessible.role: Accessible.Button

    Rectangle {
        id: ground

        anchors.fill: parent
        radius: 16

        FocusRing {
            view: button.view
            visible: button.visualFocus
        }
    }

    BodyText {
        id: caption

        view: button.view
        text: button.text
        color: button.textColor
        x: button.sidePadding
        y: 8
        width: button.width - 2 * button.sidePadding
        horizontalAlignment: Text.AlignHCenter
        Accessible.ignored: true
    }
}
