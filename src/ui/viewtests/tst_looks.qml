// Sizes, faces, colours and the two button styles.
import QtQuick
import QtTest
import Lumamon

Item {
    id: root

    width: 700
    height: 900

    ViewTest {
        name: "Looks"
        stage: root

        Component {
            id: plainComponent

            FocusableButtonStyle {
                text: "Button"
                colorBinding: "#102030"
            }
        }

        Component {
            id: thickComponent

            ThickBorderButtonStyle {
                text: "Button"
                colorBinding: "#102030"
            }
        }

        readonly property string hint: "(Max 10 MB; Do not include any sensitive information)"

        function verifySize(text, size, family = "BrennicClean-Regular") {
            const face = (textItem(text) ?? control(text)).font;
            compare([face.pixelSize, face.family, face.bold], [size, family, family.endsWith("Bold")], text);
        }

        function test_sizes_and_faces() {
            const image = name => drawn(root).find(item => item instanceof AssetImage && item.name === name);
            compare([image("lumadocdiagnosticlogo").width, image("lumadocdiagnosticlogo").height], [80, 80]);
            verifySize("Brennic Lumadoc Diagnostics", 22);
            verifySize(view.captureInfoLabel, 12);
            verifySize("Advanced logs", 16);
            showForm();
            verifySize("Logs generated successfully.", 18, "BrennicClean-Bold");
            verifySize("Log ID", 20, "BrennicClean-Bold");
            // The typeface is the one that comes with the program.
            compare(textItem("Brennic Lumadoc Diagnostics").fontInfo.family, "Inter");
            compare(control("Log ID").text, view.logId);
            compare(control("Attach screenshot and pdf files").width, 96);
            fail();
            for (const text of ["Share logs", "You can", "view the logs", view.feedbackLabel, view.emailLabel, hint,
                                "Attach screenshot and pdf files"])
                verifySize(text, 14);
            for (const box of [control(view.feedbackLabel), control(view.emailLabel)])
                compare([box.font.pixelSize, box.font.family, box.selectionColor],
                        [14, "BrennicClean-Regular", colorOf("PrimaryColor")]);
            finish();
            compare([image("checkmarkcircle").width, image("checkmarkcircle").height], [64, 64]);
            verifySize("The log files were sent successfully.", 20);
        }

        function test_the_two_styles() {
            for (const [component, pressed] of [
                     [plainComponent, ["#102030", 0.8]],
                     [thickComponent, [Qt.alpha(colorOf("PrimaryTextColor"), 0.2), 1.0]]]) {
                const button = createTemporaryObject(component, root);
                compare([button.width, button.height],
                        [button.contentItem.implicitWidth + 32, button.contentItem.implicitHeight + 16]);
                compare([button.contentItem.x, button.contentItem.y], [16, 8]);
                compare([button.background.color, button.opacity], ["#102030", 1.0]);
                mousePress(button);
                compare([button.background.color, button.opacity], pressed);
                mouseRelease(button);
                compare([button.background.color, button.opacity], ["#102030", 1.0]);
                button.enabled = false;
                compare(button.opacity, pressed[1]);
            }
            const frame = createTemporaryObject(thickComponent, root).background;
            compare([frame.radius, frame.border.width, frame.border.color], [16, 2, colorOf("PrimaryTextColor")]);
        }

        function test_appearance_changes_live() {
            fail();
            view.changeEmail("a@b");
            const lightText = textItem("Error sharing logs.").color.toString();
            const images = () => drawn(root).filter(item => item instanceof Image).map(item => item.source.toString());
            verify(images().every(source => source.includes("/light/")));
            verify(images().some(source => source.endsWith("/erroricon.svg")));
            view.colorScheme = ContentView.ColorScheme.dark;
            verify(images().every(source => source.includes("/dark/")));
            verify(images().some(source => source.endsWith("/darkerroricon.svg")));
            verify(textItem("Error sharing logs.").color.toString() !== lightText);
            for (const [color, name] of [[control("Share logs").background.color, "PrimaryColor"],
                                         [control("view the logs").contentItem.color, "LinkColor"],
                                         [control("Attach screenshot and pdf files").background.border.color, "Border"],
                                         [textItem(hint).color, "SecondaryTextColor"],
                                         [textItem("Error sharing logs.").color, "error"],
                                         [textItem("Invalid email address").color, "error"],
                                         [textItem("You can").color, "PrimaryTextColor"],
                                         [sections.color, "BackgroundColor"]])
                compare(color, colorOf(name));
            waitForRendering(root);
            verify(drawn(root).filter(item => item instanceof Image).every(item => item.status === Image.Ready));
        }

        // Nothing wider than the window, however long a word is.
        function test_nothing_is_cut_off_in_the_smallest_window() {
            root.width = 680;
            for (const step of [reproduce, showForm, fail, finish]) {
                step();
                view.changeSpinDump(true);
                view.isLogLabelVisible = true;
                view.logLabel = "x".repeat(300);
                waitForRendering(root);
                for (const item of drawn(root).filter(item => item instanceof BodyText)) {
                    const left = item.mapToItem(root, 0, 0).x;
                    verify(left >= 0 && left + item.contentWidth <= 680, item.text);
                    verify(item.contentHeight <= item.height + 1, item.text);
                }
            }
            root.width = 700;
        }
    }
}
