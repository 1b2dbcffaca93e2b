#include "collection/CopyOperations.h"

#include "test_support/LogReader.h"
#include "test_support/ScratchHome.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;
using test_support::logLines;
using test_support::readFile;
using test_support::writeFile;
using UtilityFunctions::CopyFiles;
using UtilityFunctions::copyItem;

class CopyOperationsTest : public testing::Test {
protected:
    test_support::ScratchHome home;
    fs::path log = test_support::startLog();
    fs::path source = home.path() / "source";
    fs::path destination = home.path() / "far" / "away" / "copy";
};

TEST_F(CopyOperationsTest, CopyItemMakesTheParentFolders) {
    writeFile(source, "content");
    EXPECT_TRUE(copyItem(source, destination));
    EXPECT_EQ(readFile(destination), "content");
    EXPECT_FALSE(fs::exists(log));
}

TEST_F(CopyOperationsTest, CopyItemNeverReplacesAnything) {
    writeFile(source, "new");
    writeFile(destination, "old");
    EXPECT_FALSE(copyItem(source, destination));
    EXPECT_EQ(readFile(destination), "old");
    EXPECT_EQ(logLines(log), QStringList{QStringLiteral("ERROR: Error copying copy: File exists")});
}

TEST_F(CopyOperationsTest, CopyItemDoesNotMixFolders) {
    writeFile(source / "new", "new");
    writeFile(destination / "old", "old");
    EXPECT_FALSE(copyItem(source, destination));
    EXPECT_FALSE(fs::exists(destination / "new"));
    EXPECT_EQ(logLines(log), QStringList{QStringLiteral("ERROR: Error copying copy: File exists")});
}

TEST_F(CopyOperationsTest, CopyItemTellsOfAMissingSource) {
    EXPECT_FALSE(copyItem(source, destination));
    EXPECT_EQ(logLines(log),
              QStringList{QStringLiteral("ERROR: Error copying copy: No such file or directory")});
}

TEST_F(CopyOperationsTest, CopyItemTellsOfAParentThatCannotBeMade) {
    writeFile(source, "content");
    writeFile(home.path() / "far", "a file");
    EXPECT_FALSE(copyItem(source, destination));
    EXPECT_EQ(logLines(log), QStringList{QStringLiteral("ERROR: Error copying copy: Not a directory")});
}

TEST_F(CopyOperationsTest, CopyItemWarnsOfAnUnsetLocation) {
    EXPECT_FALSE(copyItem(std::nullopt, destination));
    EXPECT_FALSE(copyItem(source, std::nullopt));
    const QString line = QStringLiteral("WARNING: Invalid source or destination URL");
    EXPECT_EQ(logLines(log), (QStringList{line, line}));
}

TEST_F(CopyOperationsTest, CopyItemTellsOfPipesInAFolderWithOneLineAndSucceeds) {
    writeFile(source / "file.log", "content");
    ASSERT_EQ(::mkfifo((source / "one").c_str(), 0600), 0);
    ASSERT_EQ(::mkfifo((source / "two").c_str(), 0600), 0);
    EXPECT_TRUE(copyItem(source, destination));
    EXPECT_EQ(readFile(destination / "file.log"), "content");
    ASSERT_EQ(logLines(log).size(), 1);
    EXPECT_TRUE(logLines(log).first().startsWith(QStringLiteral(
        "WARNING: Not copied from source: 2 pipes, sockets or devices, the first one being ")));
}

TEST_F(CopyOperationsTest, CopyFilesCopiesOneNamedFile) {
    writeFile(source / "a name", "content");
    CopyFiles(source, destination, "a name");
    EXPECT_EQ(readFile(destination / "a name"), "content");
    EXPECT_EQ(logLines(log), QStringList{QStringLiteral("INFO: File copied successfully.")});
}

TEST_F(CopyOperationsTest, CopyFilesReplacesAnExistingFile) {
    writeFile(source / "name", "new");
    writeFile(destination / "name", "old and longer");
    CopyFiles(source, destination, "name");
    EXPECT_EQ(readFile(destination / "name"), "new");
}

TEST_F(CopyOperationsTest, CopyFilesReplacesALinkAndLeavesItsTarget) {
    writeFile(source / "name", "new");
    writeFile(home.path() / "target", "untouched");
    fs::create_directories(destination);
    fs::create_symlink(home.path() / "target", destination / "name");
    CopyFiles(source, destination, "name");
    EXPECT_EQ(readFile(home.path() / "target"), "untouched");
    EXPECT_FALSE(fs::is_symlink(destination / "name"));
}

TEST_F(CopyOperationsTest, CopyFilesTellsOfAFolderThatCannotBeMade) {
    writeFile(home.path() / "far", "a file");
    CopyFiles(source, destination, "name");
    EXPECT_EQ(logLines(log),
              QStringList{QStringLiteral("ERROR: Error while creating directory: Not a directory")});
}

TEST_F(CopyOperationsTest, CopyFilesTellsOfAMissingSource) {
    CopyFiles(source, destination, "name");
    EXPECT_EQ(logLines(log),
              QStringList{QStringLiteral("ERROR: Error while copying file: No such file or directory")});
}

TEST_F(CopyOperationsTest, CopyFilesTellsOfAnExistingFileThatCannotBeRemoved) {
    writeFile(source / "name", "new");
    writeFile(destination / "name", "old");
    // Removing fails in a folder that is the root of a mounted file system or, as here, has become immutable
    // to the user: a name of "." can be neither removed nor copied to.
    CopyFiles(source, destination, ".");
    EXPECT_EQ(logLines(log),
              QStringList{QStringLiteral("ERROR: Error while removing existing file: Invalid argument")});
}

} // namespace
