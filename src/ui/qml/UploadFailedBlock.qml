// The upload failed: why, and what the user can do instead.
import QtQuick
import QtQuick.Layouts
import Lumamon

ColumnLayout {
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
        readonly property real inOneLine: Array.from(children)
            .reduce((width, part) => width + spacing + part.implicitWidth, -spacing)

        spacing: 6
        Layout.alignment: Qt.AlignHCenter
        Layout.preferredWidth: Math.min(inOneLine, parent.width)

        BodyText { text: "You can" }

        LinkButton {
            text: "view the logs"
            onClicked: ContentView.viewLogs()
        }

        BodyText { text: "and share it with us at" }

        LinkButton {
            takesDoubleClick: false
            text: ContentView.supportEmail
            onClicked: ContentView.mailToTrigger(ContentView.supportEmail)
        }
    }
}
