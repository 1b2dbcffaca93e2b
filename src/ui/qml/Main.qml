import QtQuick
import Lumamon

Window {
    id: root
    required property ContentView view
    required property Alerts alerts
    onClosing: view.disappear()
    width: 680; height: 576; visible: true
    color: Assets.color("BackgroundColor", view.colorScheme)
    Text { anchors.centerIn: parent; text: root.view.startButtonLabel; font.family: "BrennicClean-Regular" }
}
