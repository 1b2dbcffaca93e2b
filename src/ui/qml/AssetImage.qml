// A square image of the asset catalogue. The texts say what it shows.
import QtQuick
import Lumamon

Image {
    required property string name
    required property int size

    source: Theme.image(name)
    sourceSize.width: size
    sourceSize.height: size
    fillMode: Image.Pad
    Accessible.ignored: true
}
