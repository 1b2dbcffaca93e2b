// A text of the window, in a named colour.
import QtQuick
import Lumamon

Text {
    property string colorName: "PrimaryTextColor"
    property bool isBold: false

    color: Theme.color(colorName)
    font.family: isBold ? "BrennicClean-Bold" : "BrennicClean-Regular"
    font.bold: isBold
    font.pixelSize: 14
    // By default Qt asks the input method for the direction of an empty text, and crashes on a display of Wayland's that
    // has neither keyboard nor pointer.
    horizontalAlignment: Text.AlignLeft
    textFormat: Text.PlainText
    wrapMode: Text.Wrap
    Accessible.role: Accessible.StaticText
    Accessible.name: text
}
