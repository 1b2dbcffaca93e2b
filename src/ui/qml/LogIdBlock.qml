// The Log ID, which the support desk asks for.
import QtQuick
import QtQuick.Layouts
import Lumamon

ColumnLayout {
    id: block

    required property ContentView view

    spacing: 6

    LiveText {
        text: "Logs generated successfully."
        isBold: true
        font.pixelSize: 18
        Layout.alignment: Qt.AlignHCenter
    }

    BodyText {
        text: "Use the below Log ID for your reference:"
        colorName: "SecondaryTextColor"
        Layout.alignment: Qt.AlignHCenter
    }

    BodyText {
        text: block.view.logId
        isBold: true
        font.pixelSize: 20
        Layout.alignment: Qt.AlignHCenter
    }

    RowLayout {
        spacing: 24
        Layout.alignment: Qt.AlignHCenter

        LinkButton {
            text: block.view.CopyText
            underlined: block.view.isCopyHovering
            Accessible.role: Accessible.Button
            onHoveredChanged: block.view.isCopyHovering = hovered
            onClicked: block.view.copyLogId()
        }

        LinkButton {
            text: "view logs"
            enabled: !block.view.viewlogsButtonDisabled
            onClicked: block.view.viewLogs()
        }
    }
}
