#include "collection/CopyOperations.h"

#include "test_support/Isolation.h"
#include "test_support/LoggedTest.h"

#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;
using test_support::readFile;
using test_support::writeFile;
using testing::ElementsAre;
using UtilityFunctions::CopyFiles;
using UtilityFunctions::copyItem;

class Copying : public test_support::LoggedTest {
protected:
    fs::path source = home.path() / "source";
    fs::path destination = home.path() / "far/away/copy";
};

TEST_F(Copying, TakesAFolderForTheUserAloneWithAllItsContentsButPipesAndDevices) {
    const std::vector<std::string> names{"a.log", "deep/er/b.log", "\xff\xfe", "a\nb", "-r", "*", " "};
    const std::vector<std::string> links{"/etc", "/etc/passwd", ".", "missing"};
    for (const auto &name : names)
        writeFile(source / name, QByteArray::fromStdString(name));
    for (std::size_t i = 0; i < links.size(); ++i)
        fs::create_symlink(links[i], source / std::to_string(i));
    fs::create_directory(source / "empty");
    for (const char *name : {"pipe", "other pipe"})
        ASSERT_EQ(::mkfifo((source / name).c_str(), 0600), 0);
    const auto old = fs::file_time_type::clock::now() - std::chrono::hours(1000);
    for (const fs::path &path : {source / "a.log", source}) {
        fs::permissions(path, fs::perms::all);
        fs::last_write_time(path, old);
    }
    EXPECT_TRUE(copyItem(source, destination));
    for (const auto &name : names)
        EXPECT_EQ(readFile(destination / name).toStdString(), name);
    for (std::size_t i = 0; i < links.size(); ++i)
        EXPECT_EQ(fs::read_symlink(destination / std::to_string(i)), links[i]) << "never followed";
    EXPECT_TRUE(fs::is_directory(destination / "empty"));
    EXPECT_FALSE(fs::exists(destination / "pipe") || fs::exists(destination / "other pipe"));
    EXPECT_THAT(said(), ElementsAre(testing::MatchesRegex(
                            "WARNING: Not copied from source: 2 pipes, sockets or devices, "
                            "the first one being (other )?pipe")));
    EXPECT_EQ(fs::status(destination).permissions(), fs::perms(0700));
    EXPECT_EQ(fs::status(destination / "a.log").permissions(), fs::perms(0600));
    for (const fs::path &path : {destination / "a.log", destination})
        EXPECT_EQ(fs::last_write_time(path), old);
}

TEST_F(Copying, NeverReplacesOrMixesAnything) {
    const std::string line = "ERROR: Error copying copy: File exists";
    writeFile(source, "new");
    writeFile(destination, "old");
    EXPECT_FALSE(copyItem(source, destination));
    EXPECT_EQ(readFile(destination), "old");
    fs::remove(destination);
    fs::create_symlink("nowhere", destination);
    EXPECT_FALSE(copyItem(source, destination));
    EXPECT_TRUE(fs::is_symlink(destination));
    for (const fs::path &path : {source, destination}) {
        fs::remove(path);
        writeFile(path / path.filename(), "");
    }
    EXPECT_FALSE(copyItem(source, destination));
    EXPECT_FALSE(fs::exists(destination / "source"));
    EXPECT_THAT(said(), ElementsAre(line, line, line));
}

TEST_F(Copying, SaysWhatIsMissingOrCannotBeCopied) {
    EXPECT_FALSE(copyItem(std::nullopt, destination) || copyItem(source, std::nullopt));
    EXPECT_FALSE(copyItem(source, destination));
    EXPECT_FALSE(copyItem("/etc/passwd", log / "a/file"));
    ASSERT_EQ(::mkfifo(source.c_str(), 0600), 0);
    EXPECT_FALSE(copyItem(source, destination));
    EXPECT_FALSE(fs::exists(destination));
    const std::string unset = "WARNING: Invalid source or destination URL";
    EXPECT_THAT(said(), ElementsAre(unset, unset, "ERROR: Error copying copy: No such file or directory",
                                    "ERROR: Error copying file: Not a directory",
                                    "ERROR: Error copying copy: Operation not supported"));
}

TEST_F(Copying, LosesOnlyTheFileThatDoesNotFitOnTheDisk) {
    ASSERT_TRUE(test_support::hasOwnNamespaces()) << "this test mounts a small file system";
    for (const char *name : {"a.log", "z.log", "folder/a.log"})
        writeFile(source / name, "fits");
    writeFile(source / "big.log", QByteArray(2 << 20, 'x'));
    fs::create_directories(destination);
    const auto small = test_support::Mount::memory(destination, 1 << 20);
    EXPECT_FALSE(copyItem(source, destination / "copy"));
    EXPECT_THAT(said(), ElementsAre("ERROR: Error copying copy: No space left on device"));
    EXPECT_FALSE(fs::exists(destination / "copy/big.log"));
    for (const char *name : {"a.log", "z.log", "folder/a.log"})
        EXPECT_EQ(readFile(destination / "copy" / name), "fits");
}

TEST_F(Copying, TakesNestingBeyondTheLengthOfAPath) {
    const fs::path outer = home.path() / "outer";
    fs::create_directory(source);
    writeFile(source / "a.log", "a");
    for (int depth = 0; depth < 30; ++depth) {
        fs::create_directory(outer);
        fs::rename(source, outer / std::string(200, 'n'));
        fs::rename(outer, source);
    }
    EXPECT_TRUE(copyItem(source, destination));
    EXPECT_TRUE(copyItem(destination, home.path() / "again"));
    fs::path folder = home.path() / "again";
    for (int depth = 0; depth < 15; ++depth)
        folder /= std::string(200, 'n');
    fs::rename(folder, home.path() / "half");
    folder = home.path() / "half";
    for (int depth = 0; depth < 15; ++depth)
        folder /= std::string(200, 'n');
    EXPECT_EQ(readFile(folder / "a.log"), "a");
    EXPECT_TRUE(said().empty());
}

TEST_F(Copying, FollowsASourceThatIsALinkOnlyWhenAskedAndOnlyAtTheTop) {
    using UtilityFunctions::SourceLink;
    const fs::path link = home.path() / "link";
    writeFile(source / "a name", "content");
    fs::create_symlink("a name", source / "inner");
    fs::create_symlink(source, link);
    EXPECT_TRUE(copyItem(link, destination / "link"));
    EXPECT_EQ(fs::read_symlink(destination / "link"), source);
    EXPECT_TRUE(copyItem(link, destination / "folder", SourceLink::followed));
    EXPECT_FALSE(fs::is_symlink(destination / "folder"));
    EXPECT_EQ(readFile(destination / "folder/a name"), "content");
    EXPECT_EQ(fs::read_symlink(destination / "folder/inner"), "a name");
    CopyFiles(source, destination, "inner", SourceLink::followed);
    EXPECT_FALSE(fs::is_symlink(destination / "inner"));
    EXPECT_EQ(readFile(destination / "inner"), "content");
    fs::remove_all(source);
    EXPECT_FALSE(copyItem(link, destination / "dangling", SourceLink::followed));
    EXPECT_THAT(said(), ElementsAre("INFO: File copied successfully.",
                                    "ERROR: Error copying dangling: No such file or directory"));
}

TEST_F(Copying, OfOneNamedFileReplacesWhateverIsThereAndSaysWhatFailed) {
    const fs::path copy = destination / "a name";
    writeFile(source / "a name", "new");
    writeFile(home.path() / "target", "untouched");
    CopyFiles(source, destination, "a name");
    writeFile(copy, "old and longer");
    CopyFiles(source, destination, "a name");
    EXPECT_EQ(readFile(copy), "new");
    fs::remove(copy);
    fs::create_symlink(home.path() / "target", copy);
    CopyFiles(source, destination, "a name");
    EXPECT_EQ(readFile(home.path() / "target"), "untouched");
    EXPECT_FALSE(fs::is_symlink(copy));
    CopyFiles(source, destination, "name");
    // A name of "." can be neither removed nor copied to.
    CopyFiles(source, destination, ".");
    CopyFiles(source, log / "below a file", "name");
    const std::string copied = "INFO: File copied successfully.";
    EXPECT_THAT(said(), ElementsAre(copied, copied, copied,
                                    "ERROR: Error while copying file: No such file or directory",
                                    "ERROR: Error while removing existing file: Invalid argument",
                                    "ERROR: Error while creating directory: Not a directory"));
}

} // namespace
