// The diagnostics window: its sections from top to bottom, and the alerts over them.
import QtQuick
import QtQuick.Controls.Basic
import Lumamon

Window {
    id: window

    required property ContentView view
    required property Alerts alerts

    title: Application.displayName
    minimumWidth: 680
    minimumHeight: 576
    width: minimumWidth
    height: minimumHeight
    visible: true
    color: Assets.color("BackgroundColor", view.colorScheme)
    onClosing: view.disappear()

    ScrollView {
        id: scroll

        anchors.fill: parent
        contentWidth: availableWidth
        contentHeight: sections.implicitHeight + 2 * sections.edge

        WindowSections {
            id: sections

            readonly property int edge: 24

            x: edge
            y: edge
            width: scroll.availableWidth - 2 * edge
            view: window.view
        }
    }

    AlertPresentation {
        view: window.view
        alerts: window.alerts
    }
}
