// A bar that moves while something is under way whose end is not known.
import QtQuick
import Lumamon

Rectangle {
    id: bar

    required property ContentView view

    implicitWidth: 240
    implicitHeight: 4
    radius: 2
    color: Qt.alpha(Assets.color("Border", view.colorScheme), 0.35)
    clip: true
    Accessible.role: Accessible.ProgressBar
    Accessible.name: view.logLabel

    Rectangle {
        id: mark

        width: 72
        height: parent.height
        radius: 2
        color: Assets.color("CheckboxColor", bar.view.colorScheme)

        NumberAnimation on x {
            from: -mark.width
            to: bar.width
            duration: 1400
            loops: Animation.Infinite
            running: bar.visible && bar.view.isAnimating
        }
    }
}
