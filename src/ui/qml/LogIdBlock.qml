// The Log ID, which the support desk asks for.
import QtQuick
import QtQuick.Layouts
import Lumamon

ColumnLayout {
    id: block

    required property ContentView view

    spacing: 6

    LiveText {
        view: block.view
        text: "Logs generated successfully."
        font.family: "BrennicClean-Bold"
        font.bold: true
        font.pixelSize: 18
        horizontalAlignment: Text.AlignHCenter
        Layout.fillWidth: true
    }

    BodyText {
        view: block.view
        text: "Use the below Log ID for your reference:"
        colorName: "SecondaryTextColor"
        horizontalAlignment: Text.AlignHCenter
        Layout.fillWidth: true
    }

    BodyText {
        view: block.view
        text: block.view.logId
        font.family: "BrennicClean-Bold"
        font.bold: true
        font.pixelSize: 20
        horizontalAlignment: Text.AlignHCenter
        Layout.fillWidth: true
    }

    RowLayout {
        spacing: 24
        Layout.alignment: Qt.AlignHCenter

        LinkButton {
            view: block.view
            text: block.view.CopyText
            underlined: block.view.isCopyHovering
            Accessible.role: Accessible.Button
            onHoveredChanged: block.view.isCopyHovering = hovered
            onClicked: block.view.copyLogId()
        }

        LinkButton {
            view: block.view
            text: "view logs"
            enabled: !block.view.viewlogsButtonDisabled
            onClicked: block.view.viewLogs()
        }
    }
}
