// Shows that there is more, and moves it.
import QtQuick
import QtQuick.Templates as T
import Lumamon

T.ScrollBar {
    id: bar

    required property ContentView view

    implicitWidth: implicitContentWidth + leftPadding + rightPadding
    padding: 2
    visible: size < 1.0
    minimumSize: 0.1

    contentItem: Rectangle {
        implicitWidth: 6
        radius: 3
        color: Assets.color("Border", bar.view.colorScheme)
    }
}
