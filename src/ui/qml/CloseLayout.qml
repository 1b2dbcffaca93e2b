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
        view: layout.view
        name: "checkmarkcircle"
        size: 64
        Layout.alignment: Qt.AlignHCenter
    }

    LiveText {
        view: layout.view
        text: "The log files were sent successfully."
        font.pixelSize: 20
        Layout.alignment: Qt.AlignHCenter
    }

    ThickBorderButtonStyle {
        id: close

        view: layout.view
        text: layout.view.startButtonLabel
        colorBinding: Assets.color(layout.view.thickBorderButtonColor, layout.view.colorScheme)
        onClicked: layout.view.close()
        Layout.alignment: Qt.AlignHCenter
    }
}
