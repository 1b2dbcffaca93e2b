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
        // The end of the run has its own headline.
        colorName: block.view.isCloseLayoutVisible ? "SecondaryTextColor" : "PrimaryTextColor"
        font.pixelSize: 18
        horizontalAlignment: Text.AlignHCenter
        Layout.fillWidth: true
    }

    BodyText {
        text: "Use the below Log ID for your reference:"
        colorName: "SecondaryTextColor"
        horizontalAlignment: Text.AlignHCenter
        Layout.fillWidth: true
    }

    EditableText {
        id: logId

        view: block.view
        content: view.logId
        readOnly: true
        font.family: "BrennicClean-Bold"
        font.bold: true
        font.pixelSize: 20
        wrapMode: TextEdit.NoWrap
        Accessible.name: "Log ID"
        Layout.alignment: Qt.AlignHCenter

        FocusRing {
            radius: 4
            visible: logId.activeFocus
        }
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

        // Known before the block is first shown, so that nothing moves.
        LiveText {
            text: block.view.isSampleMissing ? "The advanced logs have no data dump of Lumadoc." : ""
            colorName: "SecondaryTextColor"
            visible: text !== ""
        }
    }
}
