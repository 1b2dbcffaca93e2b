// A section that is made when it is first shown: the window opens the sooner for it.
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

    visible: isShown
    onIsShownChanged: make()
    Component.onCompleted: make()
}
