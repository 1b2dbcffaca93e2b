// The one button that leads through the run.
import QtQuick
import Lumamon

FocusScope {
    id: primary

    required property ContentView view
    readonly property WindowButton shown: view.thickBorderButtonStyle ? thick : plain

    // The next focus may come by the keyboard.
    onActiveFocusChanged: {
        if (!activeFocus && Window.active)
            plain.isFocusQuiet = thick.isFocusQuiet = false;
    }
    implicitWidth: shown.implicitWidth
    implicitHeight: shown.implicitHeight

    FocusableButtonStyle {
        id: plain

        visible: primary.shown === plain
        focus: visible
        takesDoubleClick: false
        isFocusQuiet: true
        text: primary.view.startButtonLabel
        enabled: !primary.view.primaryButtonDisabled
        colorBinding: Assets.color(primary.view.primaryButtonColor)
        textColor: Assets.color(primary.view.primaryButtonTextColor)
        onClicked: primary.view.primaryButtonPressed()
    }

    ThickBorderButtonStyle {
        id: thick

        visible: primary.shown === thick
        focus: visible
        takesDoubleClick: false
        text: primary.view.startButtonLabel
        enabled: !primary.view.primaryButtonDisabled
        colorBinding: Assets.color(primary.view.thickBorderButtonColor)
        onClicked: primary.view.primaryButtonPressed()
    }
}
