// How a run in the window ends before its time, and starts that come to no window.
#include "tests/WindowRun.h"

#include "test_support/StandIns.h"

#include <csignal>

namespace fs = std::filesystem;
using namespace support_service;
using namespace test_support;

namespace {

class WindowEnd : public WindowRun {
protected:
    // Whether the product's preferences hold the switch of its logging, which it had not before.
    static bool isSwitchedOn(const sample_product::SampleProduct &product) {
        return readFile(product.preferences).contains("<integer>10</integer>");
    }

    // Into a capture that does not get on.
    void startHeldCapture() {
        holdCapture();
        open();
        for (const char *name : {"Advanced logs", "System apps information"}) {
            window().click("check box", name);
            waitForCheck(name);
        }
        press("Start diagnostics");
        press("Stop diagnostics");
        waitForText("Capturing system configuration and settings.");
    }
};

// The ways to end a run that has switched the product's logging on.
enum class Ending { byItsCross, bySignal };

class WindowEndOfLogging : public WindowEnd, public testing::WithParamInterface<Ending> {
protected:
    void expectSwitchedOffAtTheEnd() {
        EXPECT_TRUE(isSwitchedOn(product));
        if (GetParam() == Ending::byItsCross) {
            closeAndExpectTheEnd();
        } else {
            window().program().send(SIGTERM);
            EXPECT_TRUE(window().program().waitForEnd(std::chrono::seconds(2)));
        }
        EXPECT_FALSE(isSwitchedOn(product));
    }

    const sample_product::SampleProduct product = install();
};

} // namespace

TEST_F(WindowEnd, ClosedBeforeTheStart) {
    open();
    closeAndExpectTheEnd();
}

TEST_P(WindowEndOfLogging, WhileTheUserReproduces) {
    open();
    press("Start diagnostics");
    waitForButton("Stop diagnostics");
    expectSwitchedOffAtTheEnd();
}

TEST_P(WindowEndOfLogging, InMidCapture) {
    startHeldCapture();
    expectSwitchedOffAtTheEnd();
}

INSTANTIATE_TEST_SUITE_P(Endings, WindowEndOfLogging, testing::Values(Ending::byItsCross, Ending::bySignal));

TEST_F(WindowEnd, ClosedUnderAnAlert) {
    open();
    press("Start diagnostics");
    window().find("dialog", "No Lumadoc installation detected");
    closeAndExpectTheEnd();
}

TEST_F(WindowEnd, ClosedWithTheFormOpen) {
    install();
    open();
    capture();
    describe("Never mind");
    closeAndExpectTheEnd();
    EXPECT_EQ(service.connections(), 0U);
}

TEST_F(WindowEnd, ClosedWhileTheArchiveIsBuilt) {
    REQUIRE_OWN_NAMESPACES();
    install();
    const StandInProgram zip("zip", "exec sleep 600\n");
    expectError("Failed to compress the directory.");
    // Where the work comes to this line before the process has ended.
    expectError("unable to copy compressed file.");
    open();
    share();
    waitForText("Compressing logs.");
    closeAndExpectTheEnd();
    EXPECT_EQ(processesOf("sleep"), std::vector<pid_t>());
}

TEST_F(WindowEnd, ClosedInMidUpload) {
    install({.logBytes = 6'000'000, .logFiles = 6, .incompressible = true});
    service.setBehaviour({.readBytesPerSecond = 1'000'000});
    open();
    share();
    ASSERT_TRUE(service.waitForBodyBytes(100'000, std::chrono::seconds(20)));
    closeAndExpectTheEnd();
    ASSERT_TRUE(service.waitForReceipts(1, std::chrono::seconds(5)));
    EXPECT_FALSE(service.receipts()[0].complete);
}

TEST_F(WindowEnd, ClosedAfterAFailure) {
    install();
    service.setBehaviour({.status = 500});
    expectUploadError("1");
    open();
    share();
    waitForText("Error sharing logs.");
    closeAndExpectTheEnd();
}

TEST_F(WindowEnd, ClosedAtTheEndByItsCross) {
    install();
    open();
    share();
    waitForText(sentText);
    closeAndExpectTheEnd();
}

TEST_F(WindowEnd, ASecondCopyLeavesTheWindowAlone) {
    install();
    open();
    press("Start diagnostics");
    waitForButton("Stop diagnostics");
    auto options = program({});
    auto variables = bus.variables();
    options.variables.insert(options.variables.end(), variables.begin(), variables.end());
    options.variables.emplace_back("DISPLAY", display.name());
    ProgramRun second(options);
    EXPECT_EQ(second.waitForEnd(std::chrono::seconds(5)), exited(0));
    EXPECT_EQ(second.standardOutput() + second.standardError(), "");
    EXPECT_THAT(log(), testing::EndsWith("running instanace detected. Terminating the new instance with "
                                         "[\"PROGRAM\"].-----------\n"));
    EXPECT_TRUE(window().program().isRunning());
    EXPECT_TRUE(window().shows("push button", "Stop diagnostics"));
}

TEST_F(WindowEnd, ABundleWithoutItsWindowSaysSo) {
    fs::remove_all(bundle.path() / "Contents/PlugIns");
    auto options = program({});
    options.variables.emplace_back("DISPLAY", display.name());
    ProgramRun broken(options);
    EXPECT_EQ(broken.waitForEnd(std::chrono::seconds(5)), exited(1));
    EXPECT_EQ(broken.standardOutput(), "");
    const std::string said = broken.standardError();
    EXPECT_THAT(said, testing::StartsWith("Brennic_Lumadoc_Diagnostics: the window cannot be loaded: "));
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1);
}
