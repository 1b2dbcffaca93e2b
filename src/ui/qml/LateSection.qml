// A section that is made when it is first shown, since the window opens the sooner for it, and piece by piece, so that
// the window does not stand still meanwhile.
import QtQuick
import Lumamon

Loader {
    id: section

    required property ContentView view
    /// The file of the section, which takes `view`.
    required property string file
    required property bool isShown

    function make() {
        if (isShown && status === Loader.Null)
            setSource(file, { view: view });
    }

    asynchronous: true
    visible: isShown
    onIsShownChanged: make()
    Component.onCompleted: make()
}
