// What is collected, and the choice of more.
import QtQuick
import QtQuick.Layouts
import Lumamon

ColumnLayout {
    id: editor

    required property ContentView view

    spacing: 12

    CollectedList {
        view: editor.view
    }

    Toggle {
        view: editor.view
        text: "Advanced logs"
        checked: editor.view.getSpinDump
        enabled: !editor.view.advanceLogToggleDisabled
        onToggled: editor.view.changeSpinDump(checked)
    }

    Toggle {
        view: editor.view
        text: "System apps information"
        checked: editor.view.getInstalledApps
        enabled: !editor.view.advanceLogToggleDisabled
        onToggled: editor.view.changeInstalledApps(checked)
    }
}
