// The outline of a box.
import QtQuick
import Lumamon

Rectangle {
    id: frame

    property bool isWrong: false
    property bool isFrozen: false
    required property bool isFocused

    radius: 6
    color: isFrozen ? Qt.alpha(Theme.color("Border"), 0.15) : "transparent"
    border.width: 1
    border.color: Theme.color(isWrong ? "error" : "Border")

    FocusRing {
        anchors.margins: -2
        radius: 10
        border.color: Theme.color(frame.isWrong ? "error" : "LinkColor")
        visible: frame.isFocused
    }
}
