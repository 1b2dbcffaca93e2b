// A square image of the asset catalogue, in the variant of the system's appearance. The texts say what it shows.
import QtQuick
import Lumamon

Image {
    required property ContentView view
    required property string name
    required property int size

    source: Assets.image(name, view.colorScheme)
    sourceSize.width: size
    sourceSize.height: size
    fillMode: Image.Pad
    Accessible.ignored: true
}
