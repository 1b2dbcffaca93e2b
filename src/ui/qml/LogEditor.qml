// What is collected, and the choice of more.
import QtQuick
import Lumamon

Column {
    id: editor

    required property ContentView view

    // As wide as the list with both columns, so that a box stays under the pointer that has just worked it.
    width: 544
    spacing: 12

    CollectedList {
        view: editor.view
    }

    Toggle {
        view: editor.view
        text: "Advanced logs"
        checked: editor.view.getSpinDump
        enabled: !editor.view.advanceLogToggleDisabled
        onClicked: editor.view.changeSpinDump(!checked)
    }

    Toggle {
        view: editor.view
        text: "System apps information"
        checked: editor.view.getInstalledApps
        enabled: !editor.view.advanceLogToggleDisabled
        onClicked: editor.view.changeInstalledApps(!checked)
    }

    // In one or two columns, which several spaces in a line separate.
    component CollectedList: Row {
        id: list

        required property ContentView view

        function column(index: int): string {
            return view.captureDetails.split("\n").map(line => line.split(/ {2,}/)[index] ?? "").join("\n");
        }

        spacing: 24

        BodyText {
            view: list.view
            text: list.column(0)
            lineHeight: 1.3
            wrapMode: Text.NoWrap
        }

        BodyText {
            view: list.view
            text: list.column(1)
            lineHeight: 1.3
            wrapMode: Text.NoWrap
            visible: text.trim() !== ""
        }
    }
}
