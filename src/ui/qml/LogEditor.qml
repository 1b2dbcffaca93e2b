// What is collected, and the choice of more.
import QtQuick
import Lumamon

Column {
    id: editor

    required property ContentView view
    /// What is collected, in columns; several spaces in a line separate them.
    readonly property var columns: {
        const lines = view.captureDetails.split("\n").map(line => line.split(/ {2,}/));
        return [0, 1].map(column => lines.map(line => line[column] ?? "").join("\n"));
    }

    // As wide as the list with both columns, so that a box stays under the pointer that has just worked it.
    width: 544
    spacing: 12

    Row {
        spacing: 24

        Repeater {
            model: editor.columns

            BodyText {
                required property string modelData

                text: modelData
                lineHeight: 1.3
                wrapMode: Text.NoWrap
                visible: text.trim() !== ""
            }
        }
    }

    Toggle {
        text: "Advanced logs"
        checked: editor.view.getSpinDump
        enabled: !editor.view.advanceLogToggleDisabled
        onClicked: editor.view.changeSpinDump(!checked)
    }

    Toggle {
        text: "System apps information"
        checked: editor.view.getInstalledApps
        enabled: !editor.view.advanceLogToggleDisabled
        onClicked: editor.view.changeInstalledApps(!checked)
    }
}
