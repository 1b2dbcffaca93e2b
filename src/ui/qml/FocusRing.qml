// Shows which control the keyboard works.
import QtQuick
import Lumamon

Rectangle {
    anchors.fill: parent
    anchors.margins: -4
    color: "transparent"
    border.width: 2
    border.color: Theme.color("LinkColor")
}
