#include "ui/ContentView.h"

#include "collection/PListOperations.h"
#include "collection/ProcessExecution.h"
#include "discovery/ProductDiscovery.h"
#include "packaging/UploadAPI.h"
#include "test_support/WindowFixture.h"

#include <QClipboard>
#include <chrono>
#include <future>
#include <thread>

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using namespace UtilityFunctions;
using sample_product::Edition;
using sample_product::RunningProduct;
using test_support::runMainQueueFor;
using test_support::runMainQueueUntil;
using testing::ElementsAre;
using testing::IsEmpty;

class ContentViewTest : public RunTest {
protected:
    void expectOneAlert(const char *title) {
        ASSERT_TRUE(runMainQueueUntil([&] { return !alerts.empty(); }));
        EXPECT_THAT(alerts, ElementsAre(title));
    }
    // What a press of the button under this caption does at once.
    template <typename... Entries>
    void expectAtPress(const char *caption, const Entries &...entries) {
        view.startButtonLabel = QString::fromUtf8(caption);
        view.primaryButtonDisabled = false;
        record.take();
        press();
        runMainQueueFor(10ms);
        EXPECT_THAT(record.take(), ElementsAre(entries...)) << caption;
    }
};

// --- The primary button ---

TEST_F(ContentViewTest, APressPointsBothProgressTextsAtTheStatusLineAndThenWaitsForItsTurn) {
    install();
    {
        ContentView gone;
        gone.primaryButtonPressed();
    }
    press();
    EXPECT_THAT(record.take(), IsEmpty());
    EXPECT_EQ(ProcessExecution::labelTextBinding->get(), QStringLiteral(" "));
    std::thread([] {
        ProcessExecution::labelTextBinding->set(QStringLiteral("from the capture"));
        EXPECT_EQ(UploadAPI::uploadProgress->get(), QStringLiteral("from the capture"));
    }).join();
    waitUntil("Stop diagnostics");
    record.take();
    UploadAPI::uploadProgress->set(QStringLiteral("from the upload"));
    runMainQueueFor(5ms);
    EXPECT_THAT(record.takeFields(), ElementsAre("logLabel = from the upload"));
}

TEST_F(ContentViewTest, EachCaptionHasItsStep) {
    isOutputDirectoryCreated = false;
    for (const char *caption : {"Close", "", "start diagnostics", "Stop"})
        expectAtPress(caption);
    // An empty description is asked for once.
    expectAtPress("Share logs", "primaryButtonDisabled = true", "isInitialFocus = false");
    EXPECT_FALSE(UtilityFunctions::ShareButtonPressed);
    // Without an upload there is nothing to stop.
    view.isRunning = true;
    expectAtPress("Stop upload", "primaryButtonDisabled = true", "startButtonLabel = Share logs",
                  "isRunning = false", "primaryButtonDisabled = false");
}

// --- Start ---

TEST_F(ContentViewTest, AStartWithAnInstalledProductGoesThroughItsStepsInOrder) {
    install({.version = "10.003.20112"});
    pressUntil("Stop diagnostics");
    runMainQueueFor(5ms);
    EXPECT_THAT(
        record.take(),
        ElementsAre(
            "primaryButtonDisabled = true", "isRunning = true",
            "INFO: Start diagnostics pressed. Advanced Log Checkbox: No",
            "WARNING: Lumadoc running instance not found for BundleIdentifier: com.brennic.LumadocPE",
            "WARNING: Lumadoc running instance not found for BundleIdentifier: com.brennic.Pelx",
            "INFO: LumadocRunningInstance.isEmpty",
            "INFO: App url for bundle: com.brennic.LumadocPE is: ~/Applications/Lumadoc.app",
            "INFO: Lumadoc installation found.", "INFO: FlavourFromAppVersion:10.003.20112 flavour: QZ",
            "INFO: Directory created: ~/.local/share/Library/LumadocDiagnostics/Output/RUN/Lumadoc",
            "INFO: PropertyList URL: ~/.local/share/Library/Preferences/com.brennic.LumadocPE.plist",
            "INFO: Lumalogging dictionary created", "INFO: Changes synchronized to plist successfully.",
            "isRunning = false", "primaryButtonDisabled = false", "advanceLogToggleDisabled = true",
            "startButtonLabel = Stop diagnostics",
            "logLabel = Please reproduce the steps that led to the issue and then select Stop diagnostics",
            "primaryButtonColor = PrimaryTextColor", "primaryButtonTextColor = BackgroundColor",
            "INFO: ShowRestartLumadocAlert: false"));
    EXPECT_EQ(userFilesURL, *tempOutputURL / "UserFiles");
    EXPECT_THAT(alerts, IsEmpty());
}

TEST_F(ContentViewTest, AStartForgetsEarlierEditionsLeavesTheLoggingSwitchIfAskedAndAdvisesARestart) {
    LumadocRunningInstance = {PellixBundleIdentifier, PellixBundleIdentifier, PellixBundleIdentifier};
    const auto product = install({.version = "10.003.20112"});
    RunningProduct running(product.executable);
    const QByteArray before = test_support::readFile(product.preferences);
    const auto workspace = tempTimeStampedURL;
    view.isLumaloggingEnabled = false;
    view.changeSpinDump(true);
    pressUntil("Stop diagnostics");
    // The first start does not make the workspace again.
    const auto lines = record.takeLog();
    EXPECT_EQ(lines.front(), "INFO: Start diagnostics pressed. Advanced Log Checkbox: Yes");
    EXPECT_EQ(lines.back(), "INFO: ShowRestartLumadocAlert: true");
    EXPECT_EQ(tempTimeStampedURL, workspace);
    EXPECT_EQ(LumadocRunningInstance, QStringList{LumadocBundleIdentifier});
    EXPECT_EQ(test_support::readFile(product.preferences), before);
    // The capture is running while the alert is up.
    expectOneAlert("Lumadoc restart required");
    view.changeSpinDump(false);
    pressUntil("Share logs");
    EXPECT_FALSE(fs::exists(*tempOutputURL / "LumaLog"));
    EXPECT_TRUE(fs::exists(*tempOutputURL / "DetailedInfo.json"));
}

TEST_F(ContentViewTest, TwoRunningProductsRefuseTheStart) {
    RunningProduct first(install().executable);
    RunningProduct second(install({.edition = Edition::pellix}).executable);
    press();
    expectOneAlert("Multiple instances of Lumadoc detected");
    ASSERT_TRUE(runMainQueueUntil([&] { return !view.primaryButtonDisabled; }));
    const auto [fields, lines] = record.takeApart();
    EXPECT_THAT(fields, ElementsAre("primaryButtonDisabled = true", "isRunning = true", "isRunning = false",
                                    "primaryButtonDisabled = false"));
    EXPECT_EQ(lines.back(), "INFO: Lumadoc multiple running instances.");
    EXPECT_FALSE(lumadocOrPellix || userFilesURL);
    // With one of them gone the next press starts.
    second.stop();
    pressUntil("Stop diagnostics");
    EXPECT_EQ(LumadocRunningInstance, QStringList{LumadocBundleIdentifier});
}

// --- The window closed and opened again ---

TEST_F(ContentViewTest, AStartInAReopenedWindowFirstMakesTheWorkspaceAgain) {
    install();
    view.disappear();
    EXPECT_FALSE(isOutputDirectoryCreated);
    EXPECT_THAT(record.take(),
                ElementsAre("INFO: --------------onDisappear triggered, application closed-------------- ",
                            "MALFORMED: ", "MALFORMED: "));
    fs::remove_all(root() / "Output");
    test_support::startLog();
    lumamonLogFileURL.reset();
    pressUntil("Stop diagnostics");
    // The log moves into the workspace.
    EXPECT_EQ(lumamonLogFileURL, systemLog());
    const QStringList all = test_support::logLines(systemLog());
    const auto first =
        all.indexOf(QStringLiteral("--------------Application restarted without quitting--------------"));
    ASSERT_GE(first, 0);
    EXPECT_TRUE(all[first + 1].startsWith(u"INFO: LumadocDiagnostics Directory: "));
    EXPECT_TRUE(all[first + 2].startsWith(u"INFO: Directory created: "));
    EXPECT_EQ(all[first + 3], QStringLiteral("INFO: Start diagnostics pressed. Advanced Log Checkbox: No"));
    EXPECT_TRUE(isOutputDirectoryCreated);
    EXPECT_TRUE(fs::exists(*tempOutputURL));
}

// The capture of a window that was closed goes on, and reads where its files go.
TEST_F(ContentViewTest, AStartInAReopenedWindowWaitsForTheCaptureOfTheLast) {
    install();
    std::promise<void> end;
    ProcessExecution::runSteps({[end = end.get_future().share()] { end.wait(); }}, [] {});
    tempTimeStampedURL.reset();
    view.disappear();
    press();
    runMainQueueFor(100ms);
    EXPECT_FALSE(tempTimeStampedURL);
    end.set_value();
    waitUntil("Stop diagnostics");
    EXPECT_TRUE(tempTimeStampedURL);
}

// --- Stop, and the end of the capture ---

// The standalone build ends at the Log ID. The last five fields are its own.
TEST_F(ContentViewTest, ACaptureEndsAtTheForm) {
    install();
    view.isStandaloneVersion = true;
    // No product runs that could be sampled.
    view.changeSpinDump(true);
    pressUntil("Stop diagnostics");
    record.take();
    press();
    // While the capture runs the button is off and the window says so.
    ASSERT_TRUE(runMainQueueUntil([&] { return view.isRunning.value(); }));
    EXPECT_TRUE(view.primaryButtonDisabled);
    waitUntil("Close");
    const auto [fields, lines] = record.takeApart();
    EXPECT_THAT(fields,
                ElementsAre("primaryButtonDisabled = true", "isRunning = true",
                            "logLabel = Capturing Lumadoc settings and logs.", "logLabel = Logging complete.",
                            "startButtonLabel = Share logs", "isRunning = false",
                            "isLogEditorVisible = false", "isFeedbackLayoutVisible = true",
                            "primaryButtonColor = PrimaryColor", "primaryButtonTextColor = white",
                            "isLogLabelVisible = false", "isSampleMissing = true",
                            "isLoggingCompleteVisible = true", "logLabel = ", "startButtonLabel = Close",
                            "thickBorderButtonStyle = true", "isCloseLayoutVisible = true",
                            "isFeedbackEmailLayoutDisabled = true"));
    EXPECT_EQ(lines.front(), "INFO: Monitoring Queue initiated.");
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "INFO: Stop diagnostics Queue Completed."), 1);
    EXPECT_TRUE(fs::exists(*tempOutputURL / "DetailedInfo.json"));
    EXPECT_TRUE(fs::exists(*tempOutputURL / "LumaLog"));
    EXPECT_FALSE(PListOperations::plistUpdated);
}

TEST_F(ContentViewTest, ACaptureWhoseWindowIsGoneEndsQuietly) {
    install();
    pressUntil("Stop diagnostics");
    auto other = std::make_unique<ContentView>();
    other->startButtonLabel = QStringLiteral("Stop diagnostics");
    other->primaryButtonPressed();
    ASSERT_TRUE(runMainQueueUntil([&] { return other->primaryButtonDisabled.value(); }));
    other.reset();
    EXPECT_TRUE(runMainQueueUntil([&] { return fs::exists(*tempOutputURL / "DetailedInfo.json"); }));
    runMainQueueFor(100ms);
    EXPECT_THAT(record.takeLog(), testing::Not(testing::Contains("INFO: Stop diagnostics Queue Completed.")));
}

// --- Log ID ---

TEST_F(ContentViewTest, CopyIdPutsTheLogIdOnThePasteboardAndSaysSoForFiveSecondsFromTheFirstOfTwoPresses) {
    using Clock = std::chrono::steady_clock;
    {
        ContentView gone;
        gone.copyLogId();
    }
    const auto start = Clock::now();
    view.copyLogId();
    EXPECT_EQ(QGuiApplication::clipboard()->text(), view.logId());
    runMainQueueFor(3s);
    view.copyLogId();
    ASSERT_TRUE(runMainQueueUntil([&] { return view.CopyText.value() == QStringLiteral("Copy ID"); }, 8s));
    EXPECT_GE(Clock::now() - start, 4995ms);
    EXPECT_LT(Clock::now() - start, 7500ms);
    runMainQueueFor(3300ms);
    // Without a run folder there is nothing to view.
    tempTimeStampedURL.reset();
    view.viewLogs();
    EXPECT_THAT(record.take(), ElementsAre("CopyText = ID Copied!", "CopyText = Copy ID"));
}

// --- The list of what is collected ---

// The toggle of the applications does not look at the other one, and what is no change leaves the list.
TEST_F(ContentViewTest, EachToggleRewritesTheList) {
    const std::string basic =
        "BASIC LOGS\n• Lumadoc configuration, settings and logs\n• System configuration and settings";
    const std::string advanced =
        "BASIC LOGS" + std::string(57, ' ') + "ADVANCED LOGS\n• Lumadoc configuration, settings and logs" +
        std::string(8, ' ') + "• Full Lumadoc data dump\n• System configuration and settings";
    const std::string withApps = advanced + std::string(18, ' ') + "• System apps version information";
    EXPECT_EQ(view.captureDetails.value().toStdString(), basic);
    struct Step {
        bool isOfApps;
        bool on;
        const std::string &list;
    };
    for (const auto &[isOfApps, on, list] :
         {Step{false, true, advanced}, Step{true, true, withApps}, Step{true, false, advanced},
          Step{false, false, basic}, Step{true, true, withApps}, Step{false, false, withApps},
          Step{false, true, withApps}, Step{false, false, basic}, Step{true, true, basic}}) {
        isOfApps ? view.changeInstalledApps(on) : view.changeSpinDump(on);
        EXPECT_EQ(isOfApps ? view.getInstalledApps : view.getSpinDump, on);
        EXPECT_EQ(view.captureDetails.value().toStdString(), list);
    }
}

} // namespace
