// What comes up over the window and is answered before anything else.
import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Templates as T
import Lumamon

Dialog {
    parent: T.Overlay.overlay
    anchors.centerIn: parent
    padding: 24
    modal: true
    closePolicy: Popup.NoAutoClose
    header: null
    footer: null

    background: Rectangle {
        color: Assets.color("BackgroundColor")
        radius: 12
        border.width: 1
        border.color: Assets.color("Border")
    }

    T.Overlay.modal: Rectangle {
        color: Qt.rgba(0, 0, 0, 0.45)
    }
}
