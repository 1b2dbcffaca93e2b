// A text of the window, in a named colour.
import QtQuick
import Lumamon

Text {
    property string colorName: "PrimaryTextColor"
    property bool isBold: false

    color: Assets.color(colorName)
    font.family: isBold ? "BrennicClean-Bold" : "BrennicClean-Regular"
    font.bold: isBold
    font.pixelSize: 14
    textFormat: Text.PlainText
    wrapMode: Text.Wrap
    Accessible.role: Accessible.StaticText
    Accessible.name: text
}
