// Sizes, faces, colours and the two button styles.
import QtQuick
import QtTest
import Lumamon

Item {
    id: root

    width: 700
    height: 900

    ViewTest {
        id: test

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

        function test_sizes_of_the_texts() {
            const sizes = { 22: "Brennic Lumadoc Diagnostics", 12: view.captureInfoLabel, 16: "Advanced logs" };
            for (const size in sizes)
                compare(textItem(sizes[size]).font.pixelSize, Number(size));
            fail();
            for (const text of ["Brennic Lumadoc Diagnostics", "Share logs", "You can", "view the logs",
                                view.feedbackLabel, view.emailLabel, hint, "Attach screenshot and pdf files"]) {
                const face = textItem(text).font;
                compare([face.pixelSize, face.family], [text === sizes[22] ? 22 : 14, "BrennicClean-Regular"], text);
            }
            for (const label of [view.feedbackLabel, view.emailLabel]) {
                const box = control(label);
                compare([box.font.pixelSize, box.font.family], [14, "BrennicClean-Regular"]);
            }
        }

        function test_sizes_at_the_end() {
            const image = name => drawn(root).find(item => item instanceof AssetImage && item.name === name);
            const logo = image("lumadocdiagnosticlogo");
            compare([logo.width, logo.height], [80, 80]);
            finish();
            compare([image("checkmarkcircle").width, image("checkmarkcircle").height], [64, 64]);
            compare(textItem("The log files were sent successfully.").font.pixelSize, 20);
        }

        function test_the_typeface_is_the_one_that_comes_with_the_program() {
            const title = textItem("Brennic Lumadoc Diagnostics");
            compare(title.fontInfo.family, "Inter");
            showForm();
            compare(textItem(view.logId).fontInfo.family, "Inter");
            verify(textItem(view.logId).fontInfo.bold);
        }

        function verifyPadding(button) {
            compare(button.width, button.contentItem.implicitWidth + 32);
            compare(button.height, button.contentItem.implicitHeight + 16);
            compare([button.contentItem.x, button.contentItem.y], [16, 8]);
        }

        function test_the_plain_style() {
            const button = createTemporaryObject(plainComponent, root);
            verifyPadding(button);
            compare(button.opacity, 1.0);
            compare(button.background.color, "#102030");
            mousePress(button);
            compare(button.opacity, 0.8);
            mouseRelease(button);
            compare(button.opacity, 1.0);
            button.enabled = false;
            compare(button.opacity, 0.8);
        }

        function test_the_thick_style() {
            const button = createTemporaryObject(thickComponent, root);
            verifyPadding(button);
            compare(button.background.radius, 16);
            compare(button.background.border.width, 2);
            compare(button.background.border.color, colorOf("PrimaryTextColor"));
            compare(button.background.color, "#102030");
            mousePress(button);
            compare(button.background.color, Qt.alpha(colorOf("PrimaryTextColor"), 0.2));
            mouseRelease(button);
            compare(button.background.color, "#102030");
        }

        function test_the_primary_button_takes_the_thick_style() {
            view.thickBorderButtonStyle = true;
            const button = control("Start diagnostics");
            verify(button instanceof ThickBorderButtonStyle);
            compare(button.background.color, colorOf("BackgroundColor"));
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
            compare(control("Share logs").background.color, colorOf("PrimaryColor"));
            compare(control("view the logs").contentItem.color, colorOf("LinkColor"));
            compare(control("Attach screenshot and pdf files").background.border.color, colorOf("Border"));
            compare(textItem(hint).color, colorOf("SecondaryTextColor"));
            compare(textItem("Error sharing logs.").color, colorOf("error"));
            compare(textItem("Invalid email address").color, colorOf("error"));
            compare(sections.color, colorOf("BackgroundColor"));
            compare(textItem("You can").color, colorOf("PrimaryTextColor"));
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
