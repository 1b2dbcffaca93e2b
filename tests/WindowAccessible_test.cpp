// What a screen reader gets from the window in each of its states.
#include "tests/WindowRun.h"

#include <sstream>

using namespace support_service;
using namespace test_support;

namespace {

class WindowAccessible : public WindowRun {
protected:
    // What can be worked and what can be read, without the bars that scroll and what only holds others.
    std::vector<std::string> shown() {
        std::vector<std::string> lines;
        for (const Control &control : window().controls()) {
            if (control.role == "scroll bar" || control.role == "panel" || control.role == "frame")
                continue;
            std::ostringstream line;
            line << control.role << ": " << control.name << (control.isEnabled() ? "" : " (disabled)")
                 << (control.isChecked() ? " (checked)" : "");
            lines.push_back(line.str());
        }
        return lines;
    }

    // That the text came up, as often as said and no more.
    void expectTold(const Control &control, int times) {
        const auto told = [&] {
            for (const auto &found : window().accessibility().takeEvents())
                m_events.push_back(found);
            return std::count_if(m_events.begin(), m_events.end(), [&](const auto &found) {
                return found.name == "StateChanged" && found.detail == "showing" && found.first == 1 &&
                       found.path == control.path;
            });
        };
        EXPECT_TRUE(waitUntil([&] { return told() >= times; })) << control;
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        EXPECT_EQ(told(), times) << control;
    }

    const std::string title = "heading: Brennic Lumadoc Diagnostics";
    const std::string info =
        "label: Lumadoc Diagnostics needs to collect the following information to address the issue";

private:
    std::vector<Accessibility::Event> m_events;
};

} // namespace

TEST_F(WindowAccessible, EveryControlHasARoleANameAndAStateInEveryStep) {
    install();
    service.setBehaviour({.status = 500}, 1);
    expectUploadError("1");
    open();
    const std::string list = "label: BASIC LOGS\n• Lumadoc configuration, settings and logs\n"
                             "• System configuration and settings";
    EXPECT_EQ(shown(), (std::vector<std::string>{title, info, list, "check box: Advanced logs",
                                                 "check box: System apps information",
                                                 "push button: Start diagnostics"}));
    press("Start diagnostics");
    waitForButton("Stop diagnostics");
    const std::string advice = "notification: Please reproduce the steps that led to the issue and then "
                               "select Stop diagnostics";
    EXPECT_EQ(shown(), (std::vector<std::string>{title, info, list, "check box: Advanced logs (disabled)",
                                                 "check box: System apps information (disabled)",
                                                 "push button: Stop diagnostics", advice}));
    press("Stop diagnostics");
    window().waitForFocus("text", descriptionName);
    EXPECT_THAT(
        shown(),
        testing::ElementsAre(
            title, info, "push button: Share logs (disabled)", "notification: Logs generated successfully.",
            "label: Use the below Log ID for your reference:", testing::MatchesRegex("label: [0-9a-f-]{36}"),
            "push button: Copy ID", "link: view logs (disabled)", std::string("label: ") + descriptionName,
            std::string("text: ") + descriptionName, std::string("label: ") + emailName,
            std::string("text: ") + emailName, std::string("push button: ") + attachName,
            "label: (Max 10 MB; Do not include any sensitive information)"));
    describe("It stopped");
    press("Share logs");
    waitForText("Error sharing logs.");
    waitForButton("Share logs");
    EXPECT_THAT(shown(), testing::ElementsAre(
                             title, info, "push button: Share logs", std::string("label: ") + descriptionName,
                             std::string("text: ") + descriptionName, std::string("label: ") + emailName,
                             std::string("text: ") + emailName + " (disabled)",
                             std::string("push button: ") + attachName + " (disabled)",
                             "label: (Max 10 MB; Do not include any sensitive information)",
                             "notification: Error sharing logs.", "label: You can", "link: view the logs",
                             "label: and share it with us at", "link: lumadoc-support@brennic.example"));
    press("Share logs");
    waitForText(sentText);
    EXPECT_THAT(shown(),
                testing::ElementsAre(title, info, "notification: Logs generated successfully.",
                                     "label: Use the below Log ID for your reference:",
                                     testing::MatchesRegex("label: [0-9a-f-]{36}"), "push button: Copy ID",
                                     "link: view logs (disabled)", std::string("notification: ") + sentText,
                                     "push button: Close"));
}

TEST_F(WindowAccessible, AnAlertHoldsTheKeyboardAndTellsWhatItSays) {
    open();
    press("Start diagnostics");
    const Control dialog = window().find("dialog", "No Lumadoc installation detected");
    window().waitForFocus("push button", "OK");
    // Nothing below it can be reached.
    window().key("Tab");
    window().waitForFocus("push button", "OK");
    const Control ok = *window().look("push button", "OK");
    EXPECT_GE(ok.extents.x, dialog.extents.x);
    EXPECT_LE(ok.extents.right(), dialog.extents.right());
    window().clickAt(*window().look("push button", "Stop diagnostics"));
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
    const Control status = window().find(
        "notification", "Please reproduce the steps that led to the issue and then select Stop diagnostics");
    expectTold(status, 1);
    // After the pause between two texts of one line.
    std::this_thread::sleep_for(std::chrono::seconds(2));
    press("Stop diagnostics");
    expectTold(window().find("notification", "Logs generated successfully."), 1);
    window().type("x");
    window().key("BackSpace");
    const Control missing = window().find("notification", "Desciption is required");
    expectTold(missing, 1);
    window().type("x");
    window().waitUntilGone("notification", "Desciption is required");
    std::this_thread::sleep_for(std::chrono::seconds(2));
    window().key("BackSpace");
    window().find("notification", "Desciption is required");
    expectTold(missing, 2);
}

TEST_F(WindowAccessible, ControlsAreWorkedByAScreenReader) {
    install();
    open();
    const auto &accessibility = window().accessibility();
    for (const char *name : {"Advanced logs", "System apps information"}) {
        ASSERT_TRUE(accessibility.work(window().find("check box", name)));
        window().find("check box", name, [](const Control &box) { return box.isChecked(); });
    }
    waitForText("ADVANCED LOGS\n• Full Lumadoc data dump\n• System apps version information");
    ASSERT_TRUE(accessibility.work(window().find("push button", "Start diagnostics")));
    waitForButton("Stop diagnostics");
    // The choice is fixed by now.
    accessibility.work(window().find("check box", "Advanced logs"));
    EXPECT_TRUE(waitUntil([this] { return !window().find("check box", "Advanced logs").isEnabled(); }));
    EXPECT_TRUE(window().find("check box", "Advanced logs").isChecked());
    EXPECT_THAT(log(), testing::HasSubstr("Advanced Log Checkbox: Yes"));
}

TEST_F(WindowAccessible, TheFocusCanBeSeen) {
    install();
    open();
    window().waitForFocus("push button", "Start diagnostics");
    window().key("shift+Tab");
    window().waitForFocus("check box", "System apps information");
    const Control toggle = window().find("check box", "System apps information");
    // The ring is around the box.
    const Extents around{toggle.extents.x - 6, toggle.extents.y - 6, 34, toggle.extents.height + 12};
    const QImage with = window().screen().picture(window().onDisplay(around));
    window().key("Tab");
    window().waitForFocus("push button", "Start diagnostics");
    EXPECT_TRUE(waitUntil([&] { return window().screen().picture(window().onDisplay(around)) != with; }));
}
