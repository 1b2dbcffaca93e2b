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

    // The button that picks files, how many are attached, and the button that removes them.
    component AttachmentRow: RowLayout {
        id: row

        required property ContentView view

        spacing: 16

        WindowButton {
            view: row.view
            text: "Attach screenshot and pdf files"
            sidePadding: 6
            enabled: !row.view.isFormFrozen && !row.view.isFeedbackEmailLayoutDisabled
            opacity: enabled ? 1.0 : 0.65
            onClicked: row.view.presentFilePicker()
            background.radius: 6
            background.border.width: 1
            background.border.color: Assets.color("Border", row.view.colorScheme)
            background.color: pressed ? Qt.alpha(background.border.color, 0.2) : "transparent"
            Layout.preferredWidth: row.view.AttachFileButtonWidth
        }

        ColumnLayout {
            spacing: 6
            Layout.fillWidth: true

            BodyText {
                view: row.view
                text: "(Max 10 MB; Do not include any sensitive information)"
                colorName: "SecondaryTextColor"
                Layout.fillWidth: true
            }

            RowLayout {
                spacing: 8
                visible: row.view.attachedFilesLabel !== ""

                LiveText {
                    view: row.view
                    text: row.view.attachedFilesLabel
                }

                Pressable {
                    id: remove

                    implicitWidth: 24
                    implicitHeight: 24
                    text: "Remove attached files"
                    enabled: !row.view.isFormFrozen && !row.view.isFeedbackEmailLayoutDisabled
                    opacity: enabled ? 1.0 : 0.65
                    onClicked: row.view.removeAllUserFiles()
                    Accessible.role: Accessible.Button

                    Rectangle {
                        anchors.fill: parent
                        color: "transparent"
                        radius: 4

                        FocusRing {
                            view: row.view
                            visible: remove.visualFocus
                        }
                    }

                    AssetImage {
                        view: row.view
                        name: "TarnDeleteOutline18N"
                        size: 18
                        anchors.centerIn: parent
                    }
                }
            }
        }
    }
}
