// The outline of a text box.
import QtQuick
import Lumamon

Rectangle {
    id: frame

    required property ContentView view
    required property bool isWrong
    required property bool isFocused

    radius: 6
    color: "transparent"
    border.width: 1
    border.color: Assets.color(isWrong ? "error" : "Border", view.colorScheme)

    FocusRing {
        view: frame.view
        anchors.margins: -2
        colorName: frame.isWrong ? "error" : "LinkColor"
        visible: frame.isFocused
    }
}
