#include "discovery/ProductDiscovery.h"
#include "discovery/RunState.h"
#include "packaging/UploadAPI.h"
#include "packaging/UploadError.h"
#include "support_service/SupportService.h"
#include "test_support/ArchiveReader.h"
#include "test_support/Isolation.h"
#include "test_support/WindowFixture.h"

#include <random>
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

constexpr std::size_t manyBytes = 6'000'000;

// A support service that this process takes for the maker's. Before the first look at the main bundle.
class OwnSupportService {
public:
    OwnSupportService() {
        if (!test_support::hasOwnNamespaces())
            return;
        const fs::path info = fs::read_symlink("/proc/self/exe").parent_path().parent_path() / "Info.plist";
        QByteArray text = readFile(info);
        text.replace("support.brennic.example", QByteArray::fromStdString(service.host()));
        test_support::writeFile(m_folder.path() / "Info.plist", text);
        m_info.reset(new Mount(Mount::over(m_folder.path() / "Info.plist", info)));
    }

    support_service::SupportService service;

private:
    test_support::ScratchFolder m_folder;
    test_support::ScopedEnvironment m_trust{"SSL_CERT_FILE", service.certificateFile().native()};
    std::unique_ptr<Mount> m_info;
};

// The window after a capture, ready to share.
class SharingTest : protected OwnSupportService, public RunTest {
protected:
    void SetUp() override {
        REQUIRE_OWN_NAMESPACES();
        SetLumadocOrPellix();
        SetUserFilesFolder();
        view.startButtonLabel = QStringLiteral("Share logs");
        view.isFeedbackLayoutVisible = true;
        view.isLogLabelVisible = false;
        view.isLoggingCompleteVisible = true;
        describe("It crashed");
    }
    // Fills the output as a capture does, with that many bytes that cannot be compressed.
    void capture(std::size_t bytes = 2000) {
        QByteArray content(static_cast<qsizetype>(bytes), Qt::Uninitialized);
        std::mt19937_64 random(bytes);
        std::ranges::generate(content, [&] { return static_cast<char>(random() & 0xFFU); });
        test_support::writeFile(*tempOutputURL / "LumaLog/session.log", content);
        test_support::writeFile(*tempOutputURL / "LumaLog/state.bin", "not for the archive");
        test_support::writeFile(*tempOutputURL / "DetailedInfo.json", "{}");
        record.take();
    }
    void describe(const char *text) { view.changeFeedback(QString::fromUtf8(text)); }
    fs::path runFolder() const { return tempTimeStampedURL.value_or(fs::path()); }
    fs::path archive() const { return runFolder() / ("lumaMacLog_" + UniqueId.toStdString() + "_abc.zip"); }
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
    // A capture and one press of the button.
    void share(std::size_t bytes = 2000) {
        capture(bytes);
        press();
    }
    // The fields, without what depends on the speed of the machine.
    template <typename... Fields>
    void expectFields(const Fields &...fields) {
        EXPECT_THAT(withoutProgress(record.takeFields()), ElementsAre(fields...));
    }
    void expectNothingSent(const std::string &line) {
        EXPECT_EQ(test_support::logLines(systemLog()).last().toStdString(), line);
        EXPECT_EQ(service.connections(), 0U);
        EXPECT_TRUE(hasCaption("Share logs"));
    }
    static std::vector<std::string> withoutProgress(std::vector<std::string> lines) {
        std::erase_if(lines, [](const std::string &line) { return percentOf(line) > 0; });
        return lines;
    }
    // What the status line says of progress, between the beginning and the end.
    static int percentOf(const std::string &line) {
        int percent = 0;
        return std::sscanf(line.c_str(), "logLabel = Uploading %d%%", &percent) == 1 ? percent % 100 : 0;
    }
};

TEST_F(SharingTest, AShareGoesThroughItsStepsInOrder) {
    capture();
    describe("It said \"no\"");
    view.changeEmail(QStringLiteral("user@example"));
    view.feedbackFormFocus = ContentView::Field::email;
    record.take();
    press();
    waitUntil("Close");
    const auto [fields, lines] = record.takeApart();
    EXPECT_THAT(withoutProgress(fields),
                ElementsAre("feedbackFormFocus = noField", "primaryButtonDisabled = true",
                            "isFeedbackEmailLayoutDisabled = true", "isFormFrozen = true",
                            "logLabel = Compressing logs.", "isRunning = true", "logLabel = Uploading 0%",
                            "primaryButtonDisabled = false", "startButtonLabel = Stop upload",
                            "logLabel = Uploading 100%", "primaryButtonDisabled = true",
                            "startButtonLabel = Close", "isRunning = false",
                            "logLabel = ", "isFeedbackLayoutVisible = false", "isCloseLayoutVisible = true",
                            "primaryButtonDisabled = false", "primaryButtonColor = clear",
                            "thickBorderButtonStyle = true"));
    // What packaging and upload log is tested there.
    EXPECT_EQ(lines.front(), "INFO: File created and content written successfully.");
    EXPECT_THAT(lines, Contains("INFO: Total files removed based on allowed extensions: 1"));
    // The service has the archive with the user's words.
    const auto receipt = service.receipts().at(0);
    EXPECT_EQ(receipt.fileName, "lumaMacLog_" + UniqueId.toStdString() + "_abc.zip");
    const auto items = test_support::readArchive(receipt.archive);
    EXPECT_THAT(items.at("Pellix/UserEmailFeedback.json").content,
                testing::EndsWith("\"email\":\"\",\"problemdesc\":\"It said \"no\"\"}"));
    EXPECT_EQ(items.at("Pellix/LumaLog/session.log").content.size(), 2000U);
    EXPECT_FALSE(fs::exists(runFolder()));
}

TEST_F(SharingTest, TheMainQueueRunsWhileTheArchiveIsBuilt) {
    capture();
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
    waitUntil("Close");
    EXPECT_GE(turns, 4);
    EXPECT_EQ(service.receipts().size(), 1U);
}

TEST_F(SharingTest, WhatIsStillBeingAttachedComesFirst) {
    capture();
    test_support::writeFile(home.path() / "a.png", "first");
    test_support::writeFile(home.path() / "b.pdf", "second");
    view.attach({home.path() / "a.png", home.path() / "b.pdf"});
    press();
    waitUntil("Close");
    const auto items = test_support::readArchive(service.receipts().at(0).archive);
    EXPECT_EQ(items.at("Pellix/UserFiles/a.png").content + items.at("Pellix/UserFiles/b.pdf").content,
              "firstsecond");
}

TEST_F(SharingTest, TheEndOfTheProgramEndsTheWaitForTheArchive) {
    capture();
    const auto zip = zipThatWaits();
    QTimer::singleShot(0, &view, [&] { view.primaryButtonPressed(); });
    QTimer::singleShot(150ms, &application, &QCoreApplication::quit);
    // Returns while zip still waits.
    QCoreApplication::exec();
    EXPECT_TRUE(UtilityFunctions::ShareButtonPressed);
    EXPECT_TRUE(hasCaption("Share logs"));
    EXPECT_THAT(record.takeLog(), Not(Contains("ERROR: unable to copy compressed file.")));
    // The work goes on alone, to its last line in the log.
    releaseZip();
    EXPECT_TRUE(test_support::waitUntil([&] {
        return test_support::logLines(systemLog()).last().startsWith(u"INFO: Deleted: lumaMacLog_");
    }));
    // After that line it still notes where the archive is, and reports that it has ended. Here, where the
    // main queue runs once more, the share then goes on to its end.
    waitUntil("Close");
}

TEST_F(SharingTest, WithoutZipTheButtonIsOnAgainAndNothingIsSent) {
    test_support::writeFile(home.path() / "no program", "");
    const auto hidden = Mount::over(home.path() / "no program", "/usr/bin/zip");
    share();
    ASSERT_TRUE(runMainQueueUntil([&] { return view.isFormFrozen && !view.isRunning; }));
    expectFields("primaryButtonDisabled = true", "isFeedbackEmailLayoutDisabled = true",
                 "isFormFrozen = true", "logLabel = Compressing logs.", "isRunning = true",
                 "primaryButtonDisabled = false", "isRunning = false");
    expectNothingSent("ERROR: unable to copy compressed file.");
}

TEST_F(SharingTest, AnArchiveThatIsTooLargeOffersTheMail) {
    const auto zip = zipThatWaits(104'857'600);
    releaseZip();
    share();
    waitForFailure();
    EXPECT_EQ(fs::file_size(archive()), 104'857'600U);
    expectFields("primaryButtonDisabled = true", "isFeedbackEmailLayoutDisabled = true",
                 "isFormFrozen = true", "logLabel = Compressing logs.", "isRunning = true",
                 "isUploadFailedLayoutVisible = true", "isLoggingCompleteVisible = false",
                 "primaryButtonDisabled = false", "isRunning = false");
    // Again: neither compressed nor sent.
    press();
    runMainQueueFor(50ms);
    expectFields("primaryButtonDisabled = true", "isUploadFailedLayoutVisible = false",
                 "isLoggingCompleteVisible = true", "isUploadFailedLayoutVisible = true",
                 "isLoggingCompleteVisible = false", "primaryButtonDisabled = false");
    expectNothingSent("ERROR: Logs Size is large.");
}

// A failure without a second line leaves the one before it.
TEST_F(SharingTest, EachFailureOfTheUploadHasItsSecondLine) {
    capture();
    for (const auto &[code, secondLine] : {std::pair(-1001, SecondaryError::none),
                                           {-999, SecondaryError::canceled},
                                           {-1009, SecondaryError::network},
                                           {7, SecondaryError::network}}) {
        view.startButtonLabel = QStringLiteral("Stop upload");
        view.isUploadFailedLayoutVisible = false;
        view.isLoggingCompleteVisible = true;
        view.isRunning = true;
        record.take();
        view.startUpload(UploadError{TransportErrorDomain, code, QString()});
        EXPECT_EQ(view.isSecondaryError, secondLine);
        auto entries = record.take();
        EXPECT_EQ(entries.front(), "ERROR: Upload error code: " + std::to_string(code));
        std::erase_if(entries, [](const std::string &entry) {
            return entry.starts_with("ERROR: ") || entry.starts_with("isSecondaryError");
        });
        EXPECT_THAT(entries,
                    ElementsAre("isUploadFailedLayoutVisible = true", "isLoggingCompleteVisible = false",
                                "startButtonLabel = Share logs", "isRunning = false"));
    }
}

TEST_F(SharingTest, ASecondShareSendsTheSameBytesAndWritesNoRecord) {
    service.setBehaviour({.status = 500}, 1);
    service.setBehaviour({.neverAnswer = true});
    // An earlier failure's second line goes with the next share.
    view.isSecondaryError = SecondaryError::network;
    share();
    waitForFailure();
    EXPECT_EQ(view.isSecondaryError, SecondaryError::none);
    const QByteArray bytes = readFile(archive());
    view.changeFeedback(QStringLiteral("other words"));
    record.take();
    press();
    waitUntil("Stop upload");
    EXPECT_FALSE(fs::exists(runFolder() / "UserEmailFeedback.json"));
    expectFields("primaryButtonDisabled = true", "isUploadFailedLayoutVisible = false",
                 "isLoggingCompleteVisible = true", "primaryButtonDisabled = false",
                 "startButtonLabel = Stop upload", "isRunning = true");
    ASSERT_TRUE(service.waitForReceipts(2, std::chrono::seconds(10)));
    const auto receipts = service.receipts();
    ASSERT_EQ(receipts.size(), 2U);
    for (const auto &receipt : receipts)
        EXPECT_TRUE(readFile(receipt.archive) == bytes && receipt.fileName == receipts[0].fileName);
    pressUntil("Share logs");
}

// The report of the first upload, and what it had put on its way to the status line, come when the second is
// under way.
TEST_F(SharingTest, WhatAnEarlierUploadSaysDoesNotTouchTheNext) {
    service.setBehaviour({.readBytesPerSecond = 4'000'000}, 1);
    service.setBehaviour({.readBytesPerSecond = 6'000'000}, 1);
    share(manyBytes);
    waitUntil("Stop upload");
    ASSERT_TRUE(service.waitForBodyBytes(1'000'000, 10s));
    // The main thread is busy for a moment, and what the upload says queues up.
    std::this_thread::sleep_for(200ms);
    view.StopShareButtonPressed();
    std::this_thread::sleep_for(300ms);
    view.ShareButtonPressed();
    record.take();
    waitUntil("Close");
    const auto entries = record.take();
    EXPECT_EQ(std::count(entries.begin(), entries.end(), "ERROR: Upload task was canceled"), 1);
    for (const char *field : {"isUploadFailedLayoutVisible = true", "isSecondaryError = canceled",
                              "startButtonLabel = Share logs"})
        EXPECT_THAT(entries, Not(Contains(field)));
    // From nothing upwards; a text of the earlier upload would be higher than those that follow it.
    std::vector<int> percents;
    for (const std::string &entry : entries)
        percents.push_back(percentOf(entry));
    std::erase(percents, 0);
    EXPECT_GE(percents.size(), 10U);
    EXPECT_TRUE(std::ranges::is_sorted(percents)) << testing::PrintToString(percents);
    EXPECT_EQ(service.receipts().back().complete, true);
}

TEST_F(SharingTest, AnUploadWhoseWindowIsGoneReportsToNobody) {
    // Over loopback it could be over before this looks.
    service.setBehaviour({.neverAnswer = true});
    capture();
    auto other = std::make_unique<ContentView>();
    other->startButtonLabel = QStringLiteral("Share logs");
    other->changeFeedback(QStringLiteral("x"));
    other->primaryButtonPressed();
    ASSERT_TRUE(
        runMainQueueUntil([&] { return other->startButtonLabel.value() == QStringLiteral("Stop upload"); }));
    other.reset();
    EXPECT_TRUE(service.waitForReceipts(1, 10s));
    UploadAPI::uploadTask->cancel();
    runMainQueueFor(50ms);
    EXPECT_TRUE(fs::exists(archive()));
}

} // namespace
