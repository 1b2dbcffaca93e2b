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
        readonly property real inOneLine: you.implicitWidth + logs.implicitWidth + share.implicitWidth
            + address.implicitWidth + 3 * spacing

        spacing: 4
        Layout.alignment: Qt.AlignHCenter
        Layout.preferredWidth: Math.min(inOneLine, block.width)

        BodyText {
            id: you

            view: block.view
            text: "You can"
        }

        LinkButton {
            id: logs

            view: block.view
            text: "view the logs"
            onClicked: block.view.viewLogs()
        }

        BodyText {
            id: share

            view: block.view
            text: "and share it with us at"
        }

        LinkButton {
            id: address

            view: block.view
            text: block.view.supportEmail
            onClicked: block.view.mailToTrigger(block.view.supportEmail)
        }
    }
}
