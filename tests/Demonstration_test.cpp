// The demonstration: silent, and with a window that is worked as its user is asked to.
#include "test_support/WindowDriver.h"

#include <gmock/gmock.h>

using namespace test_support;

TEST(Demonstration, ShowsASilentRunAndWhatTheServiceReceived) {
    ProgramRun run({.program = DEMONSTRATION, .arguments = {BUILD_FOLDER, "silent"}});
    EXPECT_EQ(run.waitForEnd(), exited(0)) << run.standardError();
    EXPECT_THAT(run.standardOutput(),
                testing::ContainsRegex("\nLog ID: ([0-9a-f-]{36})\nExit status: 0\n"
                                       "INFO: .*: --------------Silent Upload successful, app "
                                       "terminated--------------\n\n"
                                       "== What the support service received\n(.*\n)*"
                                       "Received lumaMacLog_[0-9a-f-]{36}_cef.zip\n"
                                       "  Log ID   [0-9a-f-]{36}\n  Size     [0-9]+ bytes\n  SHA-256  "));
}

TEST(Demonstration, OpensTheWindowAndTellsWhatTheServiceReceived) {
    // Two presses with less than this between them are a double click.
    constexpr auto doubleClick = std::chrono::milliseconds(450);
    const Xvfb display;
    const PrivateBus bus;
    WindowDriver window({.program = DEMONSTRATION, .arguments = {BUILD_FOLDER, "window"}}, display, bus);
    window.click("push button", "Start diagnostics");
    // The sample product runs, and is of the track whose logging begins with a restart.
    window.click("push button", "OK");
    window.waitUntilGone("push button", "OK");
    std::this_thread::sleep_for(doubleClick);
    window.click("push button", "Stop diagnostics");
    window.clickAt(window.find("text", "Please tell us what led to the error (required)"));
    window.waitForFocus("text", "Please tell us what led to the error (required)");
    window.type("A demonstration");
    std::this_thread::sleep_for(doubleClick);
    window.click("push button", "Share logs");
    window.click("push button", "Close");
    EXPECT_EQ(window.program().waitForEnd(), exited(0));
    EXPECT_EQ(window.printedErrors(), "");
    EXPECT_THAT(window.program().standardOutput(),
                testing::AllOf(testing::ContainsRegex("\nLog ID: [0-9a-f-]{36}\nExit status: 0\n"),
                               testing::HasSubstr("== What the support service received\n"),
                               testing::HasSubstr("Lumadoc/UserEmailFeedback.json")));
}
