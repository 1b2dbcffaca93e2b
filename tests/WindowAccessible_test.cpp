// What a screen reader gets from the window in each of its states.
#include "tests/WindowRun.h"

using namespace support_service;
using namespace test_support;

namespace {

class WindowAccessible : public WindowRun {
protected:
    // What can be worked and what can be read, without the bars that scroll and what only holds others.
    std::vector<std::string> shown() {
        std::vector<std::string> lines;
        for (const Control &control : window().controls()) {
            if (control.role != "scroll bar" && control.role != "panel" && control.role != "frame")
                lines.push_back(control.role + ": " + control.name +
                                (control.isEnabled() ? "" : " (disabled)") +
                                (control.isChecked() ? " (checked)" : ""));
        }
        return lines;
    }
    // Waits for it, below the title: a step changes the window's parts one after the other.
    void expectShown(std::vector<testing::Matcher<std::string>> lines) {
        lines.insert(lines.begin(), {"heading: Brennic Lumadoc Diagnostics",
                                     "label: Lumadoc Diagnostics needs to collect the following information "
                                     "to address the issue"});
        const testing::Matcher<std::vector<std::string>> all = testing::ElementsAreArray(lines);
        waitUntil([&] { return all.Matches(shown()); });
        EXPECT_THAT(shown(), all);
    }

    // That the text comes up, as often as said and no more.
    void expectTold(const std::string &text, int times) {
        const Control control = window().find("notification", text);
        auto &accessibility = window().accessibility();
        EXPECT_TRUE(waitUntil([&] { return accessibility.timesShown(control) >= times; })) << text;
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        EXPECT_EQ(accessibility.timesShown(control), times) << text;
    }
};

// Whether there is anything at all in the picture.
bool isPainted(const QImage &picture) {
    return picture.convertToFormat(QImage::Format_Indexed8).colorCount() > 1;
}

} // namespace

TEST_F(WindowAccessible, EveryControlHasARoleANameAndAStateInEveryStep) {
    install();
    service.setBehaviour({.status = 500}, 1);
    expectUploadError("1");
    open();
    const std::string list = "label: BASIC LOGS\n• Lumadoc configuration, settings and logs\n"
                             "• System configuration and settings";
    expectShown({list, "check box: Advanced logs", "check box: System apps information",
                 "push button: Start diagnostics"});
    press("Start diagnostics");
    expectShown({list, "check box: Advanced logs (disabled)", "check box: System apps information (disabled)",
                 "push button: Stop diagnostics", "notification: " + reproduceText});
    press("Stop diagnostics");
    const auto logId = testing::MatchesRegex("label: [0-9a-f-]{36}");
    const std::string generated = "notification: Logs generated successfully.";
    const std::string reference = "label: Use the below Log ID for your reference:";
    const std::string limits = "label: (Max 10 MB; Do not include any sensitive information)";
    const std::string description = ": " + descriptionName;
    const std::string email = ": " + emailName;
    const std::string attach = "push button: " + attachName;
    expectShown({"push button: Share logs (disabled)", generated, reference, logId, "push button: Copy ID",
                 "link: view logs (disabled)", "label" + description, "text" + description, "label" + email,
                 "text" + email, attach, limits});
    describe("It stopped");
    press("Share logs");
    expectShown({"push button: Share logs", "label" + description, "text" + description, "label" + email,
                 "text" + email + " (disabled)", attach + " (disabled)", limits,
                 "notification: Error sharing logs.", "label: You can", "link: view the logs",
                 "label: and share it with us at", "link: lumadoc-support@brennic.example"});
    press("Share logs");
    expectShown({generated, reference, logId, "push button: Copy ID", "link: view logs (disabled)",
                 "notification: " + sentText, "push button: Close"});
}

TEST_F(WindowAccessible, AnAlertHoldsTheKeyboardAndTellsWhatItSays) {
    open();
    press("Start diagnostics");
    const Control dialog = window().find("dialog", "No Lumadoc installation detected");
    window().waitForFocus("push button", "OK");
    // Nothing below it can be reached.
    window().key("Tab");
    window().waitForFocus("push button", "OK");
    const Control ok = window().find("push button", "OK");
    EXPECT_GE(ok.extents.x, dialog.extents.x);
    EXPECT_LE(ok.extents.right(), dialog.extents.right());
    window().clickAt(window().find("push button", "Stop diagnostics"));
    EXPECT_TRUE(window().shows("dialog", "No Lumadoc installation detected"));
    EXPECT_THAT(log(), testing::Not(testing::HasSubstr("Monitoring Queue initiated.")));
    // The keyboard goes back to where it was.
    window().key("Return");
    window().waitForFocus("push button", "Stop diagnostics");
}

// A screen reader reads a notification when it comes up: once for each text.
TEST_F(WindowAccessible, ChangesAreToldAsTheyHappen) {
    install();
    open();
    window().accessibility().listen();
    press("Start diagnostics");
    expectTold(reproduceText, 1);
    // After the pause between two texts of one line.
    std::this_thread::sleep_for(std::chrono::seconds(2));
    press("Stop diagnostics");
    expectTold("Logs generated successfully.", 1);
    window().waitForFocus("text", descriptionName);
    const char missing[] = "Desciption is required";
    window().type("x");
    window().key("BackSpace");
    expectTold(missing, 1);
    window().type("x");
    window().waitUntilGone("notification", missing);
    std::this_thread::sleep_for(std::chrono::seconds(2));
    window().key("BackSpace");
    expectTold(missing, 2);
}

TEST_F(WindowAccessible, ControlsAreWorkedByAScreenReader) {
    install();
    open();
    const auto &accessibility = window().accessibility();
    for (const char *name : {"Advanced logs", "System apps information"}) {
        ASSERT_TRUE(accessibility.work(window().find("check box", name)));
        waitForCheck(name);
    }
    waitForText("ADVANCED LOGS\n• Full Lumadoc data dump\n• System apps version information");
    ASSERT_TRUE(accessibility.work(window().find("push button", "Start diagnostics")));
    waitForButton("Stop diagnostics");
    // The choice is fixed by now.
    accessibility.work(window().find("check box", "Advanced logs"));
    const Control box = window().find("check box", "Advanced logs",
                                      [](const Control &control) { return !control.isEnabled(); });
    EXPECT_TRUE(box.isChecked());
    EXPECT_THAT(log(), testing::HasSubstr("Advanced Log Checkbox: Yes"));
}

TEST_F(WindowAccessible, TheFocusCanBeSeen) {
    install();
    open();
    window().waitForFocus("push button", "Start diagnostics");
    const Extents toggle = window().find("check box", "System apps information").extents;
    // The ring is around the box.
    const auto around = [&] {
        return window().screen().picture(
            window().onDisplay({toggle.x - 6, toggle.y - 6, 34, toggle.height + 12}));
    };
    ASSERT_TRUE(waitUntil([&] { return isPainted(around()); }));
    const QImage without = around();
    window().key("shift+Tab");
    window().waitForFocus("check box", "System apps information");
    EXPECT_TRUE(waitUntil([&] { return around() != without; }));
    window().key("Tab");
    window().waitForFocus("push button", "Start diagnostics");
    EXPECT_TRUE(waitUntil([&] { return around() == without; }));
}
