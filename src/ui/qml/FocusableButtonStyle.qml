// A button filled with a colour.
import QtQuick

WindowButton {
    required property color colorBinding

    opacity: enabled && !pressed ? 1.0 : 0.8
    background.color: colorBinding
}
