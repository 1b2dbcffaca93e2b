// The end of the run.
import QtQuick
import QtQuick.Layouts
import Lumamon

ColumnLayout {
    id: layout

    required property ContentView view

    spacing: 16
    Component.onCompleted: close.forceActiveFocus(Qt.TabFocusReason)

    AssetImage {
        name: "checkmarkcircle"
        size: 64
        Layout.alignment: Qt.AlignHCenter
    }

    LiveText {
        text: "The log files were sent successfully."
        font.pixelSize: 20
        Layout.alignment: Qt.AlignHCenter
    }

    ThickBorderButtonStyle {
        id: close

        text: layout.view.startButtonLabel
        colorBinding: Assets.color(layout.view.thickBorderButtonColor)
        onClicked: layout.view.close()
        Layout.alignment: Qt.AlignHCenter
    }
}
