// The status line over a bar that shows that something runs: how far an upload is, or only that it goes on.
import QtQuick
import Lumamon

Column {
    id: status

    required property ContentView view
    readonly property bool isShown: view.isLogLabelVisible || view.isRunning
    /// In percent; none while the end is not known.
    readonly property var progress: /^Uploading (\d+)%$/.exec(view.logLabel)?.[1]

    spacing: 8

    LiveText {
        text: status.isShown ? status.view.logLabel : ""
        horizontalAlignment: Text.AlignHCenter
        width: status.width
    }

    Rectangle {
        id: bar

        implicitWidth: 240
        implicitHeight: 4
        radius: 2
        color: Qt.alpha(Theme.color("Border"), 0.35)
        clip: true
        opacity: status.view.isRunning ? 1 : 0
        anchors.horizontalCenter: parent.horizontalCenter
        Accessible.role: Accessible.ProgressBar
        Accessible.name: status.view.logLabel
        Accessible.ignored: !status.view.isRunning

        Rectangle {
            id: mark

            x: status.progress === undefined ? bar.width * moving.at : 0
            width: bar.width * (status.progress === undefined ? moving.share : status.progress / 100)
            height: parent.height
            radius: 2
            color: Theme.color("CheckboxColor")
        }

        NumberAnimation {
            id: moving

            readonly property real share: 0.3
            property real at: -share

            target: moving
            property: "at"
            from: -share
            to: 1
            duration: 1400
            loops: Animation.Infinite
            running: status.view.isRunning && status.view.isAnimating && status.progress === undefined
        }
    }
}
