#include "platform/posix/FileSystem.h"

#include "test_support/Isolation.h"
#include "test_support/ScratchHome.h"

#include <atomic>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <set>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
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

using Time = std::pair<time_t, long>;
constexpr Time someTime = {1234567890, 123456789};

void setModificationTime(const fs::path &path) {
    const struct timespec times[2] = {{111, 222}, {someTime.first, someTime.second}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
}

Time modificationTime(const fs::path &path) {
    const struct timespec time = statusOf(path).st_mtim;
    return {time.tv_sec, time.tv_nsec};
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
    bool copy(const fs::path &from, const fs::path &to) { return platform::copyRegularFile(from, to, error); }
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

TEST_F(FileSystem, ReadsAFileOfUnknownSizeUpToALimitAndWritesToTheEnd) {
    const FileDescriptor status(::open("/proc/self/status", O_RDONLY | O_CLOEXEC));
    EXPECT_EQ(platform::readAtMost(status.get(), 5, error), QByteArray("Name:"));
    const auto rest = platform::readAtMost(status.get(), 1 << 20, error);
    EXPECT_TRUE(rest && rest->startsWith("\t") && rest->endsWith('\n') && rest->size() < (1 << 20));
    expectFailure(platform::readAtMost(-1, 5, error).has_value(), errc::bad_file_descriptor);
    expectFailure(platform::writeAll(-1, "x", error), errc::bad_file_descriptor);

    // A pipe takes far less at a time.
    const QByteArray content(1 << 20, 'x');
    platform::Pipe pipe = platform::Pipe::open();
    std::thread writer([&] {
        EXPECT_TRUE(platform::writeAll(pipe.writeEnd.get(), content, error));
        pipe.writeEnd = FileDescriptor();
    });
    ::fcntl(pipe.readEnd.get(), F_SETFL, 0);
    std::error_code readError;
    EXPECT_EQ(platform::readAtMost(pipe.readEnd.get(), 2 << 20, readError), content);
    writer.join();
}

TEST_F(FileSystem, TakesNothingButARegularFileForOne) {
    const auto socket = folder.path() / "socket";
    const FileDescriptor open(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    struct sockaddr_un address {
        .sun_family = AF_UNIX, .sun_path = {}
    };
    socket.native().copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(::bind(open.get(), reinterpret_cast<struct sockaddr *>(&address), sizeof address), 0);

    expectRefused(source, errc::no_such_file_or_directory);
    expectRefused(folder.path(), errc::is_a_directory);
    for (const fs::path &path : {makePipe(), socket, fs::path("/dev/zero"), fs::path("/dev/tty")})
        expectRefused(path, errc::invalid_argument);

    const fs::path file = write("file", "x");
    struct rlimit before {};
    ::getrlimit(RLIMIT_NOFILE, &before);
    const struct rlimit none = {0, before.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &none);
    expectRefused(file, errc::too_many_files_open);
    ::setrlimit(RLIMIT_NOFILE, &before);
}

TEST_F(FileSystem, JudgesALinkThatItReadsByWhatItLeadsTo) {
    fs::create_symlink("/dev/zero", folder.path() / "to device");
    fs::create_symlink("to itself", folder.path() / "to itself");
    fs::create_symlink(write("file", "content"), folder.path() / "to file");
    expectFailure(read(folder.path() / "to device"), errc::invalid_argument);
    expectFailure(read(folder.path() / "to itself"), errc::too_many_symbolic_link_levels);
    EXPECT_EQ(platform::readFile(folder.path() / "to file", limitBytes, error), QByteArray("content"));
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
    fs::create_symlink("nowhere", folder.path() / "dangling");
    const std::pair<fs::path, FileKind> kinds[] = {
        {write("file", "12345"), FileKind::regular},  {folder.path(), FileKind::folder},
        {folder.path() / "link", FileKind::link},     {makePipe(), FileKind::special},
        {folder.path() / "dangling", FileKind::link}, {"/dev/zero", FileKind::special}};
    for (const auto &[path, kind] : kinds) {
        EXPECT_EQ(platform::fileAttributes(path, error)->kind, kind) << path;
        EXPECT_FALSE(error);
    }
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

TEST_F(FileSystem, WritesANewFileForTheUserAlone) {
    const mode_t mask = ::umask(0);
    EXPECT_TRUE(replace(other / "\xff", "content"));
    EXPECT_TRUE(replace(other / "empty", {}, Replacement::keepOwnerAndMode));
    ::umask(mask);
    EXPECT_FALSE(error);
    EXPECT_EQ(test_support::readFile(other / "\xff"), "content");
    EXPECT_EQ(fs::file_size(other / "empty"), 0U);
    for (const std::string &name : namesIn(other))
        EXPECT_EQ(modeOf(other / name), 0600U);
    EXPECT_THAT(namesIn(other), ElementsAre("empty", "\xff"));
}

TEST_F(FileSystem, ReplacesAFileAndNotItsOtherNamesAndKeepsItsModeWhenAskedTo) {
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
    EXPECT_TRUE(replace(makePipe(), "x", Replacement::keepOwnerAndMode));
    EXPECT_EQ(test_support::readFile(folder.path() / "pipe"), "x");
    EXPECT_THAT(namesIn(folder.path()), ElementsAre("destination", "other", "pipe"));
}

TEST_F(FileSystem, LeavesEverythingAsItWasWhenItCannotWrite) {
    expectFailure(replace(other / "missing/file", "x"), errc::no_such_file_or_directory);
    fs::create_directory(other / "folder");
    expectFailure(replace(other / "folder", "x"), errc::is_a_directory);
    EXPECT_THAT(namesIn(other), ElementsAre("folder"));

    const Mount disk = Mount::memory(other, 64 << 10);
    test_support::writeFile(other / "file", "old");
    expectFailure(replace(other / "file", QByteArray(128 << 10, 'x')), errc::no_space_on_device);
    {
        const Mount readOnly = Mount::readOnly(other);
        expectFailure(replace(other / "file", "new"), errc::read_only_file_system);
    }
    EXPECT_EQ(test_support::readFile(other / "file"), "old");
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
    const mode_t mask = ::umask(0);
    for (const QByteArray &bytes : {QByteArray(), content}) {
        fs::permissions(write("source", bytes), fs::perms(04755));
        setModificationTime(source);
        const fs::path copies[] = {destination, other / "\xff", folder.path() / "back"};
        EXPECT_TRUE(copy(source, copies[0]) && copy(source, copies[1]) && copy(copies[1], copies[2]));
        EXPECT_FALSE(error);
        for (const fs::path &path : copies) {
            EXPECT_EQ(test_support::readFile(path), bytes);
            EXPECT_EQ(modeOf(path), 0600U);
            EXPECT_EQ(modificationTime(path), someTime);
            fs::remove(path);
        }
    }
    ::umask(mask);
}

TEST_F(FileSystem, CopiesOntoNothingThatIsThere) {
    write("source", "new");
    fs::create_symlink(write("file", "old"), folder.path() / "link");
    fs::create_symlink(folder.path() / "missing", folder.path() / "dangling");
    for (const char *name : {"file", "source", "link", "dangling", "other"})
        expectFailure(copy(source, folder.path() / name), errc::file_exists);
    EXPECT_EQ(test_support::readFile(source), "new");
    EXPECT_EQ(test_support::readFile(folder.path() / "file"), "old");
    EXPECT_FALSE(fs::exists(folder.path() / "missing"));
}

TEST_F(FileSystem, RemovesACopyThatDoesNotFitOnTheDisk) {
    const Mount disk = Mount::memory(other, 64 << 10);
    expectFailure(copy(write("source", QByteArray(128 << 10, 'x')), other / "copy"),
                  errc::no_space_on_device);
    test_support::writeFile(other / "own", QByteArray(40 << 10, 'x'));
    expectFailure(copy(other / "own", other / "copy"), errc::no_space_on_device);
    EXPECT_THAT(namesIn(other), ElementsAre("own"));
}

// A size that says nothing about the content is what a file has that grows or shrinks after it was opened.
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

TEST_F(FileSystem, CopiesTheModificationTimeOfAFolderAndOfALinkItself) {
    fs::create_directory(source);
    fs::create_symlink("other", destination);
    setModificationTime(source);
    const Time before = modificationTime(other);
    platform::copyModificationTime(source, destination);
    EXPECT_EQ(modificationTime(destination), someTime);
    EXPECT_EQ(modificationTime(other), before);
    platform::copyModificationTime(source, other);
    EXPECT_EQ(modificationTime(other), someTime);
    platform::copyModificationTime(folder.path() / "missing", other);
    EXPECT_EQ(modificationTime(other), someTime);
}

// --- Removing ---

TEST_F(FileSystem, RemovesALinkAndNotItsTargetFromAFolderThatIsNoLink) {
    fs::create_symlink(write("file", "x"), other / "link");
    fs::create_directory(other / "folder");
    const FileDescriptor open = platform::openFolder(other, error);
    EXPECT_TRUE(platform::removeEntry(open, "link", error));
    EXPECT_TRUE(fs::exists(folder.path() / "file"));
    EXPECT_FALSE(platform::removeEntry(open, "link", error));
    EXPECT_FALSE(error);
    expectFailure(platform::removeEntry(open, "folder", error), errc::is_a_directory);
    EXPECT_THAT(namesIn(other), ElementsAre("folder"));
    fs::create_symlink(other, folder.path() / "link");
    EXPECT_FALSE(platform::openFolder(folder.path() / "link", error));
    EXPECT_TRUE(error);
}

} // namespace
