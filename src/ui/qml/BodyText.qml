// A text of the window, in a named colour.
import QtQuick
import Lumamon

Text {
    required property ContentView view
    property string colorName: "PrimaryTextColor"

    color: Assets.color(colorName, view.colorScheme)
    font.family: "BrennicClean-Regular"
    font.pixelSize: 14
    textFormat: Text.PlainText
    wrapMode: Text.Wrap
    Accessible.role: Accessible.StaticText
    Accessible.name: text
}
