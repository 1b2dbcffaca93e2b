// What the window's buttons have in common: Return works them as Space does, and a ring shows the focus.
import QtQuick
import QtQuick.Templates as T
import Lumamon

T.Button {
    id: button

    required property ContentView view
    property color textColor: Assets.color("PrimaryTextColor", view.colorScheme)

    topPadding: 8
    bottomPadding: 8
    leftPadding: 16
    rightPadding: 16
    implicitWidth: implicitContentWidth + leftPadding + rightPadding
    implicitHeight: implicitContentHeight + topPadding + bottomPadding
    Accessible.name: text
    // This version of Qt does not tell assistive technology that a control is disabled.
    Accessible.description: enabled ? "" : "Unavailable"
    Keys.onReturnPressed: event => workByKey(event)
    Keys.onEnterPressed: event => workByKey(event)

    function workByKey(event: KeyEvent) {
        if (!event.isAutoRepeat)
            clicked();
    }

    contentItem: BodyText {
        view: button.view
        text: button.text
        color: button.textColor
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        Accessible.ignored: true
    }
}
