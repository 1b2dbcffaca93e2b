// A check box in the window's look; without its box it is a row that is pressed.
import QtQuick
import Lumamon

Pressable {
    id: toggle

    property bool checked: false
    property bool hasBox: true

    implicitWidth: caption.x + caption.implicitWidth
    implicitHeight: caption.implicitHeight
    opacity: enabled ? 1.0 : 0.65
    takesReturn: false
    ringed: hasBox ? box : caption
    ringRadius: 8
    Accessible.role: hasBox ? Accessible.CheckBox : Accessible.Button
    Accessible.checkable: hasBox
    Accessible.checked: checked
    // Instead of Qt's own action, which would set `checked`.
    Accessible.onToggleAction: press()

    Rectangle {
        id: box

        visible: toggle.hasBox
        width: 18
        height: 18
        radius: 4
        anchors.verticalCenter: parent.verticalCenter
        color: toggle.checked ? Theme.color("CheckboxColor") : "transparent"
        border.width: toggle.checked ? 0 : 1
        border.color: Theme.color("Border")

        AssetImage {
            name: "checkmark"
            anchors.centerIn: parent
            size: 14
            visible: toggle.checked
        }
    }

    BodyText {
        id: caption

        text: toggle.text
        font.pixelSize: 16
        x: box.width + 8
        anchors.verticalCenter: parent.verticalCenter
        width: Math.min(implicitWidth, toggle.width - x)
        wrapMode: Text.NoWrap
        elide: Text.ElideMiddle
        Accessible.ignored: true
    }
}
