// The window as the packages install it, in the root that PACKAGE_ROOT names, on a display of X and on one of
// Wayland without X. `scripts/package-test` makes that root, with a product, and the service that the
// installed bundle names.
#include "test_support/WindowDriver.h"

#include <gmock/gmock.h>

using namespace test_support;

namespace {

// Two presses with less than this between them are one.
constexpr auto doublePress = std::chrono::milliseconds(450);

class PackagedWindow : public testing::Test {
protected:
    // The installed command in its root, whose /tmp is this one's, and where it sees the processes of the
    // test.
    static ProgramOptions command(const std::vector<std::string> &variables) {
        ProgramOptions options{
            .program = "/usr/bin/unshare",
            .arguments = {"--mount", "--mount-proc", "--root", std::getenv("PACKAGE_ROOT"), "env"}};
        options.arguments.insert(options.arguments.end(), variables.begin(), variables.end());
        options.arguments.emplace_back("lumadoc-diagnostics");
        return options;
    }
    // As a screen reader does: no window knows its place on a display of Wayland.
    static void press(WindowDriver &window, const std::string &button) {
        std::this_thread::sleep_for(doublePress);
        EXPECT_TRUE(window.work(window.findEnabled("push button", button)));
    }
    // From the start of the diagnostics to the end of the program. The window has the keyboard.
    static void workThrough(WindowDriver &window) {
        const std::string description = "Please tell us what led to the error (required)";
        press(window, "Start diagnostics");
        press(window, "Stop diagnostics");
        window.waitForFocus("text", description);
        window.type("It stopped");
        window.find("text", description,
                    [&](const Control &box) { return window.textOf(box) == "It stopped"; });
        press(window, "Share logs");
        window.find("notification", "The log files were sent successfully.");
        press(window, "Close");
        EXPECT_EQ(window.program().waitForEnd(), exited(0));
        EXPECT_EQ(window.printedErrors(), "");
    }

    const Xvfb display;
    const PrivateBus bus;
    const ScratchFolder runtime;
};

} // namespace

TEST_F(PackagedWindow, WorksUnderX) {
    WindowDriver window(command({"-u", "WAYLAND_DISPLAY"}), display, bus);
    window.focus();
    workThrough(window);
}

TEST_F(PackagedWindow, WorksUnderWaylandWithoutX) {
    const std::string folder = "XDG_RUNTIME_DIR=" + runtime.path().native();
    const ProgramRun weston(
        {.program = "/usr/bin/weston",
         .arguments = {"--backend=x11-backend.so", "--use-pixman", "--width=1200", "--height=1400",
                       "--socket=packaged", "--idle-time=0"},
         .variables = {{"DISPLAY", display.name()}, {"XDG_RUNTIME_DIR", runtime.path().native()}}});
    ASSERT_TRUE(waitUntil([&] { return std::filesystem::exists(runtime.path() / "packaged"); }))
        << weston.standardError();
    WindowDriver window(command({"-u", "DISPLAY", folder, "WAYLAND_DISPLAY=packaged"}), display, bus);
    workThrough(window);
}
