// What is collected, and the choice of more.
import QtQuick
import Lumamon

Rectangle {
    implicitHeight: content.height + 2 * content.y
    radius: 12
    color: Qt.alpha(Theme.color("Border"), 0.1)

    Column {
        id: content

        x: 24
        y: 24
        width: parent.width - 2 * x
        spacing: 20

        // As high as the longest column, so that a box stays under the pointer that has just worked it.
        Row {
            spacing: 24
            height: 84

            Repeater {
                // Columns of lines; several spaces in a line of the text separate them.
                model: {
                    const lines = ContentView.captureDetails.split("\n").map(line => line.split(/ {2,}/));
                    return [0, 1].map(column => lines.map(line => line[column] ?? "").filter(line => line !== ""));
                }

                Column {
                    id: column

                    required property var modelData

                    spacing: 6

                    BodyText {
                        text: column.modelData[0] ?? ""
                        isBold: true
                        visible: text !== ""
                        Accessible.role: Accessible.Heading
                    }

                    BodyText {
                        text: column.modelData.slice(1).join("\n")
                        lineHeight: 1.3
                        wrapMode: Text.NoWrap
                        visible: text !== ""
                    }
                }
            }
        }

        Toggle {
            text: "Advanced logs"
            checked: ContentView.getSpinDump
            enabled: !ContentView.advanceLogToggleDisabled
            onClicked: ContentView.changeSpinDump(!checked)
        }

        Toggle {
            text: "System apps information"
            checked: ContentView.getInstalledApps
            enabled: !ContentView.advanceLogToggleDisabled
            onClicked: ContentView.changeInstalledApps(!checked)
        }
    }
}
