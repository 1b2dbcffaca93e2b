// The list of what is collected, in one or two columns: a run of spaces in a line parts the columns.
import QtQuick
import Lumamon

Row {
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
