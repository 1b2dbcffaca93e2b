// Attached files: the button that picks them, how many there are, and the one that removes them.
import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Lumamon

RowLayout {
    id: row

    required property ContentView view

    spacing: 16

    WindowButton {
        id: attach

        view: row.view
        text: "Attach screenshot and pdf files"
        leftPadding: 6
        rightPadding: 6
        enabled: !row.view.isFormFrozen && !row.view.isFeedbackEmailLayoutDisabled
        opacity: enabled ? 1.0 : 0.6
        onClicked: row.view.presentFilePicker()
        Layout.preferredWidth: row.view.AttachFileButtonWidth

        background: BoxFrame {
            view: row.view
            isWrong: false
            isFocused: attach.visualFocus
            color: attach.pressed ? Qt.alpha(border.color, 0.2) : "transparent"
        }
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

            T.AbstractButton {
                id: remove

                implicitWidth: 24
                implicitHeight: 24
                enabled: !row.view.isFormFrozen && !row.view.isFeedbackEmailLayoutDisabled
                opacity: enabled ? 1.0 : 0.6
                Accessible.name: "Remove attached files"
                Accessible.description: enabled ? "" : "Unavailable"
                Keys.onReturnPressed: clicked()
                Keys.onEnterPressed: clicked()
                onClicked: row.view.removeAllUserFiles()

                contentItem: AssetImage {
                    view: row.view
                    name: "TarnDeleteOutline18N"
                    size: 18
                }

                background: Rectangle {
                    color: "transparent"
                    radius: 4

                    FocusRing {
                        view: row.view
                        visible: remove.visualFocus
                    }
                }
            }
        }
    }
}
