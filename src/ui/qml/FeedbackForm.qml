// The form: what led to the error, an address for the answer, and attached files.
import QtQuick
import QtQuick.Layouts
import Lumamon

ColumnLayout {
    id: form

    required property ContentView view

    spacing: 6
    // The description is what the user is asked for next.
    Component.onCompleted: description.takeFocus()

    DescriptionBox {
        id: description

        view: form.view
        Layout.fillWidth: true
    }

    EmailBox {
        view: form.view
        Layout.fillWidth: true
        Layout.topMargin: 4
    }

    AttachmentRow {
        view: form.view
        Layout.fillWidth: true
        Layout.topMargin: 8
    }
}
