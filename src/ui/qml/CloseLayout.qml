// The end of the run.
import QtQuick
import Lumamon

Column {
    spacing: 16
    onVisibleChanged: if (visible) close.forceActiveFocus(Qt.TabFocusReason)

    AssetImage {
        name: "checkmarkcircle"
        size: 64
        anchors.horizontalCenter: parent.horizontalCenter
    }

    LiveText {
        text: "The log files were sent successfully."
        font.pixelSize: 20
        anchors.horizontalCenter: parent.horizontalCenter
    }

    ThickBorderButtonStyle {
        id: close

        text: ContentView.startButtonLabel
        colorBinding: Theme.color(ContentView.thickBorderButtonColor)
        onClicked: ContentView.closeRequested()
        anchors.horizontalCenter: parent.horizontalCenter
    }
}
