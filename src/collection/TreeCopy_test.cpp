#include "collection/TreeCopy.h"

#include "test_support/Isolation.h"
#include "test_support/ScratchHome.h"

#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using test_support::readFile;
using test_support::writeFile;

class TreeCopyTest : public testing::Test {
protected:
    test_support::ScratchFolder folder;
    fs::path source = folder.path() / "source";
    fs::path destination = folder.path() / "destination";
};

TEST_F(TreeCopyTest, CopiesAFolderWithAllItsContents) {
    writeFile(source / "a.log", "a");
    writeFile(source / "deep/er/b.log", "b");
    fs::create_directory(source / "empty");
    EXPECT_FALSE(copyTree(source, destination).error);
    EXPECT_EQ(readFile(destination / "a.log"), "a");
    EXPECT_EQ(readFile(destination / "deep/er/b.log"), "b");
    EXPECT_TRUE(fs::is_directory(destination / "empty"));
}

TEST_F(TreeCopyTest, CopiesAreTheUsersAloneAndKeepTheirTimes) {
    writeFile(source / "a.log", "a");
    fs::permissions(source / "a.log", fs::perms::all);
    fs::permissions(source, fs::perms::all);
    const auto old = fs::file_time_type::clock::now() - std::chrono::hours(1000);
    fs::last_write_time(source / "a.log", old);
    fs::last_write_time(source, old);
    EXPECT_FALSE(copyTree(source, destination).error);
    constexpr auto others = fs::perms::group_all | fs::perms::others_all;
    EXPECT_EQ(fs::status(destination).permissions() & others, fs::perms::none);
    EXPECT_EQ(fs::status(destination / "a.log").permissions(),
              fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(fs::last_write_time(destination / "a.log"), old);
    EXPECT_EQ(fs::last_write_time(destination), old);
}

TEST_F(TreeCopyTest, LinksStayLinksAndAreNotFollowed) {
    writeFile(folder.path() / "secrets/key", "secret");
    writeFile(source / "a.log", "a");
    fs::create_symlink(folder.path() / "secrets", source / "folder.log");
    fs::create_symlink(folder.path() / "secrets/key", source / "file.log");
    fs::create_symlink(".", source / "loop.log");
    fs::create_symlink("missing", source / "dangling.log");
    EXPECT_FALSE(copyTree(source, destination).error);
    EXPECT_EQ(fs::read_symlink(destination / "folder.log"), folder.path() / "secrets");
    EXPECT_EQ(fs::read_symlink(destination / "file.log"), folder.path() / "secrets/key");
    EXPECT_EQ(fs::read_symlink(destination / "loop.log"), ".");
    EXPECT_EQ(fs::read_symlink(destination / "dangling.log"), "missing");
}

TEST_F(TreeCopyTest, PipesSocketsAndDevicesInAFolderAreLeftOutAndCounted) {
    writeFile(source / "a.log", "a");
    ASSERT_EQ(::mkfifo((source / "pipe").c_str(), 0600), 0);
    const int listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
    struct sockaddr_un address {};
    address.sun_family = AF_UNIX;
    (source / "socket").native().copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(::bind(listener, reinterpret_cast<struct sockaddr *>(&address), sizeof address), 0);
    const TreeCopy copy = copyTree(source, destination);
    ::close(listener);
    EXPECT_FALSE(copy.error);
    EXPECT_EQ(copy.skipped, 2U);
    EXPECT_TRUE(copy.firstSkipped == "pipe" || copy.firstSkipped == "socket");
    EXPECT_EQ(readFile(destination / "a.log"), "a");
    EXPECT_EQ(std::distance(fs::directory_iterator(destination), {}), 1);
}

TEST_F(TreeCopyTest, APipeByItselfIsAFailure) {
    ASSERT_EQ(::mkfifo(source.c_str(), 0600), 0);
    EXPECT_EQ(copyTree(source, destination).error, std::errc::operation_not_supported);
    EXPECT_FALSE(fs::exists(destination));
}

TEST_F(TreeCopyTest, AnythingAtTheDestinationIsAFailure) {
    writeFile(source, "new");
    fs::create_symlink("nowhere", destination);
    EXPECT_EQ(copyTree(source, destination).error, std::errc::file_exists);
    EXPECT_TRUE(fs::is_symlink(destination));
}

TEST_F(TreeCopyTest, NamesOfAnyBytesAreCopied) {
    for (const char *name : {"\xff\xfe", "a\nb", "\"quoted\"", "-r", "*", " "})
        writeFile(source / name, name);
    EXPECT_FALSE(copyTree(source, destination).error);
    for (const char *name : {"\xff\xfe", "a\nb", "\"quoted\"", "-r", "*", " "})
        EXPECT_EQ(readFile(destination / name), name);
}

// Runs `work` as a user who may not read everything, and gives its exit status.
int asOrdinaryUser(const std::function<int()> &work) {
    const pid_t child = ::fork();
    if (child == 0) {
        if (::geteuid() == 0 && (::setgid(12345) != 0 || ::setuid(12345) != 0))
            ::_exit(99);
        ::_exit(work());
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WEXITSTATUS(status);
}

TEST_F(TreeCopyTest, GoesOnPastWhatCannotBeRead) {
    for (const char *name : {"a.log", "b.log", "closed/c.log", "d.log"})
        writeFile(source / name, name);
    const int status = asOrdinaryUser([&] { return 0; });
    ASSERT_EQ(status, 0);
    if (::geteuid() == 0) {
        for (const auto &path : {folder.path(), source, source / "a.log", source / "d.log"})
            ASSERT_EQ(::chown(path.c_str(), 12345, 12345), 0);
    } else {
        fs::permissions(source / "b.log", fs::perms::none);
        fs::permissions(source / "closed", fs::perms::none);
    }
    EXPECT_EQ(asOrdinaryUser([&] {
                  return copyTree(source, destination).error == std::errc::permission_denied ? 0 : 1;
              }),
              0);
    EXPECT_EQ(readFile(destination / "a.log"), "a.log");
    EXPECT_EQ(readFile(destination / "d.log"), "d.log");
    EXPECT_FALSE(fs::exists(destination / "b.log"));
    EXPECT_FALSE(fs::exists(destination / "closed/c.log"));
    fs::permissions(source / "closed", fs::perms::owner_all);
}

TEST_F(TreeCopyTest, AFullDiskEndsItWithoutAPartialFile) {
    ASSERT_TRUE(test_support::hasOwnNamespaces()) << "this test mounts a small file system";
    writeFile(source / "big.log", QByteArray(2 << 20, 'x'));
    fs::create_directory(destination);
    ASSERT_EQ(::mount("small", destination.c_str(), "tmpfs", 0, "size=1m"), 0);
    EXPECT_EQ(copyTree(source, destination / "copy").error, std::errc::no_space_on_device);
    EXPECT_TRUE(fs::exists(destination / "copy"));
    EXPECT_FALSE(fs::exists(destination / "copy/big.log"));
    ::umount2(destination.c_str(), MNT_DETACH);
}

TEST_F(TreeCopyTest, NestingBeyondAPathsLengthIsAnErrorAndTheRestIsCopied) {
    writeFile(source / "a.log", "a");
    const std::string name(200, 'n');
    int at = ::open(source.c_str(), O_PATH | O_DIRECTORY);
    for (int depth = 0; depth < 30; ++depth) {
        ASSERT_EQ(::mkdirat(at, name.c_str(), 0700), 0);
        const int next = ::openat(at, name.c_str(), O_PATH | O_DIRECTORY);
        ::close(at);
        at = next;
    }
    ::close(at);
    EXPECT_EQ(copyTree(source, destination).error, std::errc::filename_too_long);
    EXPECT_EQ(readFile(destination / "a.log"), "a");
}

} // namespace
