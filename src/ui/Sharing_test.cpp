#include "discovery/DetailedInfo.h"
#include "discovery/MainQueue.h"
#include "discovery/RunState.h"
#include "packaging/UploadAPI.h"
#include "packaging/UploadError.h"
#include "test_support/ArchiveReader.h"
#include "test_support/Isolation.h"
#include "test_support/LoopbackListener.h"
#include "test_support/WindowFixture.h"

#include <QRegularExpression>
#include <thread>

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using namespace UtilityFunctions;
using test_support::Mount;
using test_support::readFile;
using test_support::runMainQueueFor;
using test_support::runMainQueueUntil;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;
using SecondaryError = ContentView::SecondaryError;

class SharingTest : public ShareTest {
protected:
    // A zip that waits for `releaseZip`, and then makes an archive of this size, whatever it is asked to
    // pack.
    Mount zipThatWaits(qint64 bytes = 1000) const {
        const QByteArray release = QByteArray::fromStdString((home.path() / "release").native());
        const fs::path standIn = home.path() / "zip";
        test_support::writeFile(standIn, "#!/bin/sh\nwhile [ ! -e '" + release +
                                             "' ]; do sleep 0.02; done\nexec truncate -s " +
                                             QByteArray::number(bytes) + " \"$3\"\n");
        fs::permissions(standIn, fs::perms::all);
        return Mount::over(standIn, "/usr/bin/zip");
    }
    void releaseZip() const { test_support::writeFile(home.path() / "release", ""); }
    void waitForFailure() {
        ASSERT_TRUE(runMainQueueUntil(
            [&] { return view.isUploadFailedLayoutVisible.value() && !view.isRunning.value(); }));
    }
};

constexpr std::size_t manyBytes = 6'000'000;

const std::string logFolder = "~/.local/share/Library/LumadocDiagnostics/Output/RUN";

// Without what depends on the speed of the machine.
std::vector<std::string> withoutProgress(std::vector<std::string> lines) {
    std::erase_if(lines, [](const std::string &line) {
        return line.starts_with("INFO: Uploading ") || line == "INFO: Compressing logs." ||
               (line.starts_with("logLabel = Uploading ") && line != "logLabel = Uploading 0%" &&
                line != "logLabel = Uploading 100%");
    });
    return lines;
}

// --- Before anything is shared ---

TEST_F(SharingTest, AnEmptyDescriptionIsAskedForOnce) {
    capture();
    view.primaryButtonDisabled = false;
    record.take();
    press();
    runMainQueueFor(20ms);
    EXPECT_THAT(record.take(), ElementsAre("primaryButtonDisabled = true", "isInitialFocus = false"));
    EXPECT_FALSE(UtilityFunctions::ShareButtonPressed);
    EXPECT_FALSE(view.isFormFrozen());
    EXPECT_FALSE(compressedLogURL);
    EXPECT_TRUE(fs::exists(*tempOutputURL / "LumaLog/state.bin"));
    EXPECT_EQ(service().connections(), 0U);
    describe();
    EXPECT_FALSE(view.primaryButtonDisabled);
    pressUntil("Close");
}

// --- Success ---

TEST_F(SharingTest, AShareGoesThroughItsStepsInOrder) {
    capture();
    describe();
    view.changeEmail(QStringLiteral("user@example.com"));
    view.feedbackFormFocus = ContentView::Field::email;
    record.take();
    press();
    ASSERT_TRUE(runMainQueueUntil([&] { return hasCaption("Close"); }));
    std::vector<std::string> fields;
    std::vector<std::string> lines;
    for (const std::string &entry : withoutProgress(record.take()))
        (entry.find(" = ") != std::string::npos ? fields : lines).push_back(entry);
    EXPECT_THAT(fields,
                ElementsAre("feedbackFormFocus = noField", "primaryButtonDisabled = true",
                            "isFeedbackEmailLayoutDisabled = true", "isFormFrozen = true",
                            "logLabel = Compressing logs.", "isRunning = true", "logLabel = Uploading 0%",
                            "primaryButtonDisabled = false", "startButtonLabel = Stop upload",
                            "logLabel = Uploading 100%", "startButtonLabel = Close", "isRunning = false",
                            "logLabel = ", "isFeedbackLayoutVisible = false", "isCloseLayoutVisible = true",
                            "primaryButtonColor = clear", "thickBorderButtonStyle = true"));
    EXPECT_THAT(lines,
                ElementsAre("INFO: File created and content written successfully.",
                            "INFO: Removed file with extension: bin",
                            "INFO: Total files removed based on allowed extensions: 1",
                            "INFO: Compressed File: lumaMacLog_LOGID_abc.zip",
                            "INFO: Directory compressed successfully.", "INFO: Deleted: Pellix",
                            "INFO: File copied successfully.", "INFO: Deleted: lumaMacLog_LOGID_abc.zip",
                            testing::StartsWith("INFO: Compressed file size: 0.00"), "INFO: Status Code: 200",
                            "INFO: Response Data: Received.",
                            "INFO: Directory deleted successfully. Path: " + logFolder));
}

TEST_F(SharingTest, TheServiceGetsTheArchiveWithTheUsersWords) {
    capture();
    describe("It said \"no\"");
    view.changeEmail(QStringLiteral("user@example"));
    pressUntil("Close");
    const auto receipts = service().receipts();
    ASSERT_EQ(receipts.size(), 1U);
    EXPECT_EQ(receipts[0].fileName, "lumaMacLog_" + UniqueId.toStdString() + "_abc.zip");
    const auto items = test_support::readArchive(receipts[0].archive);
    EXPECT_EQ(items.at("Pellix/UserEmailFeedback.json").content,
              "{\"machineid\":\"" + getMachineHash().toStdString() +
                  "\",\"email\":\"\",\"problemdesc\":\"It said \"no\"\"}");
    EXPECT_EQ(items.count("Pellix/LumaLog/state.bin"), 0U);
    EXPECT_EQ(items.at("Pellix/LumaLog/session.log").content.size(), 2000U);
    EXPECT_FALSE(fs::exists(runFolder()));
}

TEST_F(SharingTest, ProgressIsShownInWholePercentsThatGrow) {
    service().setBehaviour({.readBytesPerSecond = 6'000'000});
    capture(manyBytes);
    describe();
    press();
    ASSERT_TRUE(runMainQueueUntil([&] { return hasCaption("Close"); }));
    static const QRegularExpression form(QStringLiteral("^logLabel = Uploading ([1-9]|[1-9][0-9])%$"));
    std::vector<int> percents;
    const auto entries = record.take();
    for (const std::string &entry : entries) {
        const auto match = form.match(QString::fromStdString(entry));
        if (match.hasMatch())
            percents.push_back(match.captured(1).toInt());
    }
    EXPECT_GE(percents.size(), 10U);
    EXPECT_TRUE(std::is_sorted(percents.begin(), percents.end()));
    // The upload's thread reads the status line.
    EXPECT_THAT(entries, Contains(testing::MatchesRegex("INFO: Uploading [0-9]+%")));
}

// --- While the archive is built ---

TEST_F(SharingTest, TheMainQueueRunsWhileTheArchiveIsBuilt) {
    capture();
    describe();
    const auto zip = zipThatWaits();
    int turns = 0;
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, &view, [&] {
        if (view.isRunning && view.logLabel.value() == QStringLiteral("Compressing logs.") && ++turns == 4)
            releaseZip();
    });
    timer.start(5);
    // Keys come in as one batch when the main thread was busy; the second press comes up while the archive is
    // built, and must not share again.
    press();
    press();
    ASSERT_TRUE(runMainQueueUntil([&] { return hasCaption("Close"); }));
    EXPECT_GE(turns, 4);
    EXPECT_EQ(service().receipts().size(), 1U);
}

TEST_F(SharingTest, TheEndOfTheProgramEndsTheWaitForTheArchive) {
    capture();
    describe();
    const auto zip = zipThatWaits();
    QTimer::singleShot(0, &view, [&] { view.primaryButtonPressed(); });
    QTimer::singleShot(150ms, &application, &QCoreApplication::quit);
    const auto start = std::chrono::steady_clock::now();
    QCoreApplication::exec();
    EXPECT_LT(std::chrono::steady_clock::now() - start, 1500ms);
    EXPECT_TRUE(UtilityFunctions::ShareButtonPressed);
    EXPECT_TRUE(hasCaption("Share logs"));
    EXPECT_THAT(record.takeLog(), Not(Contains("ERROR: unable to copy compressed file.")));
    // The work goes on alone, to its last line in the log.
    releaseZip();
    EXPECT_TRUE(runMainQueueUntil([&] {
        return test_support::logLines(systemLog()).last().startsWith(u"INFO: Deleted: lumaMacLog_");
    }));
    // After that line it still notes where the archive is, and reports that it has ended.
    runMainQueueFor(500ms);
}

// --- Compression fails ---

TEST_F(SharingTest, WithoutZipTheButtonIsOnAgainAndNothingIsSent) {
    capture();
    describe();
    test_support::writeFile(home.path() / "no program", "");
    const auto hidden = Mount::over(home.path() / "no program", "/usr/bin/zip");
    press();
    ASSERT_TRUE(runMainQueueUntil([&] { return UtilityFunctions::ShareButtonPressed; }));
    ASSERT_TRUE(runMainQueueUntil([&] { return !view.primaryButtonDisabled; }));
    EXPECT_THAT(record.takeFields(),
                ElementsAre("primaryButtonDisabled = true", "isFeedbackEmailLayoutDisabled = true",
                            "isFormFrozen = true", "logLabel = Compressing logs.", "isRunning = true",
                            "primaryButtonDisabled = false", "isRunning = false"));
    EXPECT_EQ(record.takeLog().size(), 0U);
    EXPECT_TRUE(hasCaption("Share logs"));
    EXPECT_EQ(test_support::logLines(systemLog()).last(),
              QStringLiteral("ERROR: unable to copy compressed file."));
    EXPECT_EQ(service().connections(), 0U);
}

TEST_F(SharingTest, AShareAfterAFailedCompressionEndsTheProcess) {
    capture();
    describe();
    UtilityFunctions::ShareButtonPressed = true;
    EXPECT_EXIT(view.ShareButtonPressed(), testing::ExitedWithCode(1),
                "The archive's location is not known when it is to be shared.");
}

// zip that runs and makes no archive.
TEST_F(SharingTest, AnArchiveThatIsMissingOffersTheMail) {
    capture();
    describe();
    const auto failing = Mount::over("/bin/false", "/usr/bin/zip");
    press();
    ASSERT_TRUE(runMainQueueUntil([&] { return view.isUploadFailedLayoutVisible.value(); }));
    const auto lines = record.takeLog();
    EXPECT_THAT(lines, Contains("ERROR: Failed to compress the directory."));
    EXPECT_THAT(lines, Contains("ERROR: Error fetching file attributes: No such file or directory"));
    EXPECT_EQ(lines.back(), "ERROR: Logs Size is large.");
    EXPECT_EQ(service().connections(), 0U);
}

// --- Too large ---

TEST_F(SharingTest, AnArchiveThatIsTooLargeOffersTheMail) {
    capture();
    describe();
    const auto zip = zipThatWaits(104'857'600);
    releaseZip();
    press();
    ASSERT_TRUE(runMainQueueUntil([&] { return view.isUploadFailedLayoutVisible.value(); }));
    EXPECT_EQ(fs::file_size(archive()), 104'857'600U);
    EXPECT_EQ(test_support::logLines(systemLog()).last(), QStringLiteral("ERROR: Logs Size is large."));
    EXPECT_THAT(record.takeFields(),
                ElementsAre("primaryButtonDisabled = true", "isFeedbackEmailLayoutDisabled = true",
                            "isFormFrozen = true", "logLabel = Compressing logs.", "isRunning = true",
                            "isUploadFailedLayoutVisible = true", "isLoggingCompleteVisible = false",
                            "primaryButtonDisabled = false", "isRunning = false"));
    EXPECT_EQ(view.isSecondaryError, SecondaryError::none);
    EXPECT_TRUE(hasCaption("Share logs"));
    EXPECT_EQ(service().connections(), 0U);

    // Again: neither compressed nor sent.
    press();
    runMainQueueFor(50ms);
    EXPECT_THAT(record.takeFields(),
                ElementsAre("primaryButtonDisabled = true", "isUploadFailedLayoutVisible = false",
                            "isLoggingCompleteVisible = true", "isUploadFailedLayoutVisible = true",
                            "isLoggingCompleteVisible = false", "primaryButtonDisabled = false"));
    EXPECT_EQ(service().connections(), 0U);
}

// --- Failures of the upload ---

TEST_F(SharingTest, AFailedUploadEndsAtTheFailedBlock) {
    service().setBehaviour({.status = 500});
    capture();
    describe();
    // An earlier failure's second line goes with the next share.
    view.isSecondaryError = SecondaryError::network;
    press();
    waitForFailure();
    const auto fields = withoutProgress(record.takeFields());
    ASSERT_GE(fields.size(), 4U);
    EXPECT_THAT(std::vector<std::string>(fields.end() - 4, fields.end()),
                ElementsAre("isUploadFailedLayoutVisible = true", "isLoggingCompleteVisible = false",
                            "startButtonLabel = Share logs", "isRunning = false"));
    EXPECT_EQ(view.isSecondaryError, SecondaryError::none);
    EXPECT_FALSE(view.primaryButtonDisabled);
    QStringList lines = test_support::logLines(systemLog());
    EXPECT_EQ(lines.mid(lines.size() - 6),
              (QStringList{
                  QStringLiteral("INFO: Status Code: 500"), QStringLiteral("INFO: Response Data: Received."),
                  QStringLiteral("ERROR: Upload error code: 1"),
                  QStringLiteral("ERROR: Upload error domain: com.brennic.LumadocDiagnostics.upload"),
                  QStringLiteral("ERROR: Other network error: Internal Server Error."),
                  QStringLiteral("ERROR: userInfo: Internal Server Error.")}));
    EXPECT_TRUE(fs::exists(archive()));
}

class NoNetworkTest : public SharingTest {
public:
    void TestBody() override {
        capture();
        describe();
        test_support::enterNoNetwork();
        press();
        waitForFailure();
        EXPECT_EQ(view.isSecondaryError, SecondaryError::network);
        const auto entries = record.take();
        EXPECT_THAT(entries, Contains("ERROR: Upload error code: -1009"));
        const auto said = std::find(entries.begin(), entries.end(), "ERROR: No internet connection");
        ASSERT_NE(said, entries.end());
        EXPECT_THAT(std::vector<std::string>(said + 1, entries.end()),
                    ElementsAre("isSecondaryError = network", "isUploadFailedLayoutVisible = true",
                                "isLoggingCompleteVisible = false", "startButtonLabel = Share logs",
                                "isRunning = false"));
    }
};

const bool hasNoNetworkTest =
    test_support::canEnter(test_support::enterNoNetwork) &&
    testing::RegisterTest("NoNetworkTest", "TheUserIsAskedForANetwork", nullptr, nullptr, __FILE__, __LINE__,
                          []() -> SharingTest * { return new NoNetworkTest; }) != nullptr;

TEST_F(SharingTest, EachFailureHasItsLinesAndItsSecondLine) {
    struct Case {
        UploadError error;
        SecondaryError secondLine;
        std::vector<std::string> logged;
    };
    // A failure without a second line leaves the one before it.
    const Case cases[] = {
        {{TransportErrorDomain, -1001, QStringLiteral("It took too long.")},
         SecondaryError::none,
         {"ERROR: Upload error code: -1001", "ERROR: Upload error domain: NSURLErrorDomain",
          "ERROR: Other network error: It took too long.", "ERROR: userInfo: It took too long."}},
        {{TransportErrorDomain, -999, QStringLiteral("cancelled")},
         SecondaryError::canceled,
         {"ERROR: Upload error code: -999", "ERROR: Upload error domain: NSURLErrorDomain",
          "ERROR: Upload task was canceled"}},
        {{TransportErrorDomain, -1009, QStringLiteral("offline")},
         SecondaryError::network,
         {"ERROR: Upload error code: -1009", "ERROR: Upload error domain: NSURLErrorDomain",
          "ERROR: No internet connection"}},
        {{QStringLiteral("some domain"), 7, QString()},
         SecondaryError::network,
         {"ERROR: Upload error code: 7", "ERROR: Upload error domain: some domain",
          "ERROR: Other network error: The operation couldn’t be completed. (some domain error 7.)",
          "ERROR: userInfo: no userInfo"}}};
    capture();
    for (const auto &[error, secondLine, logged] : cases) {
        view.startButtonLabel = QStringLiteral("Stop upload");
        view.isUploadFailedLayoutVisible = false;
        view.isLoggingCompleteVisible = true;
        record.take();
        view.startUpload(error);
        EXPECT_EQ(view.isSecondaryError, secondLine);
        EXPECT_EQ(record.takeLog(), logged);
        EXPECT_TRUE(view.isUploadFailedLayoutVisible);
        EXPECT_FALSE(view.isLoggingCompleteVisible);
        EXPECT_TRUE(hasCaption("Share logs"));
        EXPECT_TRUE(fs::exists(*tempOutputURL));
    }
}

TEST_F(SharingTest, SuccessWithoutAnOutputFolderEndsTheProcess) {
    capture();
    tempOutputURL.reset();
    EXPECT_EXIT(view.startUpload(QByteArray("ok")), testing::ExitedWithCode(1), "output folder is not known");
}

TEST_F(SharingTest, ASecondShareSendsTheSameBytesAndWritesNoRecord) {
    service().setBehaviour({.status = 500}, 1);
    capture();
    describe("the first words");
    press();
    waitForFailure();
    const QByteArray bytes = readFile(archive());
    const auto written = fs::last_write_time(archive());
    view.changeFeedback(QStringLiteral("other words"));
    view.changeEmail(QStringLiteral("other@example.com"));
    test_support::writeFile(runFolder() / "late.bin", "stays");
    record.take();
    press();
    ASSERT_TRUE(runMainQueueUntil([&] { return hasCaption("Stop upload"); }));
    EXPECT_TRUE(fs::exists(runFolder() / "late.bin"));
    EXPECT_FALSE(fs::exists(runFolder() / "UserEmailFeedback.json"));
    EXPECT_EQ(fs::last_write_time(archive()), written);
    EXPECT_THAT(withoutProgress(record.takeFields()),
                ElementsAre("primaryButtonDisabled = true", "isUploadFailedLayoutVisible = false",
                            "isLoggingCompleteVisible = true", "primaryButtonDisabled = false",
                            "startButtonLabel = Stop upload", "isRunning = true"));
    ASSERT_TRUE(runMainQueueUntil([&] { return hasCaption("Close"); }));
    const auto receipts = service().receipts();
    ASSERT_EQ(receipts.size(), 2U);
    EXPECT_EQ(receipts[0].fileName, receipts[1].fileName);
    EXPECT_TRUE(readFile(receipts[0].archive) == bytes);
    EXPECT_TRUE(readFile(receipts[1].archive) == bytes);
}

// --- Cancelling ---

class CancelTest : public SharingTest {
protected:
    // Until an upload has sent a part and gets no further.
    void uploadHalf() {
        service().setBehaviour({.stopReadingAfterBytes = 100'000}, 1);
        capture(manyBytes);
        describe();
        pressUntil("Stop upload");
        ASSERT_TRUE(service().waitForBodyBytes(100'000, 10s));
        runMainQueueFor(20ms);
        record.take();
    }
};

TEST_F(CancelTest, AStoppedUploadIsCancelledAndCanBeSharedAgain) {
    uploadHalf();
    press();
    ASSERT_TRUE(runMainQueueUntil([&] { return view.isUploadFailedLayoutVisible.value(); }));
    const auto all = record.take();
    std::vector<std::string> entries;
    for (const auto &entry : all)
        if (!entry.starts_with("INFO: ") && !entry.starts_with("logLabel"))
            entries.push_back(entry);
    EXPECT_THAT(entries,
                ElementsAre("primaryButtonDisabled = true", "startButtonLabel = Share logs",
                            "isRunning = false", "primaryButtonDisabled = false",
                            "ERROR: Upload error code: -999", "ERROR: Upload error domain: NSURLErrorDomain",
                            "ERROR: Upload task was canceled", "isSecondaryError = canceled",
                            "isUploadFailedLayoutVisible = true", "isLoggingCompleteVisible = false"));
    EXPECT_TRUE(fs::exists(archive()));
    pressUntil("Close");
    EXPECT_EQ(service().receipts().back().complete, true);
}

// The first upload's report comes when the second is under way.
TEST_F(CancelTest, AReportOfAnEarlierUploadDoesNotTouchTheNext) {
    uploadHalf();
    view.StopShareButtonPressed();
    std::this_thread::sleep_for(300ms);
    view.ShareButtonPressed();
    record.take();
    ASSERT_TRUE(runMainQueueUntil([&] { return hasCaption("Close"); }));
    const auto fields = record.takeFields();
    EXPECT_THAT(fields, Not(Contains("isUploadFailedLayoutVisible = true")));
    EXPECT_THAT(fields, Not(Contains("isSecondaryError = canceled")));
    EXPECT_THAT(fields, Not(Contains("startButtonLabel = Share logs")));
    const QStringList lines = test_support::logLines(systemLog());
    EXPECT_EQ(lines.count(QStringLiteral("ERROR: Upload task was canceled")), 1);
}

// What the first upload had put on its way to the status line when it was stopped is about the first.
TEST_F(CancelTest, ProgressOfAnEarlierUploadIsNotShownForTheNext) {
    service().setBehaviour({.readBytesPerSecond = 4'000'000}, 1);
    service().setBehaviour({.stopReadingAfterBytes = 1}, 1);
    capture(manyBytes);
    describe();
    pressUntil("Stop upload");
    ASSERT_TRUE(service().waitForBodyBytes(1'000'000, 10s));
    // The main thread is busy for a moment, and progress texts queue up.
    std::this_thread::sleep_for(200ms);
    view.StopShareButtonPressed();
    view.ShareButtonPressed();
    EXPECT_EQ(view.logLabel, QStringLiteral("Uploading 0%"));
    record.take();
    runMainQueueFor(300ms);
    // From nothing upwards; a text of the earlier upload would be higher than those that follow it.
    std::vector<int> percents;
    for (const std::string &field : record.takeFields()) {
        if (field.starts_with("logLabel = Uploading "))
            percents.push_back(std::stoi(field.substr(std::string("logLabel = Uploading ").size())));
    }
    EXPECT_TRUE(std::is_sorted(percents.begin(), percents.end())) << testing::PrintToString(percents);
    view.StopShareButtonPressed();
}

TEST_F(CancelTest, PressedTwiceAtOnceTheButtonStopsAndShares) {
    uploadHalf();
    press();
    press();
    ASSERT_TRUE(runMainQueueUntil([&] { return hasCaption("Close"); }));
    EXPECT_FALSE(view.isUploadFailedLayoutVisible);
    EXPECT_EQ(service().receipts().back().complete, true);
}

TEST_F(CancelTest, StoppingWithoutAnUploadIsHarmless) {
    EXPECT_FALSE(UploadAPI::uploadTask);
    view.StopShareButtonPressed();
    EXPECT_TRUE(hasCaption("Share logs"));
    EXPECT_FALSE(view.primaryButtonDisabled);
}

TEST_F(CancelTest, AnUploadWhoseWindowIsGoneReportsToNobody) {
    capture();
    auto other = std::make_unique<ContentView>();
    other->startButtonLabel = QStringLiteral("Share logs");
    other->changeFeedback(QStringLiteral("x"));
    other->primaryButtonPressed();
    ASSERT_TRUE(
        runMainQueueUntil([&] { return other->startButtonLabel.value() == QStringLiteral("Stop upload"); }));
    other.reset();
    EXPECT_TRUE(service().waitForReceipts(1, 10s));
    runMainQueueFor(50ms);
    EXPECT_TRUE(fs::exists(archive()));
}

// --- A window made after the first share ---

TEST_F(SharingTest, ALaterWindowsFormIsFrozenFromTheStart) {
    UtilityFunctions::ShareButtonPressed = true;
    ContentView later;
    EXPECT_TRUE(later.isFormFrozen());
}

} // namespace
