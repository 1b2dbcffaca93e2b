// The status line, with a moving bar while something is under way.
import QtQuick
import QtQuick.Layouts
import Lumamon

ColumnLayout {
    id: status

    required property ContentView view

    spacing: 8

    LiveText {
        view: status.view
        text: status.view.logLabel
        horizontalAlignment: Text.AlignHCenter
        Layout.fillWidth: true
    }

    RunningIndicator {
        view: status.view
        visible: status.view.isRunning
        Layout.alignment: Qt.AlignHCenter
    }
}
