// An image of the asset catalogue, in the variant of the system's appearance. The texts say what it shows.
import QtQuick
import Lumamon

Image {
    required property ContentView view
    required property string name

    source: Assets.image(name, view.colorScheme)
    fillMode: Image.PreserveAspectFit
    Accessible.ignored: true
}
