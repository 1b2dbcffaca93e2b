// The status line, with a moving bar while something is under way.
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
}
