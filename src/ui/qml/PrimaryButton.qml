// The one button that leads through the run.
import QtQuick
import Lumamon

FocusScope {
    id: primary

    required property ContentView view
    readonly property WindowButton shown: view.thickBorderButtonStyle ? thick : plain

    implicitWidth: shown.implicitWidth
    implicitHeight: shown.implicitHeight

    // The second click of a double click would press the caption that the first has just brought up.
    function press() {
        if (guard.running)
            return;
        guard.start();
        view.primaryButtonPressed();
    }

    Timer {
        id: guard

        interval: Application.styleHints.mouseDoubleClickInterval
    }

    FocusableButtonStyle {
        id: plain

        view: primary.view
        visible: !primary.view.thickBorderButtonStyle
        focus: visible
        isFocusQuiet: true
        text: primary.view.startButtonLabel
        enabled: !primary.view.primaryButtonDisabled
        colorBinding: Assets.color(primary.view.primaryButtonColor, primary.view.colorScheme)
        textColor: Assets.color(primary.view.primaryButtonTextColor, primary.view.colorScheme)
        onClicked: primary.press()
    }

    ThickBorderButtonStyle {
        id: thick

        view: primary.view
        visible: primary.view.thickBorderButtonStyle
        focus: visible
        text: primary.view.startButtonLabel
        enabled: !primary.view.primaryButtonDisabled
        colorBinding: Assets.color(primary.view.thickBorderButtonColor, primary.view.colorScheme)
        onClicked: primary.press()
    }
}
