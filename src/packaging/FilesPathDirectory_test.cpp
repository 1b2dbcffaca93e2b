#include "packaging/FilesPathDirectory.h"

#include "discovery/RunState.h"
#include "test_support/ArchiveReader.h"
#include "test_support/Isolation.h"
#include "test_support/LoggedTest.h"

namespace {

namespace fs = std::filesystem;
using namespace FilesPathDirectory;
using namespace UtilityFunctions;
using test_support::readFile;
using test_support::writeFile;
using testing::ElementsAre;
using testing::UnorderedElementsAre;

std::vector<std::string> archiveNames(const fs::path &archive) {
    std::vector<std::string> names;
    for (const auto &[name, item] : test_support::readArchive(archive))
        names.push_back(name + (item.isLink() ? " (link)" : ""));
    return names;
}

class Folder : public test_support::LoggedTest {
protected:
    void makeFiles(const std::vector<std::string> &names) const {
        for (const std::string &name : names)
            writeFile(folder / name, "x");
    }

    std::ptrdiff_t entries() const { return std::distance(fs::directory_iterator(folder), {}); }

    fs::path folder = home.path() / "run";
};

TEST_F(Folder, IsPrunedOfWhatIsNotAllowedWithTheExtensionAsWritten) {
    const std::pair<const char *, const char *> cases[] = {
        {"README", ""},   {".log", ""},       {".DS_Store", ""},      {"name.", ""},
        {"a.BIN", "BIN"}, {"a.log.gz", "gz"}, {".hidden.bin", "bin"}, {"-r.x", "x"}};
    for (const auto &[name, extension] : cases) {
        makeFiles({name});
        removeFilesFromDirectoryRecursively(folder, allowedExtensions);
        EXPECT_FALSE(fs::exists(folder / name)) << name;
        EXPECT_EQ(said().back(), std::string("INFO: Removed file with extension: ") + extension);
    }
    makeFiles({"report.TXT", ".hidden.log", "README"});
    removeFilesFromDirectoryRecursively(
        folder, {QStringLiteral(".txt"), QStringLiteral(".log"), QStringLiteral(".")});
    EXPECT_EQ(entries(), 3);

    // All folders are counted together; links are removed themselves, by their names.
    const fs::path outside = home.path() / "outside";
    writeFile(outside / "precious.bin", "precious");
    makeFiles({"a/b/c/one.bin", "a/keep.log", "folder.bin/keep.log"});
    fs::create_symlink(outside, folder / "folder");
    fs::create_symlink(outside, folder / "folder.log");
    fs::create_symlink(outside / "precious.bin", folder / "file.bin");
    tempTimeStampedURL = folder;
    pruneOutput();
    EXPECT_EQ(said().back(), "INFO: Total files removed based on allowed extensions: 12");
    EXPECT_TRUE(fs::exists(folder / "a/b/c") && fs::exists(folder / "a/keep.log"));
    EXPECT_TRUE(fs::exists(folder / "folder.bin/keep.log") && fs::exists(outside / "precious.bin"));
    EXPECT_TRUE(fs::is_symlink(folder / "folder.log"));
    EXPECT_FALSE(fs::is_symlink(folder / "folder") || fs::is_symlink(folder / "file.bin"));
    tempTimeStampedURL = folder / "missing";
    pruneOutput();
    EXPECT_EQ(said()[said().size() - 2], "ERROR: Error accessing directory: " + folder.native() +
                                             "/missing - No such file or directory");
}

TEST_F(Folder, IsZippedByItsNameWithTheRecordsBesideItAndLinksAsLinks) {
    // Options from the environment do not reach zip.
    const test_support::ScopedEnvironment options("ZIPOPT", "-m");
    const test_support::ScopedEnvironment more("ZIP", "-m");
    const fs::path archive = home.path() / "out.zip";
    makeFiles({"Lumadoc/a.log", "Lumadoc/deep/b.log", "not asked for.log", "UserEmailFeedback.json",
               "DetailedInfo.json"});
    fs::create_symlink("..", folder / "Lumadoc/folder.log");
    fs::create_symlink("a.log", folder / "Lumadoc/file.log");
    EXPECT_TRUE(CommandLineCompression(folder / "Lumadoc", archive));
    EXPECT_THAT(archiveNames(archive),
                UnorderedElementsAre("Lumadoc/", "Lumadoc/a.log", "Lumadoc/deep/", "Lumadoc/deep/b.log",
                                     "Lumadoc/folder.log (link)", "Lumadoc/file.log (link)",
                                     "UserEmailFeedback.json", "DetailedInfo.json"));
    EXPECT_TRUE(fs::exists(folder / "Lumadoc/a.log"));
    // Zip counts as run though it failed, but not without a folder.
    EXPECT_TRUE(CommandLineCompression(folder / "Lumadoc", home.path() / "missing/out.zip"));
    EXPECT_FALSE(CommandLineCompression(home.path() / "missing/Lumadoc", archive));
    EXPECT_FALSE(CommandLineCompression(std::nullopt, archive));
    EXPECT_FALSE(CommandLineCompression(folder, std::nullopt));
    EXPECT_THAT(
        said(),
        ElementsAre("INFO: Directory compressed successfully.", "ERROR: Failed to compress the directory.",
                    "ERROR: zip ended with status 15: zip error: Could not create output file (" +
                        (home.path() / "missing/out.zip").native() + ")",
                    "ERROR: Output folder path doesn't exist: " + (home.path() / "missing").native()));
}

TEST_F(Folder, IsReplacedByItsArchiveUnlessTheOutputIsMissing) {
    IsSilentMode = true;
    tempOutputURL = folder / "Pellix";
    temptempURL = home.path() / "temp";
    makeFiles({"Pellix/a.log"});
    writeFile(*temptempURL / "left over", "");
    // First, while nothing is logged: the copy of this process that it happens in has no other thread.
    EXPECT_EXIT(packOutput(), testing::ExitedWithCode(1), "The folders of the run are not known");
    tempTimeStampedURL = folder;
    tempOutputURL = home.path() / "missing/Pellix";
    EXPECT_FALSE(packOutput());
    EXPECT_FALSE(compressedLogURL);
    EXPECT_TRUE(fs::exists(folder / "Pellix/a.log"));
    EXPECT_EQ(said().back(), "ERROR: unable to copy compressed file.");
    fs::remove(log);
    tempOutputURL = folder / "Pellix";
    EXPECT_TRUE(packOutput());
    const std::string name = "lumaMacLog_" + UniqueId.toStdString() + "_cef.zip";
    EXPECT_EQ(compressedLogURL, folder / name);
    EXPECT_EQ(tempOutputURL, folder);
    EXPECT_THAT(archiveNames(*compressedLogURL), UnorderedElementsAre("Pellix/", "Pellix/a.log"));
    EXPECT_EQ(entries(), 1);
    EXPECT_TRUE(fs::is_empty(*temptempURL));
    auto lines = said();
    std::sort(lines.begin() + 4, lines.end());
    EXPECT_THAT(lines,
                ElementsAre("INFO: Compressed File: " + name, "INFO: Directory compressed successfully.",
                            "INFO: Deleted: Pellix", "INFO: File copied successfully.",
                            "INFO: Deleted: left over", "INFO: Deleted: " + name));
    // Success though zip failed, with the name that window mode gives.
    IsSilentMode = false;
    tempOutputURL = folder / "not there";
    EXPECT_TRUE(packOutput());
    EXPECT_EQ(compressedLogURL, folder / ("lumaMacLog_" + UniqueId.toStdString() + "_abc.zip"));
    EXPECT_FALSE(fs::exists(*compressedLogURL));
}

// Files below a folder, with their content.
using Files = std::map<std::string, std::string>;

Files filesIn(const fs::path &folder) {
    Files files;
    for (const auto &entry : fs::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file())
            files[entry.path().lexically_relative(folder)] = readFile(entry.path()).toStdString();
    }
    return files;
}

TEST_F(Folder, IsEmptiedOfAllButArchivesThatAreNowhereElse) {
    const std::string scratch = "temp/lumaMacLog_earlier_cef.zip";
    const std::string earlier = "Output/20200101000000/lumaMacLog_earlier_cef.zip";
    const std::string recovered = "Output/Recovered/lumaMacLog_earlier_cef.zip";
    const std::string shared = "Output/run/lumaMacLog_earlier_cef.zip";
    const std::string own = "temp/lumaMacLog_own_cef.zip";
    const std::string ownCopy = "Output/run/lumaMacLog_own_cef.zip";
    const Files inTheWay{{"Output/Recovered", "a file"}};
    const auto withFileInTheWay = [&](Files files) {
        files.insert(inTheWay.begin(), inTheWay.end());
        return files;
    };
    const struct {
        const char *description;
        Files before;
        const char *emptied;
        Files after;
    } cases[] = {
        {"in the scratch folder alone", {{scratch, "archive"}}, "temp", {{recovered, "archive"}}},
        {"whole in its run folder",
         {{scratch, "archive"}, {earlier, "archive"}},
         "temp",
         {{earlier, "archive"}}},
        {"cut short in its run folder",
         {{scratch, "archive"}, {earlier, "arch"}},
         "temp",
         {{recovered, "archive"}}},
        {"cut short where it is kept",
         {{scratch, "archive"}, {recovered, "arch"}},
         "temp",
         {{recovered, "archive"}}},
        {"itself cut short", {{scratch, "arch"}, {earlier, "archive"}}, "temp", {{earlier, "archive"}}},
        {"in a run folder that is shared",
         {{shared, "archive"}, {"Output/run/a.log", ""}},
         "Output/run",
         {{recovered, "archive"}}},
        {"with a file in the way",
         withFileInTheWay({{scratch, "archive"}, {earlier, "arch"}, {"temp/a", ""}}), "temp",
         withFileInTheWay({{scratch, "archive"}})},
        {"in a run folder that is shared, with a file in the way",
         withFileInTheWay({{shared, "archive"}, {"Output/run/a.log", ""}}), "Output/run",
         withFileInTheWay({{shared, "archive"}})},
        {"left unfinished by zip", {{"temp/ziAbCdEf", "part"}}, "temp", {}},
        {"of this run, copied", {{own, "own"}, {ownCopy, "own"}}, "temp", {{ownCopy, "own"}}},
        {"of this run, not copied", {{own, "own"}}, "temp", {{own, "own"}}},
    };
    for (const auto &[description, before, emptied, after] : cases) {
        SCOPED_TRACE(description);
        const test_support::ScratchFolder place;
        fs::remove(log);
        for (const auto &[name, content] : before)
            writeFile(place.path() / name, QByteArray::fromStdString(content));
        tempTimeStampedURL = place.path() / "Output/run";
        keepArchivesOfEarlierRuns(place.path() / emptied, place.path() / "Output", "lumaMacLog_own_cef.zip");
        const std::string kept =
            "INFO: Archive of an earlier run kept: " + (place.path() / recovered).native();
        const std::string stays = "WARNING: Archive of an earlier run stays where it is: Not a directory";
        EXPECT_EQ(said(), after.contains(recovered)                           ? std::vector{kept}
                          : after.contains(scratch) || after.contains(shared) ? std::vector{stays}
                                                                              : std::vector<std::string>());
        deleteContentsOfDirectory(place.path() / emptied);
        EXPECT_EQ(filesIn(place.path()), after);
    }
}

// A cleaner removes it while the user reproduces the problem; or something else is in its place.
TEST_F(Folder, IsPackedInAScratchFolderThatIsMadeOnceMore) {
    const fs::path outside = home.path() / "outside";
    fs::create_directories(outside);
    tempDirURL = home.path();
    tempTimeStampedURL = folder;
    temptempURL = home.path() / "temp";
    for (const bool isLink : {false, true}) {
        fs::remove_all(*temptempURL);
        if (isLink)
            fs::create_directory_symlink(outside, *temptempURL);
        tempOutputURL = folder / "Lumadoc";
        makeFiles({"Lumadoc/a.log"});
        EXPECT_TRUE(packOutput());
        EXPECT_THAT(archiveNames(*compressedLogURL), UnorderedElementsAre("Lumadoc/", "Lumadoc/a.log"));
    }
    EXPECT_TRUE(fs::is_empty(outside));
}

// The archive is made and cannot be copied, as on a full disk. It is all that is left of the run.
TEST_F(Folder, KeepsTheArchiveThatCouldNotBeCopiedOutOfTheScratchFolder) {
    ASSERT_TRUE(test_support::hasOwnNamespaces()) << "this test mounts a small file system";
    tempOutputURL = folder / "Lumadoc";
    tempTimeStampedURL = folder;
    temptempURL = home.path() / "temp";
    fs::create_directories(*temptempURL);
    makeFiles({"Lumadoc/a.log"});
    const auto readOnly = test_support::Mount::readOnly(folder);
    EXPECT_TRUE(packOutput());
    EXPECT_FALSE(fs::exists(*compressedLogURL));
    EXPECT_THAT(archiveNames(*temptempURL / compressedLogURL->filename()),
                UnorderedElementsAre("Lumadoc/", "Lumadoc/a.log"));
}

TEST_F(Folder, IsRemovedWithItsArchiveButNotWithAnotherThatWasNotSent) {
    const auto other = folder / "lumaMacLog_other_cef.zip";
    const auto recovered = home.path() / "Recovered";
    tempOutputURL = tempTimeStampedURL = folder;
    compressedLogURL = folder / "lumaMacLog_own_cef.zip";
    writeFile(recovered, "a file in the way");
    for (const bool isFree : {false, true}) {
        makeFiles({"lumaMacLog_own_cef.zip", "lumaMacLog_other_cef.zip"});
        if (isFree)
            fs::remove(recovered);
        removeOutput();
        EXPECT_FALSE(fs::exists(*compressedLogURL));
        EXPECT_EQ(fs::exists(isFree ? recovered / other.filename() : other), true);
        EXPECT_EQ(fs::exists(folder), !isFree);
    }
}

TEST_F(Folder, OfAnArchiveOfAHundredMebibytesIsTooLarge) {
    compressedLogURL = folder / "archive.zip";
    makeFiles({"archive.zip"});
    fs::resize_file(*compressedLogURL, 104'857'599);
    EXPECT_TRUE(isArchiveSizeValid());
    fs::resize_file(*compressedLogURL, 104'857'600);
    EXPECT_FALSE(isArchiveSizeValid());
    fs::remove(*compressedLogURL);
    EXPECT_FALSE(isArchiveSizeValid());
    const std::string size = "INFO: Compressed file size: 100.000 mb";
    const std::string tooLarge = "ERROR: Logs Size is large.";
    EXPECT_THAT(said(),
                ElementsAre(size, size, tooLarge,
                            "ERROR: Error fetching file attributes: No such file or directory", tooLarge));
    compressedLogURL.reset();
    EXPECT_EXIT(isArchiveSizeValid(), testing::ExitedWithCode(1), "The archive's location is not known");
}

TEST_F(Folder, IsEmptiedOrRemovedWithoutTheTargetsOfItsLinks) {
    tempOutputURL = folder;
    writeFile(home.path() / "outside/precious", "precious");
    makeFiles({"sub/a"});
    deleteContentsOfDirectory(folder);
    EXPECT_TRUE(fs::is_empty(folder));
    deleteContentsOfDirectory(folder / "missing");
    makeFiles({"sub/a"});
    fs::create_symlink(home.path() / "outside", folder / "link");
    removeOutput();
    EXPECT_FALSE(fs::exists(folder));
    EXPECT_TRUE(fs::exists(home.path() / "outside/precious"));
    removeOutput();
    const std::string missing = "No such file or directory";
    EXPECT_THAT(said(), ElementsAre("INFO: Deleted: sub",
                                    "ERROR: Error while deleting contents of directory: " + missing,
                                    "INFO: Directory deleted successfully. Path: " + folder.native(),
                                    "INFO: Error deleting directory: " + missing));
    tempOutputURL.reset();
    EXPECT_EXIT(removeOutput(), testing::ExitedWithCode(1), "The output folder is not known");
}

} // namespace
