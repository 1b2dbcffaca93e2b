// Logo and title.
import QtQuick
import QtQuick.Layouts
import Lumamon

RowLayout {
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
        Accessible.role: Accessible.Heading
    }
}
