// A part of the window that is made when it is first needed: without it the window opens sooner.
import QtQuick

Loader {
    required property bool isNeeded
    required property string file
    property var properties: ({})

    active: false
    onIsNeededChanged: if (isNeeded) active = true
    Component.onCompleted: setSource(file, properties)
}
