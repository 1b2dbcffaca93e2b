#include "OutputFile.h"

#include "test_support/ConditionalTest.h"
#include "test_support/FileTree.h"
#include "test_support/Isolation.h"
#include "test_support/Mounts.h"
#include "test_support/ProgramRun.h"
#include "test_support/ScratchHome.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;
using spindump::FolderOwner;
using spindump::OutputFile;
using test_support::readFile;
using test_support::ScratchFolder;
using test_support::writeFile;

struct OutputFileTest : testing::Test {
    std::optional<OutputFile> prepare(const fs::path &path, FolderOwner owner = FolderOwner::theUser) {
        return OutputFile::prepare(path, ::getuid(), owner, error);
    }
    std::size_t entries() const {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator()));
    }

    ScratchFolder folder;
    fs::path place = folder.path() / "report.txt";
    std::string error;
};

TEST_F(OutputFileTest, WritesANewFileForItsUserAlone) {
    ASSERT_TRUE(prepare(place)->write("text", error)) << error;
    EXPECT_EQ(readFile(place), "text");
    EXPECT_EQ(fs::status(place).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(entries(), 1u);
}

TEST_F(OutputFileTest, ReplacesAPlainFile) {
    writeFile(place, "before");
    fs::permissions(place, fs::perms::all);
    ASSERT_TRUE(prepare(place)->write("after", error)) << error;
    EXPECT_EQ(readFile(place), "after");
    EXPECT_EQ(fs::status(place).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(entries(), 1u);
}

TEST_F(OutputFileTest, LeavesOtherNamesOfAReplacedFileAlone) {
    writeFile(place, "before");
    fs::create_hard_link(place, folder.path() / "other");
    ASSERT_TRUE(prepare(place)->write("after", error)) << error;
    EXPECT_EQ(readFile(folder.path() / "other"), "before");
}

TEST_F(OutputFileTest, RefusesALink) {
    writeFile(folder.path() / "precious", "precious");
    fs::create_symlink("precious", place);
    EXPECT_FALSE(prepare(place));
    EXPECT_EQ(error, "report.txt: what stands there is no plain file");
    EXPECT_EQ(readFile(folder.path() / "precious"), "precious");
}

TEST_F(OutputFileTest, RefusesFolderAndPipe) {
    fs::create_directory(place);
    EXPECT_FALSE(prepare(place));
    EXPECT_EQ(error, "report.txt: what stands there is no plain file");
    ::mkfifo((folder.path() / "pipe").c_str(), 0600);
    EXPECT_FALSE(prepare(folder.path() / "pipe"));
}

TEST_F(OutputFileTest, RefusesWhatTakesThePlaceMeanwhile) {
    const auto output = prepare(place);
    ASSERT_TRUE(output);
    writeFile(folder.path() / "precious", "precious");
    fs::create_symlink("precious", place);
    EXPECT_FALSE(output->write("text", error));
    EXPECT_EQ(readFile(folder.path() / "precious"), "precious");
    EXPECT_EQ(entries(), 2u);
}

TEST_F(OutputFileTest, WritesIntoTheFolderThatWasThere) {
    fs::create_directory(folder.path() / "a");
    const auto output = prepare(folder.path() / "a/report.txt");
    fs::rename(folder.path() / "a", folder.path() / "b");
    fs::create_directory(folder.path() / "a");
    ASSERT_TRUE(output->write("text", error)) << error;
    EXPECT_EQ(readFile(folder.path() / "b/report.txt"), "text");
    EXPECT_TRUE(fs::is_empty(folder.path() / "a"));
}

TEST_F(OutputFileTest, FollowsTheUsersOwnLinkToTheFolder) {
    fs::create_directory(folder.path() / "real");
    fs::create_directory_symlink(folder.path() / "real", folder.path() / "link");
    ASSERT_TRUE(prepare(folder.path() / "link/report.txt")->write("text", error)) << error;
    EXPECT_EQ(readFile(folder.path() / "real/report.txt"), "text");
}

TEST_F(OutputFileTest, EndsAtLinksThatLeadInCircles) {
    fs::create_directory_symlink("two", folder.path() / "one");
    fs::create_directory_symlink("one", folder.path() / "two");
    EXPECT_FALSE(prepare(folder.path() / "one/report.txt"));
    EXPECT_NE(error.find("Too many levels of symbolic links"), std::string::npos) << error;
}

TEST_F(OutputFileTest, NamesAMissingFolder) {
    EXPECT_FALSE(prepare(folder.path() / "none/report.txt"));
    EXPECT_EQ(error, (folder.path() / "none/").native() + ": No such file or directory");
    writeFile(folder.path() / "file", "");
    EXPECT_FALSE(prepare(folder.path() / "file/report.txt"));
    EXPECT_EQ(error, (folder.path() / "file/").native() + ": Not a directory");
}

TEST_F(OutputFileTest, LeavesNothingOnAFullDisk) {
    ASSERT_TRUE(test_support::hasOwnNamespaces()) << "this test mounts a small file system";
    const auto disk = test_support::Mount::memory(folder.path(), 64 << 10);
    writeFile(place, "before");
    const auto output = prepare(place);
    ASSERT_TRUE(output) << error;
    EXPECT_FALSE(output->write(std::string(1 << 20, 'x'), error));
    EXPECT_EQ(error, "report.txt: No space left on device");
    EXPECT_EQ(readFile(place), "before");
    EXPECT_EQ(entries(), 1u);
}

constexpr uid_t stranger = 65'534;

void refusesAStrangersFile() {
    const ScratchFolder folder;
    const auto place = folder.path() / "report.txt";
    writeFile(place, "theirs");
    ASSERT_EQ(::chown(place.c_str(), stranger, stranger), 0);
    std::string error;
    EXPECT_FALSE(OutputFile::prepare(place, ::getuid(), FolderOwner::theUser, error));
    EXPECT_EQ(error, "report.txt: a file of another user stands there");
    EXPECT_EQ(readFile(place), "theirs");
}

void refusesAStrangersFolder() {
    const ScratchFolder folder;
    ASSERT_EQ(::chown(folder.path().c_str(), stranger, stranger), 0);
    std::string error;
    EXPECT_FALSE(OutputFile::prepare(folder.path() / "report.txt", ::getuid(), FolderOwner::theUser, error));
    EXPECT_EQ(error, folder.path().native() + "/: the folder belongs to another user");
    EXPECT_TRUE(OutputFile::prepare(folder.path() / "report.txt", ::getuid(), FolderOwner::anybody, error));
}

void refusesAStrangersLink() {
    const ScratchFolder folder;
    fs::create_directory(folder.path() / "real");
    fs::create_directory_symlink("real", folder.path() / "link");
    ASSERT_EQ(::lchown((folder.path() / "link").c_str(), stranger, stranger), 0);
    std::string error;
    EXPECT_FALSE(
        OutputFile::prepare(folder.path() / "link/report.txt", ::getuid(), FolderOwner::theUser, error));
}

[[maybe_unused]] const bool othersTested =
    test_support::registerTestIf(test_support::canRunAs(stranger), "OutputFile", "RefusesAStrangersFile",
                                 refusesAStrangersFile) &&
    test_support::registerTestIf(true, "OutputFile", "RefusesAStrangersFolder", refusesAStrangersFolder) &&
    test_support::registerTestIf(true, "OutputFile", "RefusesAStrangersLink", refusesAStrangersLink);

} // namespace
