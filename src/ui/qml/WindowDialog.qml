// What comes up over the window and is answered before anything else: its title, and below it what it holds.
import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Lumamon

T.Dialog {
    id: dialog

    default property alias content: column.data

    signal escaped()

    parent: T.Overlay.overlay
    anchors.centerIn: parent
    implicitHeight: implicitContentHeight + 2 * padding
    padding: 24
    modal: true
    closePolicy: T.Popup.NoAutoClose

    background: Rectangle {
        color: Theme.color("BackgroundColor")
        radius: 12
        border.width: 1
        border.color: Theme.color("Border")
    }

    T.Overlay.modal: Rectangle { color: Qt.rgba(0, 0, 0, 0.45) }

    ColumnLayout {
        id: column

        anchors.fill: parent
        spacing: 12
        Keys.onEscapePressed: dialog.escaped()

        BodyText {
            text: dialog.title
            isBold: true
            font.pixelSize: 16
            Layout.fillWidth: true
        }
    }
}
