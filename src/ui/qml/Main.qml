// The diagnostics window: its sections from top to bottom, and the alerts over them.
import QtQuick
import Lumamon

Window {
    id: window

    required property ContentView view
    required property Alerts alerts

    title: Application.displayName
    minimumWidth: 680
    minimumHeight: 576
    width: minimumWidth
    height: minimumHeight
    visible: true
    color: Assets.color("BackgroundColor", view.colorScheme)
    onClosing: view.disappear()

    // What has the keyboard is in sight.
    onActiveFocusItemChanged: revealing.restart()

    // In the next turn, when the sections have taken their places.
    Timer {
        id: revealing

        interval: 0
        onTriggered: scroll.reveal()
    }

    Flickable {
        id: scroll

        function reveal() {
            const item = window.activeFocusItem;
            let above = item;
            while (above && above !== sections)
                above = above.parent;
            if (!above)
                return;
            const top = item.mapToItem(contentItem, 0, 0).y;
            const bottom = top + item.height;
            const lowest = Math.max(0, contentHeight - height);
            if (top < contentY)
                contentY = Math.max(0, top - sections.edge);
            else if (bottom > contentY + height)
                contentY = Math.min(lowest, bottom + sections.edge - height);
        }

        onContentHeightChanged: revealing.restart()
        anchors.fill: parent
        boundsBehavior: Flickable.StopAtBounds
        contentHeight: sections.implicitHeight + 2 * sections.edge

        WindowSections {
            id: sections

            readonly property int edge: 24

            x: edge
            y: edge
            width: scroll.width - 2 * edge
            view: window.view
        }

    }

    // Shows that there is more.
    Rectangle {
        visible: scroll.visibleArea.heightRatio < 1
        width: 6
        height: Math.max(24, scroll.visibleArea.heightRatio * scroll.height)
        y: scroll.visibleArea.yPosition * scroll.height
        radius: 3
        anchors.right: parent.right
        anchors.rightMargin: 2
        color: Assets.color("Border", window.view.colorScheme)
    }

    Loader {
        readonly property bool isNeeded: window.view.showAlert || window.alerts.isUp

        onIsNeededChanged: {
            if (isNeeded && status === Loader.Null)
                setSource("AlertPresentation.qml", { view: window.view, alerts: window.alerts });
        }
    }
}
