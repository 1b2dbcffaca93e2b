#include "ui/ContentView.h"

#include "collection/PListOperations.h"
#include "collection/ProcessExecution.h"
#include "discovery/ProductDiscovery.h"
#include "packaging/UploadAPI.h"
#include "test_support/WindowFixture.h"

#include <QClipboard>
#include <QMimeData>
#include <chrono>
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
    // What a start logs and sets, up to the alerts: `found` is what it found, before it knows the edition.
    void expectStarted(std::vector<std::string> found, const std::vector<std::string> &end) {
        found.insert(found.begin(), "INFO: Start diagnostics pressed. Advanced Log Checkbox: No");
        for (const auto *more : {&startedEntries, &end})
            found.insert(found.end(), more->begin(), more->end());
        EXPECT_EQ(record.take(), found);
    }
    void expectOneAlert(const char *title, const char *message) {
        ASSERT_TRUE(runMainQueueUntil([&] { return !alerts.empty(); }));
        EXPECT_THAT(alerts, ElementsAre(ElementsAre(title, message, "OK")));
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

    static const std::vector<std::string> startedEntries;
};

const std::vector<std::string> ContentViewTest::startedEntries{
    "INFO: Directory created: ~/.local/share/Library/LumadocDiagnostics/Output/RUN/Lumadoc",
    "INFO: PropertyList URL: ~/.local/share/Library/Preferences/com.brennic.LumadocPE.plist",
    "INFO: Lumalogging dictionary created",
    "INFO: Changes synchronized to plist successfully.",
    "advanceLogToggleDisabled = true",
    "startButtonLabel = Stop diagnostics",
    "logLabel = Please reproduce the steps that led to the issue and then select Stop diagnostics",
    "primaryButtonColor = PrimaryTextColor",
    "primaryButtonTextColor = BackgroundColor"};

// --- The primary button ---

TEST_F(ContentViewTest, APressPointsBothProgressTextsAtTheStatusLineAndThenWaitsForItsTurn) {
    install();
    EXPECT_FALSE(ProcessExecution::labelTextBinding);
    EXPECT_FALSE(UploadAPI::uploadProgress);
    press();
    EXPECT_THAT(record.take(), IsEmpty());
    ASSERT_TRUE(ProcessExecution::labelTextBinding);
    ASSERT_TRUE(UploadAPI::uploadProgress);
    EXPECT_EQ(ProcessExecution::labelTextBinding->get(), QStringLiteral(" "));
    std::thread([] {
        ProcessExecution::labelTextBinding->set(QStringLiteral("from the capture"));
        EXPECT_EQ(UploadAPI::uploadProgress->get(), QStringLiteral("from the capture"));
    }).join();
    ASSERT_TRUE(runMainQueueUntil([&] { return hasCaption("Stop diagnostics"); }));
    record.take();
    UploadAPI::uploadProgress->set(QStringLiteral("from the upload"));
    runMainQueueFor(5ms);
    EXPECT_THAT(record.takeFields(), ElementsAre("logLabel = from the upload"));
}

TEST_F(ContentViewTest, APressWhoseWindowIsGoneDoesNothing) {
    {
        ContentView gone;
        gone.primaryButtonPressed();
    }
    runMainQueueFor(20ms);
    EXPECT_THAT(record.take(), IsEmpty());
}

TEST_F(ContentViewTest, EachCaptionHasItsStep) {
    isOutputDirectoryCreated = false;
    for (const char *caption :
         {"Close", "", " ", "start diagnostics", "Start diagnostics ", "Stop", "Share Logs", "Uploading 0%"})
        expectAtPress(caption);
    expectAtPress("Share logs", "primaryButtonDisabled = true", "isInitialFocus = false");
    // Without an upload there is nothing to stop.
    view.isRunning = true;
    expectAtPress("Stop upload", "primaryButtonDisabled = true", "startButtonLabel = Share logs",
                  "isRunning = false", "primaryButtonDisabled = false");
}

// --- Start ---

const std::string paidFound =
    "INFO: Lumadoc running instance found for BundleIdentifier: com.brennic.LumadocPE";
const std::string freeFound = "INFO: Lumadoc running instance found for BundleIdentifier: com.brennic.Pelx";
const std::string freeMissing =
    "WARNING: Lumadoc running instance not found for BundleIdentifier: com.brennic.Pelx";
const std::string fastTrack = "INFO: FlavourFromAppVersion:10.003.20112 flavour: QZ";

TEST_F(ContentViewTest, AStartWithAnInstalledProductGoesThroughItsStepsInOrder) {
    install({.version = "10.003.20112"});
    pressUntil("Stop diagnostics");
    runMainQueueFor(5ms);
    expectStarted({"WARNING: Lumadoc running instance not found for BundleIdentifier: com.brennic.LumadocPE",
                   freeMissing, "INFO: LumadocRunningInstance.isEmpty",
                   "INFO: App url for bundle: com.brennic.LumadocPE is: ~/Applications/Lumadoc.app",
                   "INFO: Lumadoc installation found.", fastTrack},
                  {"INFO: ShowRestartLumadocAlert: false"});
    EXPECT_EQ(userFilesURL, *tempOutputURL / "UserFiles");
    EXPECT_TRUE(PListOperations::plistUpdated);
    EXPECT_THAT(alerts, IsEmpty());
    EXPECT_FALSE(view.isRunning);
}

TEST_F(ContentViewTest, AStartLogsTheChoiceForgetsEarlierEditionsAndLeavesTheLoggingSwitchIfAsked) {
    LumadocRunningInstance = {PellixBundleIdentifier, PellixBundleIdentifier, PellixBundleIdentifier};
    const auto product = install();
    const QByteArray before = test_support::readFile(product.preferences);
    const auto workspace = tempTimeStampedURL;
    view.isLumaloggingEnabled = false;
    view.changeSpinDump(true);
    pressUntil("Stop diagnostics");
    // The first start does not make the workspace again.
    EXPECT_EQ(record.takeLog().front(), "INFO: Start diagnostics pressed. Advanced Log Checkbox: Yes");
    EXPECT_EQ(tempTimeStampedURL, workspace);
    EXPECT_TRUE(LumadocRunningInstance.isEmpty());
    EXPECT_EQ(test_support::readFile(product.preferences), before);
    EXPECT_FALSE(PListOperations::plistUpdated);
    view.changeSpinDump(false);
    pressUntil("Share logs");
    EXPECT_FALSE(fs::exists(*tempOutputURL / "LumaLog"));
    EXPECT_TRUE(fs::exists(*tempOutputURL / "DetailedInfo.json"));
}

TEST_F(ContentViewTest, ARunningProductOfTheFastTrackIsToBeRestarted) {
    const auto product = install({.version = "10.003.20112"});
    RunningProduct running(product.executable);
    pressUntil("Stop diagnostics");
    // The capture is running while the alert is up.
    expectOneAlert("Lumadoc restart required",
                   "We suggest restarting Lumadoc immediately to gather detailed logs and "
                   "then perform the problematic steps.");
    expectStarted(
        {paidFound, fastTrack, freeMissing},
        {"INFO: Show Restart Alert: standalone consumer detected.", "INFO: ShowRestartLumadocAlert: true"});
    EXPECT_EQ(ProcessId.toInt(), running.processId());
}

TEST_F(ContentViewTest, TwoRunningProductsRefuseTheStart) {
    const auto paid = install();
    const auto free = install({.edition = Edition::pellix});
    RunningProduct first(paid.executable);
    RunningProduct second(free.executable);
    press();
    expectOneAlert("Multiple instances of Lumadoc detected",
                   "Please ensure that only one Lumadoc app which needs troubleshooting is "
                   "open, before running Brennic Lumadoc Diagnostics.");
    EXPECT_THAT(record.take(),
                ElementsAre("INFO: Start diagnostics pressed. Advanced Log Checkbox: No", paidFound,
                            fastTrack, freeFound, fastTrack, "INFO: Lumadoc multiple running instances."));
    EXPECT_FALSE(lumadocOrPellix || userFilesURL);
    // With one of them gone the next press starts.
    second.stop();
    pressUntil("Stop diagnostics");
    EXPECT_EQ(lumadocOrPellix, QStringLiteral("Lumadoc"));
    EXPECT_EQ(LumadocRunningInstance, QStringList{LumadocBundleIdentifier});
}

TEST_F(ContentViewTest, WithoutAProductAnAlertComesUpAndTheCaptureRuns) {
    pressUntil("Stop diagnostics");
    expectOneAlert("No Lumadoc installation detected",
                   "No Lumadoc installation found on this device. Please install Lumadoc "
                   "and then start troubeshooting.");
    EXPECT_EQ(lumadocOrPellix, QStringLiteral("Pellix"));
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

TEST_F(ContentViewTest, AWorkspaceThatCannotBeMadeAgainIsLoggedAndTheStartGoesOn) {
    REQUIRE_OWN_NAMESPACES();
    install();
    view.disappear();
    record.take();
    fs::remove_all(root() / "Output");
    fs::create_directories(root() / "Output");
    const auto readOnly = test_support::Mount::readOnly(root() / "Output");
    pressUntil("Stop diagnostics");
    auto lines = record.takeLog();
    lines.resize(5);
    EXPECT_THAT(lines,
                ElementsAre("--------------Application restarted without quitting--------------",
                            "INFO: LumadocDiagnostics Directory: ~/.local/share/Library/LumadocDiagnostics",
                            "ERROR: Failed to create the initial directories.",
                            "ERROR: Application terminated",
                            "INFO: Start diagnostics pressed. Advanced Log Checkbox: No"));
}

// --- Stop, and the end of the capture ---

const std::vector<std::string> capturedFields{"primaryButtonDisabled = true",
                                              "isRunning = true",
                                              "logLabel = Capturing Lumadoc settings and logs.",
                                              "logLabel = Logging complete.",
                                              "startButtonLabel = Share logs",
                                              "isRunning = false",
                                              "isLogEditorVisible = false",
                                              "isFeedbackLayoutVisible = true",
                                              "primaryButtonColor = PrimaryColor",
                                              "primaryButtonTextColor = white",
                                              "isLogLabelVisible = false",
                                              "isLoggingCompleteVisible = true"};

TEST_F(ContentViewTest, ACaptureEndsAtTheForm) {
    install();
    // Applications are listed with the advanced logs only.
    view.changeInstalledApps(true);
    pressUntil("Stop diagnostics");
    record.take();
    press();
    // While the capture runs the button is off and the window says so.
    ASSERT_TRUE(runMainQueueUntil([&] { return view.isRunning.value(); }));
    EXPECT_TRUE(view.primaryButtonDisabled);
    ASSERT_TRUE(runMainQueueUntil([&] { return hasCaption("Share logs"); }));
    std::vector<std::string> fields;
    std::vector<std::string> lines;
    for (const std::string &entry : record.take())
        (entry.find(" = ") != std::string::npos ? fields : lines).push_back(entry);
    EXPECT_EQ(fields, capturedFields);
    ASSERT_GE(lines.size(), 3U);
    EXPECT_EQ(lines[0], "INFO: Monitoring Queue initiated.");
    EXPECT_EQ(lines[1], "WARNING: Lumadoc running instance not Verified. OldProcessId: ");
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "INFO: Stop diagnostics Queue Completed."), 1);
    // The form decides when the logs can be shared.
    EXPECT_TRUE(view.primaryButtonDisabled);
    EXPECT_TRUE(fs::exists(*tempOutputURL / "DetailedInfo.json"));
    EXPECT_TRUE(fs::exists(*tempOutputURL / "LumaLog"));
    EXPECT_FALSE(PListOperations::plistUpdated);
}

// A product of another track than the fast one is not to be restarted.
TEST_F(ContentViewTest, TheAdvancedLogsAreTakenAsTheTogglesSay) {
    const auto product = install({.version = "10.003.10112"});
    RunningProduct running(product.executable);
    view.changeSpinDump(true);
    view.changeInstalledApps(true);
    pressUntil("Stop diagnostics");
    EXPECT_EQ(record.takeLog().back(), "INFO: ShowRestartLumadocAlert: false");
    pressUntil("Share logs");
    auto texts = record.takeFields();
    std::erase_if(texts, [](const auto &field) { return !field.starts_with("logLabel = "); });
    EXPECT_THAT(texts, ElementsAre("logLabel = Capturing Lumadoc data dump. Please wait for a few minutes.",
                                   "logLabel = Capturing system configuration and settings.",
                                   "logLabel = Capturing Lumadoc settings and logs.",
                                   "logLabel = Logging complete."));
}

TEST_F(ContentViewTest, TheStandaloneBuildEndsAtTheLogId) {
    install();
    view.isStandaloneVersion = true;
    pressUntil("Stop diagnostics");
    record.take();
    pressUntil("Close");
    auto expected = capturedFields;
    expected.insert(expected.end(),
                    {"logLabel = ", "startButtonLabel = Close", "thickBorderButtonStyle = true",
                     "isCloseLayoutVisible = true", "isFeedbackEmailLayoutDisabled = true"});
    EXPECT_EQ(record.takeFields(), expected);
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

// --- Log ID, closing ---

TEST_F(ContentViewTest, CopyIdPutsTheLogIdOnThePasteboardAsPlainTextAlone) {
    auto *before = new QMimeData;
    before->setHtml(QStringLiteral("<b>before</b>"));
    before->setText(QStringLiteral("before"));
    QApplication::clipboard()->setMimeData(before);
    view.copyLogId();
    EXPECT_EQ(QApplication::clipboard()->text(), UniqueId);
    EXPECT_EQ(view.logId(), UniqueId);
    EXPECT_FALSE(QApplication::clipboard()->mimeData()->hasHtml());
    EXPECT_THAT(record.take(), ElementsAre("CopyText = ID Copied!"));
}

TEST_F(ContentViewTest, CopyIdHasItsCaptionAgainFiveSecondsAfterTheFirstOfTwoPresses) {
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    {
        ContentView gone;
        gone.copyLogId();
    }
    view.copyLogId();
    runMainQueueFor(1s);
    view.copyLogId();
    ASSERT_TRUE(runMainQueueUntil([&] { return view.CopyText.value() == QStringLiteral("Copy ID"); }, 8s));
    EXPECT_GE(Clock::now() - start, 4995ms);
    EXPECT_LT(Clock::now() - start, 5900ms);
    runMainQueueFor(1300ms);
    EXPECT_THAT(record.take(), ElementsAre("CopyText = ID Copied!", "CopyText = Copy ID"));
}

TEST_F(ContentViewTest, WithoutARunFolderThereIsNothingToView) {
    tempTimeStampedURL.reset();
    view.viewLogs();
    EXPECT_THAT(record.take(), IsEmpty());
}

} // namespace
