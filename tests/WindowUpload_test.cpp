// The upload as the window shows it: its progress, its failures, and trying again.
#include "tests/WindowRun.h"

#include "test_support/Networks.h"

namespace fs = std::filesystem;
using namespace support_service;
using namespace test_support;

namespace {

class WindowUpload : public WindowRun {
protected:
    static constexpr char failedText[] = "Error sharing logs.";

    // A zip that makes an archive of a chosen size out of nothing, whatever it is asked to pack.
    Mount zipThatMakes(std::uint64_t bytes) const {
        const fs::path standIn = home.path() / "zip";
        writeFile(standIn, "#!/bin/sh\nexec /usr/bin/truncate -s " + QByteArray::number(qulonglong(bytes)) +
                               " \"$3\"\n");
        fs::permissions(standIn, fs::perms::all);
        return Mount::over(standIn, "/usr/bin/zip");
    }

    std::size_t countInLog(const std::string &text) const {
        std::size_t count = 0;
        const std::string whole = log();
        for (std::size_t at = whole.find(text); at != std::string::npos; at = whole.find(text, at + 1))
            ++count;
        return count;
    }

    // What stands in the failed block: the reason, if any, between the heading and the advice.
    void expectFailed(const std::vector<std::string> &reason) {
        waitForText(failedText);
        const auto all = texts();
        const auto from = std::find(all.begin(), all.end(), failedText);
        const auto to = std::find(from, all.end(), "You can");
        EXPECT_EQ(std::vector<std::string>(from + 1, to), reason);
        EXPECT_TRUE(window().shows("link", "view the logs"));
        EXPECT_TRUE(shows("and share it with us at"));
        EXPECT_TRUE(window().shows("link", "lumadoc-support@brennic.example"));
        waitForButton("Share logs");
    }
};

} // namespace

TEST_F(WindowUpload, AFailedUploadIsTriedAgainWithTheSameArchive) {
    install();
    service.setBehaviour({.status = 500}, 1);
    expectUploadError("1");
    open();
    share();
    expectFailed({});
    EXPECT_FALSE(shows("Logs generated successfully."));
    // The archive waits for the next try.
    ASSERT_EQ(service.receipts().size(), 1U);
    const auto kept = namesIn("Output/" + runFolder().filename().native());
    ASSERT_EQ(kept.size(), 1U);
    EXPECT_EQ(kept[0], service.receipts()[0].fileName);
    EXPECT_TRUE(readFile(runFolder() / kept[0]) == readFile(service.receipts()[0].archive));
    press("Share logs");
    waitForText(sentText);
    EXPECT_FALSE(shows(failedText));
    const auto receipts = service.receipts();
    ASSERT_EQ(receipts.size(), 2U);
    EXPECT_EQ(receipts[0].sha256, receipts[1].sha256);
    EXPECT_EQ(receipts[0].fileName, receipts[1].fileName);
    EXPECT_EQ(countInLog("INFO: Compressed File: "), 1U);
}

TEST_F(WindowUpload, TheFormIsFrozenOnceTheArchiveIsBuilt) {
    install();
    service.setBehaviour({.status = 500}, 1);
    expectUploadError("1");
    open();
    share();
    expectFailed({});
    EXPECT_FALSE(description().isEditable());
    EXPECT_FALSE(email().isEnabled());
    EXPECT_FALSE(window().look("push button", attachName)->isEnabled());
    window().clickAt(description());
    window().type("more");
    EXPECT_EQ(descriptionText(), "It stopped");
}

TEST_F(WindowUpload, StopsWhenAsked) {
    install();
    service.setBehaviour({.neverAnswer = true}, 1);
    expectUploadError("-999");
    open();
    share();
    ASSERT_TRUE(service.waitForReceipts(1, std::chrono::seconds(20)));
    press("Stop upload");
    expectFailed({"Upload cancelled."});
    press("Share logs");
    waitForText(sentText);
    EXPECT_EQ(service.receipts().size(), 2U);
    EXPECT_EQ(service.receipts()[0].sha256, service.receipts()[1].sha256);
}

TEST_F(WindowUpload, ShowsHowFarItIs) {
    // More than the system's buffers take at once.
    install({.logBytes = 24'000'000, .logFiles = 6, .incompressible = true});
    service.setBehaviour({.readBytesPerSecond = 8'000'000});
    open();
    share();
    // One of those that a slow upload passes through.
    EXPECT_TRUE(waitUntil(
        [this] {
            for (const std::string &text : texts()) {
                if (text.starts_with("Uploading ") && text.size() == std::string("Uploading 50%").size() &&
                    text > "Uploading 20%")
                    return true;
            }
            return false;
        },
        std::chrono::seconds(10)));
    EXPECT_TRUE(window().shows("push button", "Stop upload"));
    waitForText(sentText);
}

TEST_F(WindowUpload, WithoutANetworkItSaysSo) {
    REQUIRE_OWN_NAMESPACES();
    install();
    expectUploadError("-1009");
    auto options = program({});
    options.beforeStart = enterNoNetwork;
    open(options);
    share();
    expectFailed({"Please ensure you have access to the internet."});
}

TEST_F(WindowUpload, AnArchiveThatIsTooLargeIsNotSent) {
    REQUIRE_OWN_NAMESPACES();
    install();
    expectError("Logs Size is large.");
    open();
    capture();
    const Mount zip = zipThatMakes(std::uint64_t{100} << 20);
    describe("Large");
    press("Share logs");
    expectFailed({});
    EXPECT_EQ(service.connections(), 0U);
    // Nor the second time, and the archive is not built anew.
    press("Share logs");
    EXPECT_TRUE(waitUntil([this] { return countInLog("ERROR: Logs Size is large.") == 2; }));
    EXPECT_EQ(countInLog("INFO: Compressed File: "), 1U);
    EXPECT_EQ(service.connections(), 0U);
}

TEST_F(WindowUpload, TheWindowMovesWhileTheArchiveIsBuilt) {
    REQUIRE_OWN_NAMESPACES();
    install();
    const fs::path realZip = home.path() / "real-zip";
    fs::copy_file("/usr/bin/zip", realZip);
    const fs::path standIn = home.path() / "zip";
    const QByteArray folder = QByteArray::fromStdString(home.path().native());
    writeFile(standIn, "#!/bin/sh\nwhile [ ! -e '" + folder + "/go-on' ]; do sleep 0.02; done\nexec '" +
                           folder + "/real-zip' \"$@\"\n");
    fs::permissions(standIn, fs::perms::all);
    const Mount zip = Mount::over(standIn, "/usr/bin/zip");
    open();
    share();
    waitForText("Compressing logs.");
    const Control bar = window().find("progress bar", "Compressing logs.");
    const Extents place = window().onDisplay(bar.extents);
    const QImage first = window().screen().picture(place);
    EXPECT_TRUE(
        waitUntil([&] { return window().screen().picture(place) != first; }, std::chrono::seconds(5)));
    EXPECT_FALSE(window().look("push button", "Share logs")->isEnabled());
    writeFile(home.path() / "go-on", "");
    waitForText(sentText);
}
