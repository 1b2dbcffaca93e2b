// The scroll bar of a page, or of a box, that does not fit.
import QtQuick
import QtQuick.Templates as T
import Lumamon

T.ScrollBar {
    id: bar

    /// What is as high as it shows, and how far it is scrolled.
    required property var page
    property real extent: page.contentHeight

    orientation: Qt.Vertical
    size: page.height / extent
    position: page.contentY / extent
    visible: size < 1
    implicitWidth: 12
    padding: 3
    Accessible.name: "Page"
    onPositionChanged: {
        if (pressed)
            page.contentY = position * extent;
    }

    contentItem: Rectangle {
        implicitWidth: 6
        radius: 3
        color: Theme.color("Border")
        opacity: bar.pressed || bar.hovered ? 1 : 0.7
    }
}
