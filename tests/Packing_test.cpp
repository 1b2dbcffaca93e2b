// Faults on the way to the archive: no zip, a zip that fails, full disks, an archive that is too large.
#include "tests/SilentRun.h"

#include <csignal>
#include <fstream>
#include <sys/stat.h>

namespace fs = std::filesystem;
using namespace support_service;
using namespace test_support;

namespace {

class Packing : public SilentRun {
protected:
    void expectCollectedFilesKept() const {
        const fs::path collected = runFolder() / "Lumadoc";
        EXPECT_TRUE(fs::exists(collected / "LumaLog/Lumadoc-1.log"));
        EXPECT_TRUE(fs::exists(collected / "DetailedInfo.json"));
        EXPECT_EQ(std::distance(fs::directory_iterator(collected / "DiagnosticReports"), {}), 3);
    }

    // A zip that makes an archive of this size, whatever it is asked to pack.
    Mount zipThatMakes(std::uint64_t bytes) const {
        const fs::path standIn = home.path() / "zip";
        writeFile(standIn, "#!/bin/sh\nexec /usr/bin/truncate -s " + QByteArray::number(qulonglong(bytes)) +
                               " \"$3\"\n");
        fs::permissions(standIn, fs::perms::all);
        return Mount::over(standIn, "/usr/bin/zip");
    }
};

constexpr std::uint64_t mebibyte = std::uint64_t{1} << 20;

} // namespace

TEST_F(Packing, WithAKilledZipItStaysWithWhatItHasCollected) {
    install({.logBytes = 30'000'000, .logFiles = 6, .incompressible = true});
    ProgramRun running(program());
    ASSERT_TRUE(waitUntil([] { return !processesOf("zip").empty(); }));
    for (const pid_t zip : processesOf("zip"))
        ::kill(zip, SIGKILL);
    expectItStays(running, logFile());
    expectCollectedFilesKept();
    EXPECT_EQ(fs::file_size(runFolder() / "Lumadoc/LumaLog/Lumadoc-1.log"),
              fs::file_size(home.library() /
                            "Application Support/Brennic/Lumadoc/QZ/Lumadoc/LumaLog/Lumadoc-1.log"));
}

TEST_F(Packing, WithoutZipItStaysWithWhatItHasCollectedAndKeepsOthersFromStarting) {
    REQUIRE_OWN_NAMESPACES();
    install();
    ProgramRun running(program());
    {
        const Mount nothing = Mount::memory("/usr/bin", 4096);
        expectItStays(running, logFile());
        EXPECT_THAT(log(), testing::EndsWith("INFO: Compressed File: lumaMacLog_LOGID_cef.zip\n"
                                             "ERROR: Failed to compress the directory.\n"
                                             "ERROR: unable to copy compressed file.\n"));
    }
    EXPECT_EQ(run(), exited(0));
    EXPECT_THAT(log(), testing::HasSubstr("running instanace detected"));
    expectCollectedFilesKept();
    running.send(SIGTERM);
    EXPECT_EQ(running.waitForEnd(), killedBy(SIGTERM));
    EXPECT_EQ(run(), exited(0));
    EXPECT_EQ(uploadLog(), sentWell);
}

TEST_F(Packing, ADiskTooSmallForTheArchive) {
    REQUIRE_OWN_NAMESPACES();
    install({.logBytes = 1'000'000, .logFiles = 6, .incompressible = true});
    fs::create_directories(root() / "temp");
    const Mount disk = Mount::memory(root() / "temp", mebibyte / 2);
    ProgramRun running(program());
    EXPECT_EQ(running.waitForEnd(), exited(1));
    EXPECT_THAT(log(), testing::EndsWith("INFO: Compressed File: lumaMacLog_LOGID_cef.zip\n"
                                         "ERROR: Failed to compress the directory.\n"
                                         "INFO: Deleted: Lumadoc\n"
                                         "ERROR: Error while copying file: No such file or directory\n"
                                         "ERROR: Error fetching file attributes: No such file or directory\n"
                                         "ERROR: Logs Size is large.\n"));
    EXPECT_EQ(running.standardOutput(), "");
    EXPECT_EQ(running.standardError(),
              "Brennic_Lumadoc_Diagnostics: The archive that was just made cannot be opened.\n");
    EXPECT_EQ(namesIn("temp"), std::vector<std::string>());
    EXPECT_EQ(service.connections(), 0U);
}

TEST_F(Packing, ADiskThatFillsUpWhileLogsAreCopied) {
    REQUIRE_OWN_NAMESPACES();
    const auto product = install();
    // Only one of them fits, whichever comes first.
    const QByteArray half = readFile(product.logs / "Lumadoc-1.log").repeated(500).left(600'000);
    writeFile(product.logs / "half.log", half);
    writeFile(product.logs / "services/other half.log", half);
    const auto before = outside();
    const Mount disk = Mount::memory(root(), mebibyte);
    EXPECT_EQ(run(), exited(0));
    EXPECT_THAT(log(), testing::HasSubstr("INFO: Directory created: RUN/Lumadoc\n"
                                          "ERROR: Error copying LumaLog: No space left on device\n"
                                          "INFO: Total [\"lumacef\"] files found: 3. "));
    EXPECT_EQ(uploadLog(), sentWell);
    const auto items = received();
    EXPECT_EQ(
        items.count("Lumadoc/LumaLog/half.log") + items.count("Lumadoc/LumaLog/services/other half.log"), 1U);
    for (const auto &[name, item] : items) {
        // Half a file is worse than none.
        EXPECT_TRUE(!name.ends_with("half.log") || item.content == half.toStdString()) << name;
    }
    EXPECT_TRUE(items.contains("Lumadoc/DetailedInfo.json"));
    expectUnchanged(before);
}

TEST_F(Packing, ADiskThatIsFullFromTheStart) {
    REQUIRE_OWN_NAMESPACES();
    install();
    fs::create_directories(root());
    const Mount disk = Mount::memory(root(), 65536);
    writeFile(root() / "filler", QByteArray(65536, 'x'));
    ProgramRun running(program());
    EXPECT_EQ(running.waitForEnd(), exited(1));
    EXPECT_EQ(running.standardOutput(), "Failed to change log file location: No space left on device\n");
    EXPECT_EQ(running.standardError(),
              "Brennic_Lumadoc_Diagnostics: The archive that was just made cannot be opened.\n");
    const std::string text = log(firstLogFile());
    EXPECT_THAT(text, testing::HasSubstr("ERROR: Error copying LumaLog: No space left on device\n"));
    EXPECT_THAT(text, testing::HasSubstr("ERROR: Error writing to file: No space left on device\n"));
    EXPECT_THAT(text, testing::HasSubstr("ERROR: Failed to compress the directory.\n"));
    EXPECT_EQ(readFile(root() / "filler").size(), 65536);
}

TEST_F(Packing, AnArchiveOf100MebibytesIsTooLarge) {
    REQUIRE_OWN_NAMESPACES();
    install();
    const Mount zip = zipThatMakes(100 * mebibyte);
    EXPECT_EQ(run(), exited(0));
    EXPECT_THAT(log(), testing::HasSubstr("\nINFO: Compressed file size: 100.000 mb\n"));
    EXPECT_EQ(uploadLog(), "ERROR: Logs Size is large.\nINFO: Logs Size is large.\n");
    EXPECT_EQ(fs::file_size(archive()), 100 * mebibyte);
    EXPECT_EQ(service.receipts().size(), 0U);
}

TEST_F(Packing, AnArchiveOfOneByteLessGoesThrough) {
    REQUIRE_OWN_NAMESPACES();
    install();
    const Mount zip = zipThatMakes(100 * mebibyte - 1);
    EXPECT_EQ(run(), exited(0));
    EXPECT_THAT(log(),
                testing::EndsWith("\nINFO: Compressed file size: 100.000 mb\nINFO: \nINFO: \n" + sentWell));
    ASSERT_EQ(service.receipts().size(), 1U);
    EXPECT_EQ(service.receipts()[0].sizeBytes, 100 * mebibyte - 1);
    EXPECT_TRUE(service.receipts()[0].complete);
}
