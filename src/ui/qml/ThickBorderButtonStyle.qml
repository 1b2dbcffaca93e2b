// A button with a thick rounded border.
import QtQuick
import Lumamon

WindowButton {
    property color colorBinding: Theme.color("BackgroundColor")
    property color strokeColor: Theme.color("PrimaryTextColor")

    background.color: pressed ? Qt.alpha(strokeColor, 0.2) : colorBinding
    background.border.width: 2
    background.border.color: strokeColor
}
