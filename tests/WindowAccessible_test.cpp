// What the window tells a screen reader in each of its states.
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
            if (control.role == "scroll bar" || control.role == "panel" || control.role == "frame" ||
                control.name == " ")
                continue;
            std::ostringstream line;
            line << control.role << ": " << control.name << (control.isEnabled() ? "" : " (disabled)")
                 << (control.isChecked() ? " (checked)" : "");
            lines.push_back(line.str());
        }
        return lines;
    }

    bool tellsOf(const std::string &event, const std::string &detail, const Control &control) {
        for (const auto &found : window().accessibility().takeEvents())
            m_events.push_back(found);
        return std::any_of(m_events.begin(), m_events.end(), [&](const auto &found) {
            return found.name == event && found.detail == detail && found.path == control.path;
        });
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
    EXPECT_EQ(shown(), (std::vector<std::string>{
                           title, info, list, "check box: Advanced logs (disabled)",
                           "check box: System apps information (disabled)", "push button: Stop diagnostics",
                           "alert message: Please reproduce the steps that led to the issue and then select "
                           "Stop diagnostics"}));
    press("Stop diagnostics");
    window().waitForFocus("text", descriptionName);
    EXPECT_THAT(
        shown(),
        testing::ElementsAre(
            title, info, "push button: Share logs (disabled)", "alert message: Logs generated successfully.",
            "label: Use the below Log ID for your reference:", testing::MatchesRegex("label: [0-9a-f-]{36}"),
            "push button: Copy ID", "link: view logs (disabled)", std::string("label: ") + descriptionName,
            std::string("text: ") + descriptionName, std::string("label: ") + emailName,
            std::string("text: ") + emailName, std::string("push button: ") + attachName,
            "label: (Max 10 MB; Do not include any sensitive information)"));
    describe("It stopped");
    press("Share logs");
    waitForText("Error sharing logs.");
    waitForButton("Share logs");
    EXPECT_THAT(shown(),
                testing::ElementsAre(
                    title, info, "push button: Share logs", "alert message: Error sharing logs.",
                    "label: You can", "link: view the logs", "label: and share it with us at",
                    "link: lumadoc-support@brennic.example", std::string("label: ") + descriptionName,
                    std::string("text: ") + descriptionName, std::string("label: ") + emailName,
                    std::string("text: ") + emailName + " (disabled)",
                    std::string("push button: ") + attachName + " (disabled)",
                    "label: (Max 10 MB; Do not include any sensitive information)"));
    press("Share logs");
    waitForText(sentText);
    EXPECT_THAT(shown(),
                testing::ElementsAre(title, info, "alert message: Logs generated successfully.",
                                     "label: Use the below Log ID for your reference:",
                                     testing::MatchesRegex("label: [0-9a-f-]{36}"), "push button: Copy ID",
                                     "link: view logs (disabled)", std::string("alert message: ") + sentText,
                                     "push button: Close"));
}

TEST_F(WindowAccessible, AnAlertHoldsTheKeyboardAndTellsWhatItSays) {
    open();
    press("Start diagnostics");
    const Control dialog = window().find("dialog", "No Lumadoc installation detected");
    window().waitForFocus("push button", "OK");
    // Nothing behind it can be reached.
    window().key("Tab");
    window().waitForFocus("push button", "OK");
    const Control ok = *window().look("push button", "OK");
    EXPECT_GE(ok.extents.x, dialog.extents.x);
    EXPECT_LE(ok.extents.right(), dialog.extents.right());
    window().clickAt(*window().look("push button", "Stop diagnostics"));
    EXPECT_TRUE(window().shows("dialog", "No Lumadoc installation detected"));
}

TEST_F(WindowAccessible, ChangesAreToldAsTheyHappen) {
    install();
    open();
    window().accessibility().listen();
    press("Start diagnostics");
    const Control status = window().find(
        "alert message", "Please reproduce the steps that led to the issue and then select Stop diagnostics");
    EXPECT_TRUE(waitUntil([&] { return tellsOf("PropertyChange", "accessible-name", status); }));
    press("Stop diagnostics");
    const Control done = window().find("alert message", "Logs generated successfully.");
    EXPECT_TRUE(waitUntil([&] { return tellsOf("StateChanged", "showing", done); }));
    window().type("x");
    window().key("BackSpace");
    const Control missing = window().find("alert message", "Desciption is required");
    EXPECT_TRUE(waitUntil([&] { return tellsOf("StateChanged", "showing", missing); }));
}

TEST_F(WindowAccessible, TheFocusCanBeSeen) {
    install();
    open();
    window().waitForFocus("push button", "Start diagnostics");
    window().key("shift+Tab");
    window().waitForFocus("check box", "System apps information");
    const Control toggle = window().find("check box", "System apps information");
    // The ring stands around the box.
    const Extents around{toggle.extents.x - 6, toggle.extents.y - 6, 34, toggle.extents.height + 12};
    const QImage with = window().screen().picture(window().onDisplay(around));
    window().key("Tab");
    window().waitForFocus("push button", "Start diagnostics");
    EXPECT_TRUE(waitUntil([&] { return window().screen().picture(window().onDisplay(around)) != with; }));
}
