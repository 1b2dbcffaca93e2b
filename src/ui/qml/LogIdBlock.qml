// The Log ID, which the support desk asks for.
import QtQuick
import QtQuick.Layouts
import Lumamon

ColumnLayout {
    spacing: 6

    LiveText {
        text: "Logs generated successfully."
        isBold: true
        // The end of the run has its own headline.
        colorName: ContentView.isCloseLayoutVisible ? "SecondaryTextColor" : "PrimaryTextColor"
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
        content: ContentView.logId
        readOnly: true
        font.family: "BrennicClean-Bold"
        font.bold: true
        font.pixelSize: 20
        wrapMode: TextEdit.NoWrap
        Accessible.name: "Log ID"
        Layout.alignment: Qt.AlignHCenter
    }

    RowLayout {
        spacing: 24
        Layout.alignment: Qt.AlignHCenter

        LinkButton {
            text: ContentView.CopyText
            underlined: ContentView.isCopyHovering
            Accessible.role: Accessible.Button
            onHoveredChanged: ContentView.isCopyHovering = hovered
            onClicked: ContentView.copyLogId()
        }

        LinkButton {
            text: "view logs"
            enabled: !ContentView.viewlogsButtonDisabled
            onClicked: ContentView.viewLogs()
        }

        // Known before the block is first shown, so that nothing moves.
        LiveText {
            text: ContentView.isSampleMissing ? "The advanced logs have no data dump of Lumadoc." : ""
            colorName: "SecondaryTextColor"
            visible: text !== ""
        }
    }
}
