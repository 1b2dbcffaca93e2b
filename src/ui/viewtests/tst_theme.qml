// The catalogue: enough contrast for every reader, and no image that is missing.
import QtQuick
import QtTest
import Lumamon

TestCase {
    name: "Theme"

    readonly property real text: 4.5
    readonly property real mark: 3

    Image {
        id: image
    }

    // https://www.w3.org/TR/WCAG21/#dfn-relative-luminance
    function luminance(color) {
        const linear = channel => channel <= 0.03928 ? channel / 12.92 : Math.pow((channel + 0.055) / 1.055, 2.4);
        return 0.2126 * linear(color.r) + 0.7152 * linear(color.g) + 0.0722 * linear(color.b);
    }

    // https://www.w3.org/TR/WCAG21/#dfn-contrast-ratio
    function contrast(one, other) {
        const [darker, lighter] = [luminance(one), luminance(other)].sort((a, b) => a - b);
        return (lighter + 0.05) / (darker + 0.05);
    }

    function over(ground, color, opacity) {
        return Qt.tint(ground, Qt.alpha(color, opacity));
    }

    function init_data() {
        return [{ tag: "light", scheme: ContentView.ColorScheme.light },
                { tag: "dark", scheme: ContentView.ColorScheme.dark }];
    }

    function test_every_text_and_mark_has_enough_contrast(data) {
        ContentView.colorScheme = data.scheme;
        const color = name => Theme.color(name);
        fuzzyCompare(contrast(color("white"), Qt.color("#767676")), 4.54, 0.005);
        for (const [name, ground, least] of [
                 ["PrimaryTextColor", "BackgroundColor", text], ["SecondaryTextColor", "BackgroundColor", text],
                 ["error", "BackgroundColor", text], ["LinkColor", "BackgroundColor", text],
                 ["white", "PrimaryColor", text],
                 // The primary button while the user reproduces the problem.
                 ["BackgroundColor", "PrimaryTextColor", text], ["Border", "BackgroundColor", mark],
                 ["CheckboxColor", "BackgroundColor", mark],
                 // The button's outline and fill against the window.
                 ["PrimaryColor", "BackgroundColor", mark]]) {
            compare(color(name).a, 1, name);
            verify(contrast(color(name), color(ground)) >= least, name + " on " + ground);
        }
        // The thick-border button and the filled one, pressed; a disabled check box.
        const [content, ground] = [color("PrimaryTextColor"), color("BackgroundColor")];
        verify(contrast(content, over(ground, content, 0.2)) >= text);
        verify(contrast(over(ground, color("white"), 0.8), over(ground, color("PrimaryColor"), 0.8)) >= text);
        verify(contrast(over(ground, content, 0.65), ground) >= text);
        compare(color("white"), "#ffffff");
        compare(color("clear").a, 0);
    }

    function test_every_colour_but_the_systems_has_a_variant_for_the_dark(data) {
        for (const name in Theme.colors)
            compare(Theme.colors[name][0] === Theme.colors[name][1], name === "white" || name === "clear", name);
    }

    function test_every_image_is_there(data) {
        ContentView.colorScheme = data.scheme;
        for (const name of ["lumadocdiagnosticlogo", "checkmark", "checkmarkcircle", "TarnDeleteOutline18N",
                            Theme.isDark ? "darkerroricon" : "erroricon"]) {
            image.source = Theme.image(name);
            compare(image.status, Image.Ready, name);
            verify(image.source.toString().includes("/" + data.tag + "/"));
        }
    }
}
