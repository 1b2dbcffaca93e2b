// A button filled with a colour.
import QtQuick
import Lumamon

WindowButton {
    id: button

    required property color colorBinding

    opacity: enabled && !pressed ? 1.0 : 0.8

    background: Rectangle {
        color: button.colorBinding
        radius: 16

        FocusRing {
            view: button.view
            visible: button.visualFocus
        }
    }
}
