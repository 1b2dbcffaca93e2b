// The upload failed: why, and what the user can do instead.
import QtQuick
import QtQuick.Layouts
import Lumamon

ColumnLayout {
    id: block

    required property ContentView view

    spacing: 6

    RowLayout {
        spacing: 8
        Layout.alignment: Qt.AlignHCenter

        Image {
            readonly property int scheme: block.view.colorScheme

            source: Assets.image(scheme === ContentView.ColorScheme.dark ? "darkerroricon" : "erroricon", scheme)
            sourceSize.width: 20
            sourceSize.height: 20
            Accessible.ignored: true
        }

        LiveText {
            view: block.view
            text: "Error sharing logs."
            colorName: "error"
        }
    }

    LiveText {
        view: block.view
        text: {
            switch (block.view.isSecondaryError) {
            case ContentView.SecondaryError.network:
                return "Please ensure you have access to the internet.";
            case ContentView.SecondaryError.canceled:
                return "Upload cancelled.";
            default:
                return "";
            }
        }
        visible: text !== ""
        horizontalAlignment: Text.AlignHCenter
        Layout.fillWidth: true
    }

    Flow {
        spacing: 4
        Layout.alignment: Qt.AlignHCenter
        Layout.maximumWidth: block.width

        BodyText {
            view: block.view
            text: "You can"
        }

        LinkButton {
            view: block.view
            text: "view the logs"
            onClicked: block.view.viewLogs()
        }

        BodyText {
            view: block.view
            text: "and share it with us at"
        }

        LinkButton {
            view: block.view
            text: block.view.supportEmail
            onClicked: block.view.mailToTrigger(block.view.supportEmail)
        }
    }
}
