// The outline of a text box.
import QtQuick
import Lumamon

Rectangle {
    id: frame

    required property bool isWrong
    required property bool isFocused
    required property bool isFrozen

    radius: 6
    color: isFrozen ? Qt.alpha(Assets.color("Border"), 0.15) : "transparent"
    border.width: 1
    border.color: Assets.color(isWrong ? "error" : "Border")

    FocusRing {
        anchors.margins: -2
        radius: 10
        colorName: frame.isWrong ? "error" : "LinkColor"
        visible: frame.isFocused
    }
}
