// The status line over a bar that shows that something runs: how far an upload is, or only that it goes on.
import QtQuick
import Lumamon

Column {
    id: status

    readonly property bool isShown: ContentView.isLogLabelVisible || ContentView.isRunning
    /// In percent; none while the end is not known.
    readonly property var progress: /^Uploading (\d+)%$/.exec(ContentView.logLabel)?.[1]

    spacing: 8

    LiveText {
        text: status.isShown ? ContentView.logLabel : ""
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
        opacity: ContentView.isRunning ? 1 : 0
        anchors.horizontalCenter: parent.horizontalCenter
        Accessible.role: Accessible.ProgressBar
        Accessible.name: ContentView.logLabel
        Accessible.ignored: !ContentView.isRunning

        Rectangle {
            readonly property bool isMoving: status.progress === undefined
            property real place

            x: isMoving ? bar.width * (1.3 * place - 0.3) : 0
            width: bar.width * (isMoving ? 0.3 : status.progress / 100)
            height: parent.height
            radius: 2
            color: Theme.color("CheckboxColor")

            NumberAnimation on place {
                from: 0
                to: 1
                duration: 1400
                loops: Animation.Infinite
                running: ContentView.isRunning && ContentView.isAnimating && status.progress === undefined
            }
        }
    }
}
