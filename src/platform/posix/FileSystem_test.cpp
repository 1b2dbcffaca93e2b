#include "platform/posix/FileSystem.h"

#include "test_support/ConditionalTest.h"
#include "test_support/Isolation.h"
#include "test_support/Mounts.h"
#include "test_support/ScratchHome.h"

#include <atomic>
#include <fcntl.h>
#include <fstream>
#include <gmock/gmock.h>
#include <linux/capability.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

using platform::FileKind;
using platform::Replacement;
using test_support::Mount;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::size_t limitBytes = 1000;

struct stat statusOf(const fs::path &path) {
    struct stat status {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
    return status;
}

unsigned modeOf(const fs::path &path) {
    return statusOf(path).st_mode & 07777U;
}

std::vector<std::string> namesIn(const fs::path &folder) {
    std::vector<std::string> names;
    for (const auto &entry : fs::directory_iterator(folder))
        names.push_back(entry.path().filename().native());
    std::sort(names.begin(), names.end());
    return names;
}

void makeSocket(const fs::path &path) {
    const platform::FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    struct sockaddr_un address {};
    address.sun_family = AF_UNIX;
    ASSERT_LT(path.native().size(), sizeof address.sun_path);
    path.native().copy(address.sun_path, path.native().size());
    ASSERT_EQ(::bind(socket.get(), reinterpret_cast<struct sockaddr *>(&address), sizeof address), 0);
}

// Takes away root's right to read and write whatever it likes, for the time of a scope.
class WithoutFileRights {
public:
    WithoutFileRights() {
        ::syscall(SYS_capget, &m_header, m_before);
        __user_cap_data_struct fewer[2] = {m_before[0], m_before[1]};
        fewer[0].effective &= ~(1U << CAP_DAC_OVERRIDE | 1U << CAP_DAC_READ_SEARCH);
        ::syscall(SYS_capset, &m_header, fewer);
    }
    ~WithoutFileRights() { ::syscall(SYS_capset, &m_header, m_before); }
    WithoutFileRights(const WithoutFileRights &) = delete;
    WithoutFileRights &operator=(const WithoutFileRights &) = delete;

private:
    __user_cap_header_struct m_header = {_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct m_before[2] = {};
};

class FileSystem : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(test_support::hasOwnNamespaces()); }

    fs::path write(const char *name, const QByteArray &content) {
        test_support::writeFile(folder.path() / name, content);
        return folder.path() / name;
    }
    std::error_code readingError(const fs::path &path) {
        EXPECT_FALSE(platform::readFile(path, limitBytes, error)) << path;
        return error;
    }
    std::error_code copyingError(const fs::path &path) {
        const auto copy = folder.path() / "copy";
        EXPECT_FALSE(platform::copyRegularFile(path, copy, error)) << path;
        EXPECT_FALSE(fs::exists(fs::symlink_status(copy))) << path;
        return error;
    }
    bool copy() { return platform::copyRegularFile(source, destination, error); }

    test_support::ScratchFolder folder;
    fs::path source = folder.path() / "source";
    fs::path destination = folder.path() / "destination";
    std::error_code error = std::make_error_code(std::errc::interrupted);
};

TEST_F(FileSystem, ReadsAFileOfExactlyTheLimitAndNoneOfOneByteMore) {
    const QByteArray content(qsizetype{limitBytes}, 'x');
    EXPECT_EQ(platform::readFile(write("file", content), limitBytes, error), content);
    EXPECT_FALSE(error);
    EXPECT_EQ(readingError(write("file", content + 'x')), std::errc::file_too_large);
}

TEST_F(FileSystem, ReadsAnEmptyFileAsNoBytes) {
    EXPECT_EQ(platform::readFile(write("file", {}), limitBytes, error), QByteArray());
    EXPECT_FALSE(error);
}

TEST_F(FileSystem, ReadsBytesAsTheyAreFromAFileWhoseNameIsNotUtf8) {
    const QByteArray content("\0\xff\r\n", 4);
    EXPECT_EQ(platform::readFile(write("\xff", content), limitBytes, error), content);
}

TEST_F(FileSystem, RefusesToReadOrCopyWhatIsMissing) {
    EXPECT_EQ(readingError(source), std::errc::no_such_file_or_directory);
    EXPECT_EQ(copyingError(source), std::errc::no_such_file_or_directory);
}

TEST_F(FileSystem, RefusesToReadOrCopyAFolder) {
    EXPECT_EQ(readingError(folder.path()), std::errc::is_a_directory);
    EXPECT_EQ(copyingError(folder.path()), std::errc::is_a_directory);
}

TEST_F(FileSystem, RefusesToReadOrCopyAPipeASocketADevice) {
    const auto pipe = folder.path() / "pipe";
    const auto socket = folder.path() / "socket";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    makeSocket(socket);
    for (const fs::path &path : {pipe, socket, fs::path("/dev/zero"), fs::path("/dev/tty")}) {
        EXPECT_EQ(readingError(path), std::errc::invalid_argument) << path;
        EXPECT_EQ(copyingError(path), std::errc::invalid_argument) << path;
    }
}

TEST_F(FileSystem, JudgesALinkThatItReadsByWhatItLeadsTo) {
    fs::create_symlink("/dev/zero", folder.path() / "to device");
    fs::create_symlink("to itself", folder.path() / "to itself");
    fs::create_symlink(write("file", "content"), folder.path() / "to file");
    EXPECT_EQ(readingError(folder.path() / "to device"), std::errc::invalid_argument);
    EXPECT_EQ(readingError(folder.path() / "to itself"), std::errc::too_many_symbolic_link_levels);
    EXPECT_EQ(platform::readFile(folder.path() / "to file", limitBytes, error), QByteArray("content"));
}

// A program that waits in a pipe for its reader must not take us for it: it would be killed by what follows.
TEST_F(FileSystem, LeavesAWriterThatWaitsInAPipeWhereItIs) {
    const auto pipe = folder.path() / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    std::atomic<bool> isLetGo = false;
    std::thread writer([&] {
        const platform::FileDescriptor end(::open(pipe.c_str(), O_WRONLY | O_CLOEXEC));
        isLetGo = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    readingError(pipe);
    copyingError(pipe);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(isLetGo);
    const platform::FileDescriptor reader(::open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    writer.join();
}

TEST_F(FileSystem, RefusesToReadOrCopyAFileWithoutTheRight) {
    write("source", "secret");
    fs::permissions(source, fs::perms::none);
    const WithoutFileRights rights;
    EXPECT_EQ(readingError(source), std::errc::permission_denied);
    EXPECT_EQ(copyingError(source), std::errc::permission_denied);
}

TEST_F(FileSystem, OpensARegularFileWithItsSizeAndNothingElse) {
    std::uint64_t sizeBytes = 0;
    EXPECT_TRUE(platform::openRegularFile(write("file", "12345"), sizeBytes, error));
    EXPECT_EQ(sizeBytes, 5U);
    EXPECT_FALSE(error);
    EXPECT_FALSE(platform::openRegularFile(folder.path(), sizeBytes, error));
    EXPECT_EQ(error, std::errc::is_a_directory);
}

TEST_F(FileSystem, TellsWhatEachEntryIsByItself) {
    const auto pipe = folder.path() / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    fs::create_symlink(folder.path(), folder.path() / "link");
    fs::create_symlink("nowhere", folder.path() / "dangling");
    const auto kind = [&](const fs::path &path) { return platform::fileAttributes(path, error)->kind; };
    EXPECT_EQ(kind(write("file", "")), FileKind::regular);
    EXPECT_EQ(kind(folder.path()), FileKind::folder);
    EXPECT_EQ(kind(folder.path() / "link"), FileKind::link);
    EXPECT_EQ(kind(folder.path() / "dangling"), FileKind::link);
    EXPECT_EQ(kind(pipe), FileKind::special);
    EXPECT_EQ(kind("/dev/zero"), FileKind::special);
    EXPECT_FALSE(error);
}

TEST_F(FileSystem, TellsSizeAndCreationDate) {
    using namespace std::chrono;
    const auto before = system_clock::now();
    const auto file = write("file", "12345");
    // Neither a later change nor a modification date of long ago moves it.
    fs::last_write_time(file, fs::file_time_type::clock::now() - hours(1000));
    const auto attributes = platform::fileAttributes(file, error);
    ASSERT_TRUE(attributes && attributes->creationDate);
    EXPECT_EQ(attributes->sizeBytes, 5U);
    EXPECT_GE(*attributes->creationDate, before - seconds(1));
    EXPECT_LE(*attributes->creationDate, system_clock::now() + seconds(1));
}

TEST_F(FileSystem, HasNoCreationDateWhereTheFileSystemKeepsNone) {
    const auto attributes = platform::fileAttributes("/proc/self/stat", error);
    ASSERT_TRUE(attributes);
    EXPECT_EQ(attributes->creationDate, std::nullopt);
}

TEST_F(FileSystem, HasNoAttributesOfWhatIsMissing) {
    EXPECT_FALSE(platform::fileAttributes(source, error));
    EXPECT_EQ(error, std::errc::no_such_file_or_directory);
}

class AtomicWrite : public FileSystem {
protected:
    bool replace(const fs::path &path, const QByteArray &content,
                 Replacement how = Replacement::privateFile) {
        return platform::writeFileAtomically(path, content, how, error);
    }
};

TEST_F(AtomicWrite, MakesAFileThatIsTheUsersAlone) {
    const mode_t mask = ::umask(0);
    EXPECT_TRUE(replace(destination, "content"));
    EXPECT_TRUE(replace(folder.path() / "kept", "content", Replacement::keepOwnerAndMode));
    ::umask(mask);
    EXPECT_FALSE(error);
    EXPECT_EQ(test_support::readFile(destination), "content");
    EXPECT_EQ(modeOf(destination), 0600U);
    EXPECT_EQ(modeOf(folder.path() / "kept"), 0600U);
    EXPECT_THAT(namesIn(folder.path()), ElementsAre("destination", "kept"));
}

TEST_F(AtomicWrite, ReplacesAFileWhollyByANewOne) {
    write("destination", QByteArray(100000, 'x'));
    fs::create_hard_link(destination, folder.path() / "other name");
    EXPECT_TRUE(replace(destination, "new"));
    EXPECT_EQ(test_support::readFile(destination), "new");
    EXPECT_EQ(test_support::readFile(folder.path() / "other name"), QByteArray(100000, 'x'));
    EXPECT_THAT(namesIn(folder.path()), ElementsAre("destination", "other name"));
}

TEST_F(AtomicWrite, ShowsAReaderTheOldContentOrTheNewAndNothingElse) {
    const QByteArray contents[] = {QByteArray(200000, 'a'), QByteArray(300000, 'b')};
    ASSERT_TRUE(replace(destination, contents[0]));
    std::atomic<bool> isDone = false;
    std::thread reader([&] {
        while (!isDone) {
            const QByteArray seen = test_support::readFile(destination);
            EXPECT_TRUE(seen == contents[0] || seen == contents[1]) << seen.size();
        }
    });
    for (int i = 1; i <= 100; ++i)
        EXPECT_TRUE(replace(destination, contents[i % 2]));
    isDone = true;
    reader.join();
}

TEST_F(AtomicWrite, WritesNoBytesAsAnEmptyFile) {
    write("destination", "old");
    EXPECT_TRUE(replace(destination, {}));
    EXPECT_EQ(fs::file_size(destination), 0U);
}

TEST_F(AtomicWrite, WritesUnderANameThatIsNotUtf8) {
    EXPECT_TRUE(replace(folder.path() / "\xff\xfe", "x"));
    EXPECT_THAT(namesIn(folder.path()), ElementsAre("\xff\xfe"));
}

TEST_F(AtomicWrite, MakesAPrivateFileOfOneThatWasNot) {
    fs::permissions(write("destination", "old"), fs::perms(0644));
    EXPECT_TRUE(replace(destination, "new"));
    EXPECT_EQ(modeOf(destination), 0600U);
}

TEST_F(AtomicWrite, KeepsTheModeOfAnExistingFileWhenAskedTo) {
    fs::permissions(write("destination", "old"), fs::perms(0644));
    EXPECT_TRUE(replace(destination, "new", Replacement::keepOwnerAndMode));
    EXPECT_EQ(modeOf(destination), 0644U);
    EXPECT_EQ(test_support::readFile(destination), "new");
}

TEST_F(AtomicWrite, OntoAFullDiskLeavesTheOldFileAndNothingBeside) {
    const Mount disk = Mount::memory(folder.path(), 64 << 10);
    write("destination", "old");
    EXPECT_FALSE(replace(destination, QByteArray(128 << 10, 'x')));
    EXPECT_EQ(error, std::errc::no_space_on_device);
    EXPECT_EQ(test_support::readFile(destination), "old");
    EXPECT_THAT(namesIn(folder.path()), ElementsAre("destination"));
}

TEST_F(AtomicWrite, OntoAFolderLeavesTheFolderAndNothingBeside) {
    fs::create_directory(destination);
    EXPECT_FALSE(replace(destination, "x"));
    EXPECT_EQ(error, std::errc::is_a_directory);
    EXPECT_THAT(namesIn(folder.path()), ElementsAre("destination"));
}

TEST_F(AtomicWrite, IntoAFolderThatIsMissingFails) {
    EXPECT_FALSE(replace(folder.path() / "missing/file", "x"));
    EXPECT_EQ(error, std::errc::no_such_file_or_directory);
    EXPECT_THAT(namesIn(folder.path()), IsEmpty());
}

TEST_F(AtomicWrite, IntoAReadOnlyFolderLeavesTheOldFile) {
    write("destination", "old");
    const Mount readOnly = Mount::readOnly(folder.path());
    EXPECT_FALSE(replace(destination, "new"));
    EXPECT_EQ(error, std::errc::read_only_file_system);
    EXPECT_EQ(test_support::readFile(destination), "old");
}

TEST_F(AtomicWrite, ReplacesAPipeWithoutWaitingAtIt) {
    ASSERT_EQ(::mkfifo(destination.c_str(), 0600), 0);
    EXPECT_TRUE(replace(destination, "x", Replacement::keepOwnerAndMode));
    EXPECT_EQ(test_support::readFile(destination), "x");
}

void keepsTheOwnerOfAnExistingFile() {
    const test_support::ScratchFolder folder;
    const auto file = folder.path() / "file";
    test_support::writeFile(file, "old");
    ASSERT_EQ(::chown(file.c_str(), 65534, 12345), 0);
    ASSERT_EQ(::chmod(file.c_str(), 0640), 0);
    std::error_code error;
    EXPECT_TRUE(platform::writeFileAtomically(file, "new", Replacement::keepOwnerAndMode, error));
    EXPECT_EQ(statusOf(file).st_uid, 65534U);
    EXPECT_EQ(statusOf(file).st_gid, 12345U);
    EXPECT_EQ(modeOf(file), 0640U);
}

// Better not written than taken away from its owner.
void leavesAFileWhoseOwnerItCannotKeep() {
    const test_support::ScratchFolder folder;
    const auto file = folder.path() / "file";
    test_support::writeFile(file, "old");
    fs::permissions(folder.path(), fs::perms::all);
    fs::permissions(file, fs::perms(0644));
    ASSERT_EQ(::seteuid(65534), 0);
    std::error_code error;
    EXPECT_FALSE(platform::writeFileAtomically(file, "new", Replacement::keepOwnerAndMode, error));
    ASSERT_EQ(::seteuid(0), 0);
    EXPECT_EQ(error, std::errc::operation_not_permitted);
    EXPECT_EQ(test_support::readFile(file), "old");
    EXPECT_THAT(namesIn(folder.path()), ElementsAre("file"));
}

const bool isRoot = ::geteuid() == 0;
const bool ownersTested =
    test_support::registerTestIf(isRoot, "AtomicWriteAsRoot", "KeepsTheOwnerOfAnExistingFileWhenAskedTo",
                                 keepsTheOwnerOfAnExistingFile) &&
    test_support::registerTestIf(isRoot, "AtomicWriteAsRoot", "LeavesAFileWhoseOwnerItCannotKeep",
                                 leavesAFileWhoseOwnerItCannotKeep);

class FileCopy : public FileSystem {};

TEST_F(FileCopy, HasTheContentOfTheSourceAndItsModificationTime) {
    QByteArray content;
    for (int i = 0; i < 300000; ++i)
        content.append(static_cast<char>(i * 7 + i / 256));
    write("source", content);
    const struct timespec times[2] = {{111, 222}, {1234567890, 123456789}};
    ASSERT_EQ(::utimensat(AT_FDCWD, source.c_str(), times, 0), 0);
    EXPECT_TRUE(copy());
    EXPECT_FALSE(error);
    EXPECT_EQ(test_support::readFile(destination), content);
    EXPECT_EQ(statusOf(destination).st_mtim.tv_sec, 1234567890);
    EXPECT_EQ(statusOf(destination).st_mtim.tv_nsec, 123456789);
}

TEST_F(FileCopy, IsTheUsersAlone) {
    fs::permissions(write("source", "x"), fs::perms(04755));
    const mode_t mask = ::umask(0);
    EXPECT_TRUE(copy());
    ::umask(mask);
    EXPECT_EQ(modeOf(destination), 0600U);
}

TEST_F(FileCopy, OfAnEmptyFileIsAnEmptyFile) {
    write("source", {});
    EXPECT_TRUE(copy());
    EXPECT_EQ(fs::file_size(destination), 0U);
}

TEST_F(FileCopy, MayHaveNamesThatAreNotUtf8) {
    EXPECT_TRUE(platform::copyRegularFile(write("\xff", "x"), folder.path() / "\xfe", error));
    EXPECT_THAT(namesIn(folder.path()), ElementsAre("\xfe", "\xff"));
}

TEST_F(FileCopy, GoesAcrossFileSystemsBothWays) {
    const auto other = folder.path() / "other";
    fs::create_directory(other);
    const Mount disk = Mount::memory(other, 4 << 20);
    const QByteArray content(1000000, 'x');
    EXPECT_TRUE(platform::copyRegularFile(write("source", content), other / "there", error));
    EXPECT_TRUE(platform::copyRegularFile(other / "there", destination, error));
    EXPECT_EQ(test_support::readFile(other / "there"), content);
    EXPECT_EQ(test_support::readFile(destination), content);
}

TEST_F(FileCopy, LeavesAFileThatStandsAtTheDestinationAsItIs) {
    write("source", "new");
    write("destination", "old");
    EXPECT_FALSE(copy());
    EXPECT_EQ(error, std::errc::file_exists);
    EXPECT_EQ(test_support::readFile(destination), "old");
}

TEST_F(FileCopy, OfAFileOntoItselfLeavesItAsItIs) {
    write("source", "content");
    EXPECT_FALSE(platform::copyRegularFile(source, source, error));
    EXPECT_EQ(error, std::errc::file_exists);
    EXPECT_EQ(test_support::readFile(source), "content");
}

TEST_F(FileCopy, IsNotWrittenThroughALinkAtTheDestination) {
    write("source", "new");
    for (const fs::path &target : {write("other", "old"), folder.path() / "missing"}) {
        fs::create_symlink(target, destination);
        EXPECT_FALSE(copy());
        EXPECT_EQ(error, std::errc::file_exists);
        fs::remove(destination);
    }
    EXPECT_EQ(test_support::readFile(folder.path() / "other"), "old");
    EXPECT_FALSE(fs::exists(folder.path() / "missing"));
}

TEST_F(FileCopy, ThatDoesNotFitOnTheDiskIsRemoved) {
    const auto other = folder.path() / "other";
    fs::create_directory(other);
    const Mount disk = Mount::memory(other, 64 << 10);
    write("source", QByteArray(128 << 10, 'x'));
    EXPECT_FALSE(platform::copyRegularFile(source, other / "copy", error));
    EXPECT_EQ(error, std::errc::no_space_on_device);
    EXPECT_THAT(namesIn(other), IsEmpty());
}

TEST_F(FileCopy, ThatDoesNotFitOnTheDiskOfItsSourceIsRemoved) {
    const Mount disk = Mount::memory(folder.path(), 64 << 10);
    write("source", QByteArray(40 << 10, 'x'));
    EXPECT_FALSE(copy());
    EXPECT_EQ(error, std::errc::no_space_on_device);
    EXPECT_THAT(namesIn(folder.path()), ElementsAre("source"));
}

// Whether a file grows or shrinks meanwhile, a copy ends and holds a beginning of it.
class FileInMotion : public FileCopy {
protected:
    void copyWhile(const std::function<void(int file)> &change) {
        write("source", QByteArray(8 << 20, 'x'));
        std::atomic<bool> isDone = false;
        std::thread changer([&] {
            const platform::FileDescriptor file(::open(source.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
            while (!isDone) {
                change(file.get());
                std::this_thread::sleep_for(std::chrono::microseconds(20));
            }
        });
        for (int i = 0; i < 10; ++i) {
            const auto sizeBefore = fs::file_size(source);
            EXPECT_TRUE(copy()) << error.message();
            const auto sizeAfter = fs::file_size(source);
            const QByteArray copied = test_support::readFile(destination);
            EXPECT_GE(fs::file_size(destination), std::min(sizeBefore, sizeAfter));
            EXPECT_LE(fs::file_size(destination), std::max(sizeBefore, sizeAfter));
            otherBytes += copied.size() - copied.count('x');
            fs::remove(destination);
        }
        isDone = true;
        changer.join();
    }

    qsizetype otherBytes = 0;
};

TEST_F(FileInMotion, IsCopiedWhileItGrows) {
    copyWhile([](int file) {
        static const std::string block(1 << 12, 'x');
        struct stat status {};
        // The test's own disk and time have an end.
        if (::fstat(file, &status) == 0 && status.st_size < 64 << 20)
            (void)!::write(file, block.data(), block.size());
    });
    EXPECT_EQ(otherBytes, 0);
}

TEST_F(FileInMotion, IsCopiedAsFarAsItGoesWhileItShrinks) {
    copyWhile([](int file) {
        struct stat status {};
        ::fstat(file, &status);
        (void)!::ftruncate(file, std::max<off_t>(status.st_size - 4096, 0));
    });
}

TEST_F(FileCopy, HoldsNoMoreThanTheSourceHadWhenItWasOpened) {
    // The size of such a file says nothing of its content: it is as a file that grows after it was opened.
    EXPECT_TRUE(platform::copyRegularFile("/proc/self/status", destination, error));
    EXPECT_EQ(fs::file_size(destination), 0U);
}

TEST_F(FileCopy, OfAFolderCanHaveItsModificationTimeToo) {
    fs::create_directory(source);
    fs::create_directory(destination);
    const struct timespec times[2] = {{0, 0}, {1234567890, 5}};
    ASSERT_EQ(::utimensat(AT_FDCWD, source.c_str(), times, 0), 0);
    platform::copyModificationTime(source, destination);
    EXPECT_EQ(statusOf(destination).st_mtim.tv_sec, 1234567890);
    EXPECT_EQ(statusOf(destination).st_mtim.tv_nsec, 5);
}

TEST_F(FileCopy, OfAModificationTimeDoesNotGoThroughLinks) {
    write("source", "x");
    write("target", "x");
    const auto before = statusOf(folder.path() / "target").st_mtim;
    fs::create_symlink("target", destination);
    fs::last_write_time(source, fs::file_time_type::clock::now() - std::chrono::hours(1000));
    platform::copyModificationTime(source, destination);
    EXPECT_EQ(statusOf(destination).st_mtim.tv_sec, statusOf(source).st_mtim.tv_sec);
    EXPECT_EQ(statusOf(folder.path() / "target").st_mtim.tv_sec, before.tv_sec);
}

} // namespace
