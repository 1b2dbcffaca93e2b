// A check box in the window's look.
import QtQuick
import QtQuick.Templates as T
import Lumamon

T.CheckBox {
    id: toggle

    required property ContentView view
    readonly property color tint: Assets.color("CheckboxColor", view.colorScheme)

    implicitWidth: implicitIndicatorWidth + spacing + implicitContentWidth
    implicitHeight: Math.max(implicitContentHeight, implicitIndicatorHeight)
    spacing: 8
    opacity: enabled ? 1.0 : 0.6
    Keys.onReturnPressed: event => event.accepted = false
    Accessible.name: text
    Accessible.description: enabled ? "" : "Unavailable"

    indicator: Rectangle {
        implicitWidth: 18
        implicitHeight: 18
        y: (toggle.height - height) / 2
        radius: 4
        color: toggle.checked ? toggle.tint : "transparent"
        border.width: toggle.checked ? 0 : 1
        border.color: Assets.color("Border", toggle.view.colorScheme)

        AssetImage {
            view: toggle.view
            name: "checkmark"
            anchors.centerIn: parent
            size: 14
            visible: toggle.checked
        }

        FocusRing {
            view: toggle.view
            visible: toggle.visualFocus
        }
    }

    contentItem: BodyText {
        view: toggle.view
        text: toggle.text
        font.pixelSize: 16
        leftPadding: toggle.indicator.width + toggle.spacing
        verticalAlignment: Text.AlignVCenter
        Accessible.ignored: true
    }
}
