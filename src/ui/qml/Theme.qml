// The asset catalogue: the named colours and images, each for the light and the dark appearance.
//
// The values are chosen so that every text has a contrast of at least 4.5 to 1 against its ground, and every outline
// and mark 3 to 1 (WCAG 2.1, 1.4.3 and 1.4.11); a test computes it from the table.
pragma Singleton
import QtQuick
import Lumamon

QtObject {
    /// The appearance that the colours and images are for: the system's.
    readonly property bool isDark: ContentView.colorScheme === ContentView.ColorScheme.dark

    /// For the light and for the dark.
    readonly property var colors: ({
        // Fill of the primary button; its text is white in both appearances.
        PrimaryColor: ["#0A56A3", "#2869BD"],
        PrimaryTextColor: ["#1B1F24", "#F1F3F5"],
        SecondaryTextColor: ["#57606A", "#B6BEC8"],
        BackgroundColor: ["#FFFFFF", "#1C1F23"],
        Border: ["#7A838D", "#88919B"],
        CheckboxColor: ["#0A56A3", "#6CB0FF"],
        error: ["#B3261E", "#FF8A80"],
        LinkColor: ["#0A56A3", "#6CB0FF"],
        white: ["white", "white"],
        clear: ["transparent", "transparent"]
    })

    function color(name: string): color {
        return Qt.color(colors[name][isDark ? 1 : 0]);
    }

    function image(name: string): url {
        return `qrc:/Lumamon/assets/${isDark ? "dark" : "light"}/${name}.svg`;
    }
}
