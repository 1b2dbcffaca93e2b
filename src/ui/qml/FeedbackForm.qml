// The form: what led to the error, an address for the answer, and attached files.
import QtQuick
import QtQuick.Layouts
import Lumamon

ColumnLayout {
    id: form

    readonly property bool canAttach: !ContentView.isFormFrozen && !ContentView.isFeedbackEmailLayoutDisabled
    readonly property bool isAttaching: ContentView.isAttaching
    property bool isDiskSlow: false

    spacing: 6
    // The description is what the user is asked for next.
    onVisibleChanged: if (visible) ContentView.feedbackFormFocus = ContentView.Field.feedback
    onIsAttachingChanged: isDiskSlow = false

    // Most disks are done before anybody could read this.
    Timer {
        interval: 500
        running: form.isAttaching
        onTriggered: form.isDiskSlow = true
    }

    FormBox {
        field: ContentView.Field.feedback
        Layout.fillWidth: true
    }

    FormBox {
        field: ContentView.Field.email
        Layout.fillWidth: true
        Layout.topMargin: 4
    }

    RowLayout {
        spacing: 16
        Layout.fillWidth: true
        Layout.topMargin: 8

        WindowButton {
            text: "Attach screenshot and pdf files"
            sidePadding: 6
            enabled: form.canAttach
            opacity: enabled ? 1.0 : 0.65
            onClicked: ContentView.presentFilePicker()
            background.radius: 6
            background.border.width: 1
            background.border.color: Theme.color("Border")
            background.color: pressed ? Qt.alpha(background.border.color, 0.2) : "transparent"
            Layout.preferredWidth: ContentView.AttachFileButtonWidth
        }

        ColumnLayout {
            spacing: 6
            Layout.fillWidth: true

            BodyText {
                text: "(Max 10 MB; Do not include any sensitive information)"
                colorName: "SecondaryTextColor"
                Layout.fillWidth: true
            }

            // There is always room for it.
            RowLayout {
                spacing: 8
                Layout.preferredHeight: 24

                LiveText {
                    text: form.isDiskSlow ? "Waiting for the disk" : ContentView.attachedFilesLabel
                }

                Pressable {
                    visible: ContentView.attachedFilesLabel !== ""
                    implicitWidth: 24
                    implicitHeight: 24
                    ringRadius: 8
                    text: "Remove attached files"
                    enabled: form.canAttach
                    opacity: enabled ? 1.0 : 0.65
                    onClicked: ContentView.removeAllUserFiles()
                    Accessible.role: Accessible.Button

                    AssetImage {
                        name: "TarnDeleteOutline18N"
                        size: 18
                        anchors.centerIn: parent
                    }
                }
            }
        }
    }
}
