#include "platform/posix/FileSystem.h"

#include "test_support/Isolation.h"
#include "test_support/ScratchHome.h"

#include <atomic>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <set>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

using platform::FileDescriptor;
using platform::FileKind;
using platform::Replacement;
using std::errc;
using test_support::Mount;
using testing::ElementsAre;

constexpr std::size_t limitBytes = 1000;

struct stat statusOf(const fs::path &path) {
    struct stat status {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
    return status;
}

unsigned modeOf(const fs::path &path) {
    return statusOf(path).st_mode & 07777U;
}

std::set<std::string> namesIn(const fs::path &folder) {
    std::set<std::string> names;
    for (const auto &entry : fs::directory_iterator(folder))
        names.insert(entry.path().filename().native());
    return names;
}

class FileSystem : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(test_support::hasOwnNamespaces());
        fs::create_directory(other);
    }

    fs::path write(const char *name, const QByteArray &content) {
        test_support::writeFile(folder.path() / name, content);
        return folder.path() / name;
    }
    fs::path makePipe() {
        EXPECT_EQ(::mkfifo((folder.path() / "pipe").c_str(), 0600), 0);
        return folder.path() / "pipe";
    }
    void expectFailure(bool result, errc reason) {
        EXPECT_FALSE(result);
        EXPECT_EQ(error, reason);
    }
    bool read(const fs::path &path) { return platform::readFile(path, limitBytes, error).has_value(); }
    // None of the functions that want a regular file takes this one.
    void expectRefused(const fs::path &path, errc reason) {
        SCOPED_TRACE(path);
        std::uint64_t sizeBytes = 0;
        expectFailure(read(path), reason);
        expectFailure(bool(platform::openRegularFile(path, sizeBytes, error)), reason);
        expectFailure(copy(path, destination), reason);
        EXPECT_FALSE(fs::exists(fs::symlink_status(destination)));
    }
    bool copy(const fs::path &from, const fs::path &to) {
        return platform::copyRegularFile(AT_FDCWD, from, AT_FDCWD, to, error);
    }
    bool replace(const fs::path &path, const QByteArray &content,
                 Replacement how = Replacement::privateFile) {
        return platform::writeFileAtomically(path, content, how, error);
    }

    test_support::ScratchFolder folder;
    fs::path source = folder.path() / "source";
    fs::path destination = folder.path() / "destination";
    fs::path other = folder.path() / "other";
    std::error_code error = std::make_error_code(errc::interrupted);
};

// --- Reading ---

TEST_F(FileSystem, ReadsAndOpensARegularFileUpToTheLimit) {
    const QByteArray odd("\0\xff\r\n", 4);
    for (const QByteArray &content : {QByteArray(), odd, QByteArray(qsizetype{limitBytes}, 'x')}) {
        const fs::path file = write("\xff", content);
        std::uint64_t sizeBytes = 77;
        EXPECT_EQ(platform::readFile(file, limitBytes, error), content);
        EXPECT_FALSE(error);
        EXPECT_TRUE(platform::openRegularFile(file, sizeBytes, error));
        EXPECT_EQ(sizeBytes, static_cast<std::uint64_t>(content.size()));
        EXPECT_FALSE(error);
    }
    expectFailure(read(write("file", QByteArray(qsizetype{limitBytes} + 1, 'x'))), errc::file_too_large);
}

TEST_F(FileSystem, ReadsAFileOfUnknownSizeUpToALimit) {
    const FileDescriptor status(::open("/proc/self/status", O_RDONLY | O_CLOEXEC));
    EXPECT_EQ(platform::readAtMost(status.get(), 5, error), QByteArray("Name:"));
    const auto rest = platform::readAtMost(status.get(), 1 << 20, error);
    EXPECT_TRUE(rest && rest->startsWith("\t") && rest->endsWith('\n') && rest->size() < (1 << 20));
    expectFailure(platform::readAtMost(-1, 5, error).has_value(), errc::bad_file_descriptor);
    expectFailure(platform::writeAll(-1, "x", error), errc::bad_file_descriptor);
}

TEST_F(FileSystem, TakesNothingButARegularFileForOne) {
    expectRefused(source, errc::no_such_file_or_directory);
    expectRefused(folder.path(), errc::is_a_directory);
    for (const fs::path &path : {makePipe(), fs::path("/dev/zero")})
        expectRefused(path, errc::invalid_argument);

    // A link that is read is judged by what it leads to.
    const fs::path file = write("file", "x");
    const auto link = [&](const char *target) {
        fs::remove(folder.path() / "link");
        fs::create_symlink(target, folder.path() / "link");
        return folder.path() / "link";
    };
    EXPECT_TRUE(read(link("file")));
    expectFailure(read(link("/dev/zero")), errc::invalid_argument);
    expectRefused(link("link"), errc::too_many_symbolic_link_levels);

    struct rlimit before {};
    ::getrlimit(RLIMIT_NOFILE, &before);
    const struct rlimit none = {0, before.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &none);
    expectRefused(file, errc::too_many_files_open);
    ::setrlimit(RLIMIT_NOFILE, &before);
}

// Opening a pipe wakes the program that waits to write to it, and closing it again would kill that program.
TEST_F(FileSystem, LeavesAWriterThatWaitsInAPipeWhereItIs) {
    const auto pipe = makePipe();
    std::atomic<bool> isWoken = false;
    std::thread writer([&] {
        const FileDescriptor end(::open(pipe.c_str(), O_WRONLY | O_CLOEXEC));
        isWoken = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    expectRefused(pipe, errc::invalid_argument);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(isWoken);
    const FileDescriptor reader(::open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    writer.join();
}

TEST_F(FileSystem, GivesTheAttributesOfTheEntryItself) {
    fs::create_symlink(folder.path(), folder.path() / "link");
    const auto kindOf = [&](const fs::path &path) { return platform::fileAttributes(path, error)->kind; };
    EXPECT_EQ(kindOf(write("file", "12345")), FileKind::regular);
    EXPECT_EQ(kindOf(folder.path()), FileKind::folder);
    EXPECT_EQ(kindOf(folder.path() / "link"), FileKind::link);
    EXPECT_EQ(kindOf(makePipe()), FileKind::special);
    EXPECT_EQ(platform::fileAttributes("/proc/self/stat", error)->creationDate, std::nullopt);
    expectFailure(platform::fileAttributes(source, error).has_value(), errc::no_such_file_or_directory);

    using namespace std::chrono;
    fs::last_write_time(folder.path() / "file", fs::file_time_type::clock::now() - hours(1000));
    const auto attributes = platform::fileAttributes(folder.path() / "file", error);
    ASSERT_TRUE(attributes && attributes->creationDate);
    EXPECT_EQ(attributes->sizeBytes, 5U);
    EXPECT_LT(abs(*attributes->creationDate - system_clock::now()), minutes(1));
}

// --- Writing ---

TEST_F(FileSystem, WritesANewFileForTheUserAloneOrReplacesOneAndNotItsOtherNames) {
    const mode_t mask = ::umask(0);
    EXPECT_TRUE(replace(other / "\xff", {}, Replacement::keepOwnerAndMode));
    ::umask(mask);
    EXPECT_FALSE(error);
    EXPECT_EQ(modeOf(other / "\xff"), 0600U);
    for (const auto &[how, mode] :
         {std::pair(Replacement::privateFile, 0600U), {Replacement::keepOwnerAndMode, 0644U}}) {
        fs::permissions(write("destination", "old"), fs::perms(0644));
        fs::create_hard_link(destination, other / "name");
        EXPECT_TRUE(replace(destination, "new", how));
        EXPECT_EQ(test_support::readFile(destination), "new");
        EXPECT_EQ(modeOf(destination), mode);
        EXPECT_EQ(test_support::readFile(other / "name"), "old");
        fs::remove(other / "name");
    }
    EXPECT_THAT(namesIn(folder.path()), ElementsAre("destination", "other"));
}

TEST_F(FileSystem, LeavesEverythingAsItWasWhenItCannotWrite) {
    expectFailure(replace(other / "missing/file", "x"), errc::no_such_file_or_directory);
    fs::create_directory(other / "folder");
    expectFailure(replace(other / "folder", "x"), errc::is_a_directory);
    EXPECT_THAT(namesIn(other), ElementsAre("folder"));

    const Mount disk = Mount::memory(other, 64 << 10);
    const QByteArray old(40 << 10, 'o');
    test_support::writeFile(other / "file", old);
    const QByteArray large(128 << 10, 'x');
    expectFailure(replace(other / "file", large), errc::no_space_on_device);
    // On one file system the kernel copies.
    for (const fs::path &path : {write("source", large), other / "file"})
        expectFailure(copy(path, other / "copy"), errc::no_space_on_device);
    {
        const Mount readOnly = Mount::readOnly(other);
        expectFailure(replace(other / "file", "new"), errc::read_only_file_system);
    }
    EXPECT_EQ(test_support::readFile(other / "file"), old);
    EXPECT_THAT(namesIn(other), ElementsAre("file"));
}

// Where a new file cannot have the owner of the old one, the old one stays.
void keepsTheOwnerOfAFileOrLeavesIt() {
    const test_support::ScratchFolder folder;
    const auto file = folder.path() / "file";
    test_support::writeFile(file, "old");
    fs::permissions(folder.path(), fs::perms::all);
    std::error_code error;
    ASSERT_EQ(::seteuid(65534), 0);
    EXPECT_FALSE(platform::writeFileAtomically(file, "new", Replacement::keepOwnerAndMode, error));
    ASSERT_EQ(::seteuid(0), 0);
    EXPECT_EQ(error, errc::operation_not_permitted);
    EXPECT_EQ(test_support::readFile(file), "old");
    EXPECT_THAT(namesIn(folder.path()), ElementsAre("file"));

    ASSERT_EQ(::chown(file.c_str(), 65534, 12345), 0);
    ASSERT_EQ(::chmod(file.c_str(), 0640), 0);
    EXPECT_TRUE(platform::writeFileAtomically(file, "new", Replacement::keepOwnerAndMode, error));
    EXPECT_EQ(statusOf(file).st_uid, 65534U);
    EXPECT_EQ(statusOf(file).st_gid, 12345U);
    EXPECT_EQ(modeOf(file), 0640U);
}
const bool ownersTested = test_support::registerTestIf(
    ::geteuid() == 0, "FileSystemAsRoot", "KeepsTheOwnerOfAFileOrLeavesIt", keepsTheOwnerOfAFileOrLeavesIt);

// --- Copying ---

TEST_F(FileSystem, CopiesContentAndModificationTimeForTheUserAloneAlsoAcrossFileSystems) {
    const Mount disk = Mount::memory(other, 4 << 20);
    QByteArray content;
    for (int i = 0; i < 300000; ++i)
        content.append(static_cast<char>(i * 7 + i / 256));
    const auto old = fs::file_time_type::clock::now() - std::chrono::hours(1000);
    const mode_t mask = ::umask(0);
    for (const QByteArray &bytes : {QByteArray(), content}) {
        fs::permissions(write("source", bytes), fs::perms(04755));
        fs::last_write_time(source, old);
        const fs::path copies[] = {destination, other / "\xff", folder.path() / "back"};
        EXPECT_TRUE(copy(source, copies[0]) && copy(source, copies[1]) && copy(copies[1], copies[2]));
        EXPECT_FALSE(error);
        expectFailure(copy(source, copies[0]), errc::file_exists);
        for (const fs::path &path : copies) {
            EXPECT_EQ(test_support::readFile(path), bytes);
            EXPECT_EQ(modeOf(path), 0600U);
            EXPECT_EQ(fs::last_write_time(path), old);
            fs::remove(path);
        }
    }
    ::umask(mask);
}

// A file that grows or shrinks after it was opened has such a size.
TEST_F(FileSystem, CopiesNoMoreThanTheSizeAndNoMoreThanThereIs) {
    EXPECT_TRUE(copy("/proc/self/status", destination));
    EXPECT_EQ(fs::file_size(destination), 0U);
    fs::remove(destination);
    const fs::path shorter = "/sys/devices/system/cpu/possible";
    const QByteArray content = test_support::readFile(shorter);
    ASSERT_GT(fs::file_size(shorter), static_cast<std::uintmax_t>(content.size()));
    EXPECT_TRUE(copy(shorter, destination));
    EXPECT_EQ(test_support::readFile(destination), content);
}

TEST_F(FileSystem, KeepsHolesInCopiesAlsoAtTheEndAndOfAFileWithoutAnyData) {
    const Mount disk = Mount::memory(other, 1 << 20);
    constexpr std::uintmax_t sizeBytes = 2 << 20;
    for (const QByteArray &data : {QByteArray("data"), QByteArray()}) {
        fs::resize_file(write("source", data), sizeBytes);
        if (!data.isEmpty()) {
            const FileDescriptor file(::open(source.c_str(), O_WRONLY | O_CLOEXEC));
            EXPECT_EQ(::pwrite(file.get(), "middle", 6, sizeBytes / 2), 6);
        }
        for (const fs::path &path : {destination, other / "copy"}) {
            EXPECT_TRUE(copy(source, path)) << error.message();
            EXPECT_LT(statusOf(path).st_blocks * 512, 64 << 10);
            EXPECT_TRUE(test_support::readFile(path) == test_support::readFile(source));
            fs::remove(path);
        }
    }
}

TEST_F(FileSystem, FollowsOnlyLinksAndOnlyToWhatIsThere) {
    const fs::path file = fs::canonical(write("file", "x"));
    EXPECT_EQ(platform::behindLink(file, error), file);
    fs::create_symlink("file", source);
    fs::create_symlink("source", destination);
    EXPECT_EQ(platform::behindLink(destination, error), file);
    EXPECT_FALSE(error);
    fs::remove(file);
    platform::behindLink(destination, error);
    EXPECT_EQ(error, errc::no_such_file_or_directory);
}

void doesNotFollowALinkOfAnotherUser() {
    const test_support::ScratchFolder folder;
    const auto link = folder.path() / "link";
    fs::create_symlink("/etc/passwd", link);
    ASSERT_EQ(::lchown(link.c_str(), 65534, 65534), 0);
    std::error_code error;
    EXPECT_EQ(platform::behindLink(link, error), link);
}
const bool linksTested = test_support::registerTestIf(
    ::geteuid() == 0, "FileSystemAsRoot", "DoesNotFollowALinkOfAnotherUser", doesNotFollowALinkOfAnotherUser);

} // namespace
