// The upload failed: why, and what the user can do instead.
import QtQuick
import QtQuick.Layouts
import Lumamon

ColumnLayout {
    id: block

    spacing: 6

    RowLayout {
        spacing: 8
        Layout.alignment: Qt.AlignHCenter

        AssetImage {
            name: Theme.isDark ? "darkerroricon" : "erroricon"
            size: 20
        }

        LiveText {
            text: "Error sharing logs."
            colorName: "error"
        }

        LiveText {
            text: ContentView.isSecondaryError === ContentView.SecondaryError.network
                ? "Please ensure you have access to the internet."
                : ContentView.isSecondaryError === ContentView.SecondaryError.canceled ? "Upload cancelled." : ""
            visible: text !== ""
        }
    }

    Flow {
        readonly property real inOneLine: you.implicitWidth + logs.implicitWidth + share.implicitWidth
            + address.implicitWidth + 3 * spacing

        spacing: 6
        Layout.alignment: Qt.AlignHCenter
        Layout.preferredWidth: Math.min(inOneLine, block.width)

        BodyText {
            id: you

            text: "You can"
        }

        LinkButton {
            id: logs

            text: "view the logs"
            onClicked: ContentView.viewLogs()
        }

        BodyText {
            id: share

            text: "and share it with us at"
        }

        LinkButton {
            id: address

            text: ContentView.supportEmail
            onClicked: ContentView.mailToTrigger(ContentView.supportEmail)
        }
    }
}
