// Logo and title.
import QtQuick
import Lumamon

Row {
    id: header

    required property ContentView view

    spacing: 16

    AssetImage {
        view: header.view
        name: "lumadocdiagnosticlogo"
        size: 80
    }

    BodyText {
        view: header.view
        text: "Brennic Lumadoc Diagnostics"
        font.pixelSize: 22
        wrapMode: Text.NoWrap
        anchors.verticalCenter: parent.verticalCenter
        Accessible.role: Accessible.Heading
    }
}
