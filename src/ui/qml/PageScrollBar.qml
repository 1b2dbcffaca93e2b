// The scroll bar of a page, a box or a list that does not fit, and the wheel over it.
import QtQuick
import QtQuick.Templates as T
import Lumamon

T.ScrollBar {
    id: bar

    /// What is as high as it shows, and how far it is scrolled.
    required property var page
    property real extent: page.contentHeight

    function moveTo(y: real) {
        page.contentY = Math.max(0, Math.min(extent - page.height, y));
    }

    size: page.height / extent
    position: page.contentY / extent
    visible: size < 1
    implicitWidth: 12
    padding: 3
    Accessible.name: "Page"
    onExtentChanged: moveTo(page.contentY)
    onPositionChanged: if (pressed) page.contentY = position * extent

    // By default a touchpad would do nothing.
    WheelHandler {
        parent: bar.page
        target: null
        enabled: bar.visible
        acceptedDevices: PointerDevice.Mouse | PointerDevice.TouchPad
        onWheel: event => bar.moveTo(bar.page.contentY - (event.pixelDelta.y || event.angleDelta.y / 2))
    }

    contentItem: Rectangle {
        radius: 3
        color: Theme.color("Border")
        opacity: bar.pressed || bar.hovered ? 1 : 0.7
    }
}
