// What buttons, links and check boxes share: the pointer, Space and (but for check boxes) Return press them. Made
// of Qt Quick's plain items: its controls, which only the form and the alerts need, are then loaded after the
// window has opened.
import QtQuick

Item {
    id: control

    property string text
    readonly property bool pressed: tap.pressed
    readonly property bool hovered: hover.hovered
    property alias cursorShape: hover.cursorShape
    /// Whether to show that the keyboard works the control.
    readonly property bool visualFocus: activeFocus && !isFocusQuiet
    /// The focus came by the pointer, or was there when the window opened.
    property bool isFocusQuiet: false
    /// What shows that, around which part of the control.
    property alias ringRadius: ring.radius
    property Item ringed: control

    /// Whether the second of two quick presses counts, by whatever they are made. Not on the primary button, where it
    /// would press the caption that the first has just brought up.
    property bool takesDoubleClick: true
    property bool takesReturn: true

    signal clicked()

    function press() {
        const isSecond = sinceLastPress.running;
        sinceLastPress.restart();
        if (enabled && !isCovered() && (takesDoubleClick || !isSecond))
            clicked();
    }

    // A screen reader reaches past a dialog what is below it.
    function isCovered(): bool {
        let item = control;
        while (item && item.isCovered !== true) // qmllint disable
            item = item.parent;
        return item !== null;
    }

    activeFocusOnTab: true
    Accessible.focusable: true
    Accessible.name: text
    // This version of Qt does not pass the disabled state on to assistive technology.
    Accessible.description: enabled ? "" : "Unavailable"
    Accessible.onPressAction: press()
    Keys.onPressed: event => {
        const isReturn = event.key === Qt.Key_Return || event.key === Qt.Key_Enter;
        event.accepted = event.key === Qt.Key_Space || (isReturn && takesReturn);
        if (event.accepted && !event.isAutoRepeat)
            press();
    }
    // Unless the control lost the focus because a press disabled it, or because another window came to the front.
    onActiveFocusChanged: if (!activeFocus && enabled && Window.active) isFocusQuiet = false
    onFocusChanged: if (!focus) isFocusQuiet = false

    Timer {
        id: sinceLastPress

        interval: Application.styleHints.mouseDoubleClickInterval
    }

    HoverHandler { id: hover }

    FocusRing {
        id: ring

        parent: control.ringed
        radius: 4
        visible: control.visualFocus
    }

    TapHandler {
        id: tap

        gesturePolicy: TapHandler.ReleaseWithinBounds
        onTapped: {
            control.forceActiveFocus(Qt.MouseFocusReason);
            control.isFocusQuiet = true;
            control.press();
        }
    }
}
