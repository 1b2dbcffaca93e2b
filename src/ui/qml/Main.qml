// The diagnostics window: its sections from top to bottom, and the alerts over them.
import QtQuick
import Lumamon

Window {
    id: window

    /// The control of the sections that had the keyboard last.
    property Item worked
    readonly property var dialog: alert.isNeeded ? alert.item : panel.isNeeded ? panel.item : null

    function isInSections(item: Item): bool {
        while (item && item !== sections)
            item = item.parent;
        return item !== null;
    }

    // The control that has the keyboard is scrolled into sight, unless a dialog is up, which keeps the keyboard. It goes
    // back from a dialog or a menu that has closed, and on from a control that is hidden or disabled now, to the one before
    // it; but the primary button is pressed again when its step is over.
    function settleFocus() {
        const item = activeFocusItem;
        if (dialog && isInSections(item))
            dialog.forceActiveFocus(Qt.PopupFocusReason);
        else if (isInSections(item) && item.activeFocusOnTab && item.visible)
            scroll.reveal(item);
        else if ((item !== contentItem && !isInSections(item)) || !worked)
            return;
        else if (worked.visible && (worked.enabled || worked === sections.primary))
            worked.forceActiveFocus(Qt.PopupFocusReason);
        else
            worked.nextItemInFocusChain(false).forceActiveFocus(Qt.BacktabFocusReason);
    }

    title: Application.displayName
    // As high as the fullest page, but never higher than the screen has room.
    minimumWidth: Math.min(680, Screen.width, Screen.desktopAvailableWidth)
    minimumHeight: Math.min(576, Screen.height, Screen.desktopAvailableHeight)
    width: minimumWidth
    height: Math.min(756, Screen.height, Screen.desktopAvailableHeight)
    visible: true
    color: Theme.color("BackgroundColor")
    onClosing: ContentView.disappear()

    onActiveFocusItemChanged: {
        if (isInSections(activeFocusItem) && activeFocusItem.activeFocusOnTab)
            worked = activeFocusItem;
        settling.restart();
    }

    Connections {
        target: window.activeFocusItem

        function onVisibleChanged() { settling.restart(); }
    }

    // In the next turn of the event loop, after the sections are laid out.
    Timer {
        id: settling

        interval: 0
        onTriggered: window.settleFocus()
    }

    Flickable {
        id: scroll

        function reveal(item: Item) {
            const top = item.mapToItem(contentItem, 0, 0).y;
            const bottom = top + item.height;
            if (top < contentY)
                moveTo(top - sections.edge);
            else if (bottom > contentY + height)
                moveTo(bottom + sections.edge - height);
        }

        function moveTo(y: real) {
            contentY = Math.max(0, Math.min(contentHeight - height, y));
        }

        Keys.onPressed: event => {
            const page = height - 2 * sections.edge;
            const place = { [Qt.Key_PageUp]: contentY - page, [Qt.Key_PageDown]: contentY + page,
                            [Qt.Key_Home]: 0, [Qt.Key_End]: contentHeight }[event.key];
            event.accepted = place !== undefined;
            if (event.accepted)
                moveTo(place);
        }
        onContentHeightChanged: settling.restart()
        anchors.fill: parent
        // A mouse does not drag the page like a finger.
        interactive: false
        contentHeight: sections.implicitHeight + 2 * sections.edge

        WindowSections {
            id: sections

            readonly property int edge: 24

            x: (scroll.width - width) / 2
            y: edge
            width: Math.min(632, scroll.width - 2 * edge)
            isCovered: window.dialog !== null
        }
    }

    LatePart {
        // The page has no height while it is made.
        isNeeded: scroll.height > 0 && scroll.contentHeight > scroll.height
        file: "PageScrollBar.qml"
        properties: ({ page: scroll })
        anchors.right: parent.right
        height: parent.height
    }

    LatePart {
        id: panel

        isNeeded: ContentView.isFilePanelVisible
        file: "FilePanel.qml"
    }

    LatePart {
        id: alert

        isNeeded: ContentView.showAlert || Alerts.isUp
        file: "AlertPresentation.qml"
    }
}
