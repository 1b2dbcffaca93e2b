#include "packaging/FilesPathDirectory.h"

#include "discovery/RunState.h"
#include "support_service/ArchiveListing.h"
#include "test_support/LogReader.h"
#include "test_support/ScratchHome.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;
using namespace FilesPathDirectory;
using namespace UtilityFunctions;
using test_support::logLines;
using test_support::writeFile;
using testing::UnorderedElementsAre;

QString text(const fs::path &path) {
    return QString::fromStdString(path.native());
}

std::vector<std::string> archiveNames(const fs::path &archive) {
    std::string problem;
    std::vector<std::string> names;
    for (const auto &entry : support_service::listArchive(archive, problem)
                                 .value_or(std::vector<support_service::ArchiveEntry>()))
        names.push_back(entry.name + (entry.isLink ? " (link)" : ""));
    return names;
}

class FilesPathDirectoryTest : public testing::Test {
protected:
    test_support::ScratchHome home;
    fs::path log = test_support::startLog();
    fs::path folder = home.path() / "run";
};

using PruningTest = FilesPathDirectoryTest;

TEST_F(PruningTest, KeepsAllowedExtensionsIgnoringTheirCaseAndRemovesTheRest) {
    writeFile(folder / "report.TXT", "");
    writeFile(folder / "report.bin", "");
    removeFilesFromDirectoryRecursively(folder, {QStringLiteral(".txt")});
    EXPECT_TRUE(fs::exists(folder / "report.TXT"));
    EXPECT_FALSE(fs::exists(folder / "report.bin"));
    EXPECT_EQ(RemovedFilesCount, 1);
    EXPECT_EQ(logLines(log), QStringList{QStringLiteral("INFO: Removed file with extension: bin")});
}

struct ExtensionCase {
    const char *name;
    const char *extension;
};

class ExtensionTest : public FilesPathDirectoryTest, public testing::WithParamInterface<ExtensionCase> {};

TEST_P(ExtensionTest, IsToldAsWrittenWhenTheFileIsRemoved) {
    writeFile(folder / GetParam().name, "");
    removeFilesFromDirectoryRecursively(folder, {QStringLiteral(".never")});
    EXPECT_FALSE(fs::exists(folder / GetParam().name));
    EXPECT_EQ(logLines(log), QStringList{QStringLiteral("INFO: Removed file with extension: ") +
                                         QString::fromLatin1(GetParam().extension)});
}

INSTANTIATE_TEST_SUITE_P(Names, ExtensionTest,
                         testing::Values(ExtensionCase{"README", ""}, ExtensionCase{".log", ""},
                                         ExtensionCase{".DS_Store", ""}, ExtensionCase{"name.", ""},
                                         ExtensionCase{"a.BIN", "BIN"}, ExtensionCase{"a.log.gz", "gz"},
                                         ExtensionCase{".hidden.log", "log"}, ExtensionCase{"-r.x", "x"}));

TEST_F(PruningTest, AFileWithoutAnExtensionStaysWhenTheEmptyOneIsAllowed) {
    writeFile(folder / "README", "");
    removeFilesFromDirectoryRecursively(folder, {QStringLiteral(".")});
    EXPECT_TRUE(fs::exists(folder / "README"));
}

TEST_F(PruningTest, GoesIntoFoldersAndCountsThemAllTogether) {
    RemovedFilesCount = 5;
    writeFile(folder / "a/b/c/one.bin", "");
    writeFile(folder / "a/two.bin", "");
    writeFile(folder / "a/keep.log", "");
    writeFile(folder / "folder.bin/keep.log", "");
    removeFilesFromDirectoryRecursively(folder, allowedExtensions);
    EXPECT_EQ(RemovedFilesCount, 7);
    EXPECT_TRUE(fs::exists(folder / "a/b/c"));
    EXPECT_TRUE(fs::exists(folder / "folder.bin/keep.log"));
}

TEST_F(PruningTest, ALinkIsJudgedByItsOwnNameAndRemovedItself) {
    writeFile(home.path() / "outside/precious.bin", "precious");
    fs::create_directories(folder);
    fs::create_symlink(home.path() / "outside", folder / "folder");
    fs::create_symlink(home.path() / "outside", folder / "folder.log");
    fs::create_symlink(home.path() / "outside/precious.bin", folder / "file.bin");
    removeFilesFromDirectoryRecursively(folder, allowedExtensions);
    EXPECT_EQ(test_support::readFile(home.path() / "outside/precious.bin"), "precious");
    EXPECT_FALSE(fs::is_symlink(folder / "folder"));
    EXPECT_TRUE(fs::is_symlink(folder / "folder.log"));
    EXPECT_FALSE(fs::is_symlink(folder / "file.bin"));
    EXPECT_EQ(RemovedFilesCount, 2);
}

TEST_F(PruningTest, AFolderThatCannotBeListedIsOneError) {
    removeFilesFromDirectoryRecursively(folder, allowedExtensions);
    EXPECT_EQ(logLines(log), QStringList{QStringLiteral("ERROR: Error accessing directory: ") + text(folder) +
                                         QStringLiteral(" - No such file or directory")});
}

TEST_F(PruningTest, WithoutARunFolderTheEmptyPathIsTold) {
    removeFilesFromDirectoryRecursively({}, allowedExtensions);
    EXPECT_EQ(logLines(log),
              QStringList{QStringLiteral("ERROR: Error accessing directory:  - No such file or directory")});
}

using ZippingTest = FilesPathDirectoryTest;

TEST_F(ZippingTest, PacksTheFolderByItsNameAndTheRecordsBesideIt) {
    writeFile(folder / "Lumadoc/a.log", "a");
    writeFile(folder / "Lumadoc/deep/b.log", "b");
    writeFile(folder / "UserEmailFeedback.json", "{}");
    writeFile(folder / "DetailedInfo.json", "{}");
    writeFile(folder / "other.log", "not asked for");
    EXPECT_TRUE(CommandLineCompression(folder / "Lumadoc", home.path() / "out.zip"));
    EXPECT_THAT(archiveNames(home.path() / "out.zip"),
                UnorderedElementsAre("Lumadoc/", "Lumadoc/a.log", "Lumadoc/deep/", "Lumadoc/deep/b.log",
                                     "UserEmailFeedback.json", "DetailedInfo.json"));
    EXPECT_EQ(logLines(log), QStringList{QStringLiteral("INFO: Directory compressed successfully.")});
}

TEST_F(ZippingTest, MissingRecordsAreNoFailure) {
    writeFile(folder / "Lumadoc/a.log", "a");
    EXPECT_TRUE(CommandLineCompression(folder / "Lumadoc", home.path() / "out.zip"));
    EXPECT_EQ(logLines(log), QStringList{QStringLiteral("INFO: Directory compressed successfully.")});
}

TEST_F(ZippingTest, LinksGoInAsLinks) {
    writeFile(home.path() / "outside/secret.log", "secret");
    writeFile(folder / "Lumadoc/a.log", "a");
    fs::create_symlink(home.path() / "outside", folder / "Lumadoc/folder.log");
    fs::create_symlink(home.path() / "outside/secret.log", folder / "Lumadoc/file.log");
    fs::create_symlink(".", folder / "Lumadoc/loop.log");
    EXPECT_TRUE(CommandLineCompression(folder / "Lumadoc", home.path() / "out.zip"));
    EXPECT_THAT(archiveNames(home.path() / "out.zip"),
                UnorderedElementsAre("Lumadoc/", "Lumadoc/a.log", "Lumadoc/folder.log (link)",
                                     "Lumadoc/file.log (link)", "Lumadoc/loop.log (link)"));
}

TEST_F(ZippingTest, OptionsFromTheEnvironmentDoNotReachZip) {
    const test_support::ScopedEnvironment options("ZIPOPT", "-m");
    const test_support::ScopedEnvironment more("ZIP", "-m");
    writeFile(folder / "Lumadoc/a.log", "a");
    EXPECT_TRUE(CommandLineCompression(folder / "Lumadoc", home.path() / "out.zip"));
    EXPECT_TRUE(fs::exists(folder / "Lumadoc/a.log"));
}

TEST_F(ZippingTest, AFailingZipIsToldAndStillCountsAsRun) {
    writeFile(folder / "Lumadoc/a.log", "a");
    EXPECT_TRUE(CommandLineCompression(folder / "Lumadoc", home.path() / "missing/out.zip"));
    EXPECT_EQ(logLines(log), QStringList{QStringLiteral("ERROR: Failed to compress the directory.")});
}

TEST_F(ZippingTest, AMissingParentFolderIsToldAndNothingIsRun) {
    EXPECT_FALSE(CommandLineCompression(home.path() / "missing/Lumadoc", home.path() / "out.zip"));
    EXPECT_FALSE(fs::exists(home.path() / "out.zip"));
    EXPECT_EQ(logLines(log), QStringList{QStringLiteral("ERROR: Output folder path doesn't exist: ") +
                                         text(home.path() / "missing")});
}

TEST_F(ZippingTest, AnAbsentLocationIsFalseWithoutAWord) {
    EXPECT_FALSE(CommandLineCompression(std::nullopt, home.path() / "out.zip"));
    EXPECT_FALSE(CommandLineCompression(folder, std::nullopt));
    EXPECT_FALSE(fs::exists(log));
}

class PackagingTest : public FilesPathDirectoryTest {
protected:
    PackagingTest() {
        tempTimeStampedURL = folder;
        tempOutputURL = folder / "Pellix";
        temptempURL = home.path() / "temp";
        fs::create_directories(*temptempURL);
        writeFile(*tempOutputURL / "a.log", "a");
    }
};

TEST_F(PackagingTest, TheArchiveTakesThePlaceOfWhatWasCollected) {
    IsSilentMode = true;
    writeFile(*temptempURL / "left over", "");
    EXPECT_TRUE(CompressOutputDirectory());
    const std::string name = "lumaMacLog_" + UniqueId.toStdString() + "_cef.zip";
    EXPECT_EQ(*compressedLogURL, folder / name);
    EXPECT_EQ(*tempOutputURL, folder);
    EXPECT_THAT(archiveNames(*compressedLogURL), UnorderedElementsAre("Pellix/", "Pellix/a.log"));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 1);
    EXPECT_TRUE(fs::is_empty(*temptempURL));
    const QString shown = QString::fromStdString(name);
    EXPECT_THAT(logLines(log), testing::AllOf(testing::SizeIs(6),
                                              testing::Contains(QStringLiteral("INFO: Deleted: left over"))));
    EXPECT_EQ(logLines(log).first(4), (QStringList{QStringLiteral("INFO: Compressed File: ") + shown,
                                                   QStringLiteral("INFO: Directory compressed successfully."),
                                                   QStringLiteral("INFO: Deleted: Pellix"),
                                                   QStringLiteral("INFO: File copied successfully.")}));
}

TEST_F(PackagingTest, WindowModeHasItsOwnSuffix) {
    EXPECT_TRUE(CompressOutputDirectory());
    EXPECT_TRUE(compressedLogURL->native().ends_with("_abc.zip"));
}

TEST_F(PackagingTest, AMissingOutputLeavesEverythingAsItIs) {
    tempOutputURL = home.path() / "missing/Pellix";
    writeFile(*temptempURL / "left over", "");
    EXPECT_FALSE(CompressOutputDirectory());
    EXPECT_FALSE(compressedLogURL);
    EXPECT_TRUE(fs::exists(*temptempURL / "left over"));
    EXPECT_TRUE(fs::exists(folder / "Pellix/a.log"));
}

TEST_F(PackagingTest, AFailingZipStillCountsAsSuccess) {
    tempOutputURL = folder / "not there";
    EXPECT_TRUE(CompressOutputDirectory());
    EXPECT_TRUE(compressedLogURL);
    EXPECT_FALSE(fs::exists(*compressedLogURL));
    EXPECT_EQ(logLines(log).at(1), QStringLiteral("ERROR: Failed to compress the directory."));
}

TEST_F(PackagingTest, FoldersThatAreNotKnownOnceTheArchiveIsMadeEndTheProcess) {
    tempTimeStampedURL.reset();
    EXPECT_EXIT(CompressOutputDirectory(), testing::ExitedWithCode(1),
                "The folders of the run are not known");
}

using SizeTest = FilesPathDirectoryTest;

TEST_F(SizeTest, OneByteBelowAHundredMebibytesPasses) {
    writeFile(folder, "");
    fs::resize_file(folder, 104'857'599);
    EXPECT_TRUE(isFileSizeValid(folder));
    EXPECT_EQ(logLines(log), QStringList{QStringLiteral("INFO: Compressed file size: 100.000 mb")});
}

TEST_F(SizeTest, AHundredMebibytesAreTooMuch) {
    writeFile(folder, "");
    fs::resize_file(folder, 104'857'600);
    EXPECT_FALSE(isFileSizeValid(folder));
    EXPECT_EQ(logLines(log), QStringList{QStringLiteral("INFO: Compressed file size: 100.000 mb")});
}

TEST_F(SizeTest, AMissingFileIsAnError) {
    EXPECT_FALSE(isFileSizeValid(folder));
    EXPECT_EQ(logLines(log), QStringList{QStringLiteral(
                                 "ERROR: Error fetching file attributes: No such file or directory")});
}

using RemovingTest = FilesPathDirectoryTest;

TEST_F(RemovingTest, EmptyingAFolderKeepsIt) {
    writeFile(folder / "sub/a", "");
    deleteContentsOfDirectory(folder);
    EXPECT_TRUE(fs::is_empty(folder));
    EXPECT_EQ(logLines(log), QStringList{QStringLiteral("INFO: Deleted: sub")});
}

TEST_F(RemovingTest, EmptyingAMissingFolderIsAnError) {
    deleteContentsOfDirectory(folder);
    EXPECT_EQ(logLines(log),
              QStringList{QStringLiteral(
                  "ERROR: Error while deleting contents of directory: No such file or directory")});
}

TEST_F(RemovingTest, RemovingAFolderTakesAllOfItAndNoTargetOfALink) {
    writeFile(home.path() / "outside/precious", "precious");
    writeFile(folder / "sub/a", "");
    fs::create_symlink(home.path() / "outside", folder / "link");
    deleteDirectory(folder);
    EXPECT_FALSE(fs::exists(folder));
    EXPECT_TRUE(fs::exists(home.path() / "outside/precious"));
    EXPECT_EQ(logLines(log),
              QStringList{QStringLiteral("INFO: Directory deleted successfully. Path: ") + text(folder)});
}

TEST_F(RemovingTest, RemovingAMissingFolderIsToldAtInfoLevel) {
    deleteDirectory(folder);
    EXPECT_EQ(logLines(log),
              QStringList{QStringLiteral("INFO: Error deleting directory: No such file or directory")});
}

} // namespace
