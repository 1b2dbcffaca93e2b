// A part of the window that is made when it is first needed: without it the window opens sooner.
import QtQuick

Loader {
    required property bool isNeeded
    required property string file
    /// What the part takes.
    property var properties: ({})

    function make() {
        if (isNeeded && status === Loader.Null)
            setSource(file, properties);
    }

    onIsNeededChanged: make()
    Component.onCompleted: make()
}
