// Shows which control the keyboard works.
import QtQuick
import Lumamon

Rectangle {
    required property ContentView view
    property string colorName: "LinkColor"

    anchors.fill: parent
    anchors.margins: -4
    color: "transparent"
    radius: (parent as Rectangle)?.radius + 4
    border.width: 2
    border.color: Assets.color(colorName, view.colorScheme)
}
