// Faults on the way to the archive: no zip, a zip that is killed, full disks, an archive that is too large.
#include "tests/SilentRun.h"

#include "test_support/StandIns.h"

#include <csignal>

namespace fs = std::filesystem;
using namespace test_support;
using testing::HasSubstr;

namespace {

constexpr std::uint64_t mebibyte = std::uint64_t{1} << 20;
const std::string notOpened =
    "Brennic_Lumadoc_Diagnostics: The archive that was just made cannot be opened.\n";
// The log of a run whose archive was not made, for this reason.
std::string notPacked(const std::string &reason) {
    return "INFO: Compressed File: lumaMacLog_LOGID_cef.zip\n"
           "ERROR: Failed to compress the directory.\n"
           "ERROR: " +
           reason + '\n';
}
// What follows when zip has run all the same.
const std::string noArchive = "INFO: Deleted: Lumadoc\n"
                              "ERROR: Error while copying file: No such file or directory\n"
                              "ERROR: Error fetching file attributes: No such file or directory\n"
                              "ERROR: Logs Size is large.\n";

class Packing : public SilentRun {
protected:
    void SetUp() override { REQUIRE_OWN_NAMESPACES(); }
};

} // namespace

TEST_F(Packing, WithoutZipItStaysWithWhatItHasCollectedAndKeepsOthersFromStarting) {
    install();
    ProgramRun running(program());
    {
        const Mount nothing = Mount::memory("/usr/bin", 4096);
        expectItStays(running, logFile());
    }
    EXPECT_THAT(log(), testing::EndsWith(notPacked("zip could not be run: No such file or directory") +
                                         "ERROR: unable to copy compressed file.\n"));
    const fs::path collected = runFolder() / "Lumadoc";
    EXPECT_TRUE(fs::exists(collected / "LumaLog/Lumadoc-1.log"));
    EXPECT_TRUE(fs::exists(collected / "DetailedInfo.json"));
    EXPECT_EQ(std::distance(fs::directory_iterator(collected / "DiagnosticReports"), {}), 3);
    run();
    EXPECT_THAT(log(), HasSubstr("running instanace detected"));
    running.send(SIGTERM);
    EXPECT_EQ(running.waitForEnd(), killedBy(SIGTERM));
    runWell();
}

TEST_F(Packing, AZipThatIsKilledHasRunAndFailed) {
    install();
    {
        const StandInProgram zip("zip", "kill -KILL $$\n");
        expectEnd(program(), 1, "", notOpened);
    }
    EXPECT_THAT(log(), testing::EndsWith(notPacked("zip was killed by signal 9") + noArchive));
    runWell();
}

TEST_F(Packing, ADiskTooSmallForTheArchive) {
    install({.logBytes = 1'000'000, .logFiles = 6, .incompressible = true});
    fs::create_directories(root() / "temp");
    const Mount disk = Mount::memory(root() / "temp", mebibyte / 2);
    expectEnd(program(), 1, "", notOpened);
    EXPECT_THAT(log(), testing::EndsWith(notPacked("zip ended with status 14: zip error: Output file write "
                                                   "failure (write error on zip file)") +
                                         noArchive));
    EXPECT_EQ(namesIn("temp"), std::vector<std::string>());
    EXPECT_EQ(service.connections(), 0U);
}

TEST_F(Packing, ADiskThatIsFullFromTheStart) {
    install();
    fs::create_directories(root());
    const Mount disk = Mount::memory(root(), 65536);
    writeFile(root() / "filler", QByteArray(65536, 'x'));
    expectEnd(program(), 1, "Failed to change log file location: No space left on device\n", notOpened);
    for (const char *line :
         {"Error copying LumaLog: No space left on device", "Error writing to file: No space left on device",
          "Failed to compress the directory."})
        EXPECT_THAT(log(firstLogFile()), HasSubstr(std::string("ERROR: ") + line + "\n"));
    EXPECT_EQ(readFile(root() / "filler").size(), 65536);
}

TEST_F(Packing, AnArchiveThatIsTooLargeIsKeptAndNotSent) {
    install();
    const StandInProgram zip("zip", "truncate -s 100M \"$3\"\n");
    run();
    EXPECT_EQ(uploadLog(), "ERROR: Logs Size is large.\nINFO: Logs Size is large.\n");
    EXPECT_EQ(fs::file_size(archive()), 100 * mebibyte);
    EXPECT_EQ(service.receipts().size(), 0U);
}
