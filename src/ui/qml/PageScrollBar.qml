// The scroll bar of the page, for screens that are lower than the page.
import QtQuick
import QtQuick.Templates as T
import Lumamon

T.ScrollBar {
    id: bar

    required property Flickable page

    orientation: Qt.Vertical
    size: page.visibleArea.heightRatio
    position: page.visibleArea.yPosition
    visible: size < 1
    implicitWidth: 12
    padding: 3
    Accessible.name: "Page"
    onPositionChanged: {
        if (pressed)
            page.contentY = position * page.contentHeight;
    }

    contentItem: Rectangle {
        implicitWidth: 6
        radius: 3
        color: Assets.color("Border")
        opacity: bar.pressed || bar.hovered ? 1 : 0.7
    }
}
