// A button filled with a colour.
import QtQuick
import Lumamon

WindowButton {
    property color colorBinding: Theme.color("PrimaryColor")

    textColor: "white"
    opacity: enabled && !pressed ? 1.0 : 0.8
    background.color: colorBinding
}
