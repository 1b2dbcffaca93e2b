// A button with a thick rounded border.
import QtQuick
import Lumamon

WindowButton {
    id: button

    required property color colorBinding
    property color strokeColor: Assets.color("PrimaryTextColor", view.colorScheme)

    background: Rectangle {
        color: button.pressed ? Qt.alpha(button.strokeColor, 0.2) : button.colorBinding
        radius: 16
        border.width: 2
        border.color: button.strokeColor

        FocusRing {
            view: button.view
            visible: button.visualFocus
        }
    }
}
