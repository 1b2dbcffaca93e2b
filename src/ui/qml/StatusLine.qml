// The status line, with a moving bar while something runs whose end is not known.
import QtQuick
import Lumamon

Column {
    id: status

    required property ContentView view

    spacing: 8

    LiveText {
        view: status.view
        text: status.view.logLabel
        horizontalAlignment: Text.AlignHCenter
        width: status.width
    }

    RunningIndicator {
        view: status.view
        visible: status.view.isRunning
        anchors.horizontalCenter: parent.horizontalCenter
    }

    component RunningIndicator: Rectangle {
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
}
