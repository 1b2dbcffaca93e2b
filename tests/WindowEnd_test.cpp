// How a run in the window ends before its time, and starts that come to no window.
#include "test_support/SlowDisk.h"
#include "tests/WindowRun.h"

#include <QLibraryInfo>
#include <algorithm>
#include <csignal>

namespace fs = std::filesystem;
using namespace test_support;

namespace {

// Whether a run that has switched the product's logging on is ended by a signal or by the window's cross, and
// whether in mid-capture.
class WindowEndOfLogging : public WindowRun, public testing::WithParamInterface<std::tuple<bool, bool>> {};
using WindowEnd = PicturedRun;

} // namespace

TEST_P(WindowEndOfLogging, SwitchesItOff) {
    const auto product = install();
    const auto isOn = [&] { return readFile(product.preferences).contains("<integer>10</integer>"); };
    const auto [isBySignal, isInMidCapture] = GetParam();
    holdCapture();
    open();
    if (isInMidCapture) {
        for (const char *name : {"Advanced logs", "System apps information"}) {
            window().click("check box", name);
            waitForCheck(name);
        }
    }
    press("Start diagnostics");
    window().findEnabled("push button", "Stop diagnostics");
    if (isInMidCapture) {
        press("Stop diagnostics");
        waitForText("Capturing system configuration and settings.");
    }
    EXPECT_TRUE(isOn());
    if (isBySignal) {
        window().program().send(SIGTERM);
        expectAnEndInTime();
    } else {
        closeAndExpectTheEnd();
    }
    EXPECT_FALSE(isOn());
}

INSTANTIATE_TEST_SUITE_P(Each, WindowEndOfLogging, testing::Combine(testing::Bool(), testing::Bool()));

TEST_F(WindowEnd, ClosedUnderAnAlertAfterASecondCopyHasBroughtItToTheFront) {
    open();
    press("Start diagnostics");
    window().find("dialog", "No Lumadoc installation detected");
    picture("not-installed-alert");
    auto options = program({"/silent"});
    options.variables.insert(options.variables.end(),
                             {{"DISPLAY", display.name()}, {"DBUS_SESSION_BUS_ADDRESS", bus.address()}});
    const Extents place = window().window().extents;
    window().screen().cover(place);
    const auto isCovered = [&] { return window().screen().pixel(place.x + 4, place.y + 4) == 0; };
    ASSERT_TRUE(waitUntil(isCovered));
    expectEnd(options, 0, "", "");
    std::this_thread::sleep_for(doubleClick);
    EXPECT_TRUE(isCovered()) << "by a copy that is to be silent";
    options.arguments.clear();
    expectEnd(options, 0, "", "");
    EXPECT_TRUE(waitUntil([&] { return !isCovered(); }));
    EXPECT_THAT(log(), testing::HasSubstr("running instanace detected. Terminating the new instance with "
                                          "[\"PROGRAM\"].-----------\n"));
    EXPECT_TRUE(window().shows("dialog", "No Lumadoc installation detected"));
    closeAndExpectTheEnd();
}

// Like a network mount whose server is gone.
TEST_F(WindowEnd, WithAFileOnADiskThatDoesNotAnswer) {
    REQUIRE_SLOW_DISK();
    install();
    writeFile(home.path() / "network/one.png", "never read");
    const SlowDisk disk(home.path() / "network");
    open();
    capture();
    window().click("push button", attachName);
    window().click("push button", "network/");
    std::this_thread::sleep_for(doubleClick);
    window().click("check box", "one.png");
    waitForCheck("one.png");
    disk.stopAnswering();
    window().click("push button", "Attach");
    waitForText("Waiting for the disk");
    picture("slow-disk");
    window().clickAt(window().find("text", descriptionName));
    describe("It stopped");
    press("Share logs");
    waitForText("Waiting for attached files.");
    picture("waiting-for-files");
    closeAndExpectTheEnd();
}

TEST_F(WindowEnd, WithoutAPartOfTheWindowItSaysSo) {
    const auto expectNoWindow = [this](const std::string &reason) {
        auto options = program({});
        options.variables.emplace_back("DISPLAY", display.name());
        ProgramRun broken(options);
        EXPECT_EQ(broken.waitForEnd(), exited(1)) << reason;
        EXPECT_EQ(broken.standardOutput(), "");
        EXPECT_THAT(broken.standardError(), testing::MatchesRegex("Brennic_Lumadoc_Diagnostics: the window "
                                                                  "cannot be " +
                                                                  reason + "\n"));
    };
    if (hasOwnNamespaces()) {
        const fs::path modules = QLibraryInfo::path(QLibraryInfo::QmlImportsPath).toStdString();
        for (const auto &[module, reason] :
             {std::pair("QtQml", "[^\n]*QtQml[^\n]*"),
              {"QtQuick/Layouts", "Qt's module QtQuick/Layouts is not installed"},
              {"QtQuick/Templates", "Qt's module QtQuick/Templates is not installed"}}) {
            const Mount hidden = Mount::memory(modules / module, 4096);
            expectNoWindow(std::string("opened: ") + reason);
        }
    }
    writeFile(bundle.path() / "Contents/PlugIns/libWindow.so", "broken");
    expectNoWindow("loaded: [^\n]+");
}

TEST_F(WindowEnd, OnWaylandAloneItOpens) {
    const fs::path runtime = home.path() / "wayland";
    fs::create_directories(runtime);
    fs::permissions(runtime, fs::perms::owner_all);
    const ProgramRun compositor({.program = "/usr/bin/weston",
                                 .arguments = {"--backend=headless-backend.so", "--no-config",
                                               "--socket=display", "--log=" + (runtime / "log").native()},
                                 .variables = {{"XDG_RUNTIME_DIR", runtime.native()}}});
    ASSERT_TRUE(waitUntil([&] { return fs::exists(runtime / "display"); }));
    const Accessibility accessibility(bus);
    auto options = program({});
    options.variables.insert(options.variables.end(), {{"DISPLAY", std::nullopt},
                                                       {"WAYLAND_DISPLAY", "display"},
                                                       {"XDG_RUNTIME_DIR", runtime.native()},
                                                       {"DBUS_SESSION_BUS_ADDRESS", bus.address()},
                                                       {"AT_SPI_BUS_ADDRESS", std::nullopt},
                                                       {"QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1"},
                                                       {"QT_QPA_PLATFORM", std::nullopt}});
    ProgramRun run(options);
    const auto isOpen = [&] {
        return std::ranges::any_of(accessibility.controls().value_or(std::vector<Control>()),
                                   [](const Control &control) {
                                       return control.name == "Start diagnostics" && control.isVisible();
                                   });
    };
    EXPECT_TRUE(waitUntil([&] { return isOpen() || !run.isRunning(); }));
    run.send(SIGTERM);
    EXPECT_EQ(run.waitForEnd(), exited(0));
    EXPECT_EQ(run.standardOutput(), "");
}
