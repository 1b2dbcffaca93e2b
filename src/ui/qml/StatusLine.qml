// The status line, with a moving bar while something runs whose end is not known.
import QtQuick
import Lumamon

Column {
    id: status

    required property ContentView view

    spacing: 8

    LiveText {
        text: status.view.logLabel
        horizontalAlignment: Text.AlignHCenter
        width: status.width
    }

    Rectangle {
        id: bar

        implicitWidth: 240
        implicitHeight: 4
        radius: 2
        color: Qt.alpha(Assets.color("Border"), 0.35)
        clip: true
        visible: status.view.isRunning
        anchors.horizontalCenter: parent.horizontalCenter
        Accessible.role: Accessible.ProgressBar
        Accessible.name: status.view.logLabel

        Rectangle {
            id: mark

            width: 72
            height: parent.height
            radius: 2
            color: Assets.color("CheckboxColor")

            NumberAnimation on x {
                from: -mark.width
                to: bar.width
                duration: 1400
                loops: Animation.Infinite
                running: bar.visible && status.view.isAnimating
            }
        }
    }
}
