#include "logging/LogFile.h"

#include "test_support/Isolation.h"
#include "test_support/ScratchHome.h"

#include <QByteArrayList>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

using platform::FileDescriptor;
using std::errc;
using test_support::Mount;
using test_support::readFile;
using test_support::writeFile;

FileDescriptor readerOf(const fs::path &pipe) {
    return FileDescriptor(::open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
}

class LogFileTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(test_support::hasOwnNamespaces());
        fs::create_directories(folder);
        fs::create_directories(other);
        log.setPath(file);
    }

    test_support::ScratchFolder scratch;
    fs::path folder = scratch.path() / "logs";
    fs::path file = folder / "log";
    fs::path other = scratch.path() / "other";
    fs::path elsewhere = other / "log";
    LogFile log;
};

TEST_F(LogFileTest, IsCreatedByItsFirstLineForTheUserAloneAndAppendedTo) {
    const mode_t mask = ::umask(0);
    EXPECT_FALSE(log.append("one\n"));
    ::umask(mask);
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0600));
    EXPECT_FALSE(log.append("two\n"));
    LogFile second;
    EXPECT_FALSE(second.append("without a path\n"));
    EXPECT_EQ(second.path(), std::nullopt);
    second.setPath(file);
    EXPECT_FALSE(second.append("three\n"));
    EXPECT_EQ(readFile(file), "one\ntwo\nthree\n");
}

TEST_F(LogFileTest, FollowsAFileThatWasMovedAndReplacesOneThatWasRemoved) {
    log.append("one\n");
    fs::rename(folder, scratch.path() / "away");
    EXPECT_FALSE(log.append("two\n"));
    EXPECT_EQ(readFile(scratch.path() / "away/log"), "one\ntwo\n");
    fs::rename(scratch.path() / "away", folder);
    fs::remove(file);
    EXPECT_FALSE(log.append("three\n"));
    EXPECT_FALSE(log.append("four\n"));
    EXPECT_EQ(readFile(file), "three\nfour\n");
}

TEST_F(LogFileTest, ReportsWhyALineIsLostAndGoesOn) {
    fs::remove(folder);
    EXPECT_EQ(log.append("lost\n"), errc::no_such_file_or_directory);
    fs::create_directories(file);
    EXPECT_EQ(log.append("lost\n"), errc::is_a_directory);
    fs::remove(file);
    EXPECT_FALSE(log.append("one\n"));
    EXPECT_EQ(readFile(file), "one\n");
}

TEST_F(LogFileTest, ReplacesALinkAndAPipeInsteadOfWritingToThem) {
    writeFile(elsewhere, "other's\n");
    fs::create_symlink(elsewhere, file);
    EXPECT_FALSE(log.append("one\n"));
    EXPECT_EQ(readFile(elsewhere), "other's\n");
    for (const bool isRead : {false, true}) {
        fs::remove(file);
        ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
        const FileDescriptor reader = isRead ? readerOf(file) : FileDescriptor();
        EXPECT_FALSE(log.append("one\n"));
        ASSERT_TRUE(fs::is_regular_file(file));
        EXPECT_EQ(readFile(file), "one\n");
    }
}

TEST_F(LogFileTest, BeginsANewLineAfterOneThatAFullDiskCutOff) {
    const Mount disk = Mount::memory(folder, 16 << 10);
    log.append("one\n");
    const auto fill = folder / "fill";
    writeFile(fill, QByteArray(8 << 10, 'x'));
    EXPECT_EQ(log.append(QByteArray(20 << 10, 'y') + '\n'), errc::no_space_on_device);
    EXPECT_EQ(log.append("lost\n"), errc::no_space_on_device);
    fs::remove(fill);
    EXPECT_FALSE(log.append("two\n"));
    EXPECT_FALSE(log.append("three\n"));
    EXPECT_EQ(readFile(file).split('\n').mid(2), QByteArrayList({"two", "three", ""}));
}

class LogMove : public LogFileTest {
protected:
    void SetUp() override {
        LogFileTest::SetUp();
        log.append("one\n");
    }

    void expectContinuesAt(const fs::path &path, const QByteArray &content) {
        EXPECT_EQ(log.path(), path);
        EXPECT_FALSE(log.append("two\n"));
        EXPECT_EQ(readFile(path), content);
    }
};

TEST_F(LogMove, TakesTheLinesAlongAlsoToAnotherFileSystem) {
    EXPECT_FALSE(log.moveTo(folder / "new"));
    EXPECT_FALSE(fs::exists(file));
    EXPECT_EQ(fs::status(folder / "new").permissions(), fs::perms(0600));
    const Mount disk = Mount::memory(other, 1 << 20);
    EXPECT_FALSE(log.moveTo(elsewhere));
    EXPECT_FALSE(fs::exists(folder / "new"));
    expectContinuesAt(elsewhere, "one\ntwo\n");
}

TEST_F(LogMove, PutsTheLinesAfterThoseOfAnEarlierLogAndALineFeed) {
    writeFile(elsewhere, "earlier\n");
    EXPECT_FALSE(log.moveTo(elsewhere));
    EXPECT_FALSE(fs::exists(file));
    expectContinuesAt(elsewhere, "earlier\n\none\ntwo\n");
}

TEST_F(LogMove, WithoutAFileFailsButContinuesAtAnEarlierLog) {
    fs::remove(file);
    EXPECT_EQ(log.moveTo(elsewhere), errc::no_such_file_or_directory);
    EXPECT_FALSE(fs::exists(elsewhere));
    EXPECT_EQ(log.path(), file);
    writeFile(elsewhere, "earlier\n");
    EXPECT_EQ(log.moveTo(elsewhere), errc::no_such_file_or_directory);
    expectContinuesAt(elsewhere, "earlier\ntwo\n");
}

TEST_F(LogMove, LosesNothingWhenTheOldPlaceCannotBeCleared) {
    const Mount readOnly = Mount::readOnly(folder);
    EXPECT_EQ(log.moveTo(elsewhere), errc::read_only_file_system);
    EXPECT_EQ(readFile(file), "one\n");
    expectContinuesAt(elsewhere, "one\ntwo\n");
}

TEST_F(LogMove, ToItsOwnFileUnderAnotherPathLosesNothing) {
    fs::create_directory_symlink(folder, scratch.path() / "link");
    EXPECT_FALSE(log.moveTo(scratch.path() / "link/log"));
    expectContinuesAt(scratch.path() / "link/log", "one\ntwo\n");
}

TEST_F(LogMove, OfALogThatIsTooLargeFailsAndStays) {
    writeFile(elsewhere, "earlier\n");
    fs::resize_file(file, std::uintmax_t{1} << 40);
    EXPECT_EQ(log.moveTo(elsewhere), errc::file_too_large);
    EXPECT_EQ(log.path(), file);
    EXPECT_EQ(readFile(elsewhere), "earlier\n");
}

TEST_F(LogMove, ThatFailsLeavesTheLogWhereItIs) {
    EXPECT_EQ(log.moveTo(other / "missing/log"), errc::no_such_file_or_directory);
    EXPECT_EQ(log.moveTo(other), errc::is_a_directory);

    writeFile(other / "file", "other's\n");
    fs::create_symlink(other / "file", elsewhere);
    EXPECT_EQ(log.moveTo(elsewhere), errc::too_many_symbolic_link_levels);
    EXPECT_EQ(readFile(other / "file"), "other's\n");

    ASSERT_EQ(::mkfifo((other / "pipe").c_str(), 0600), 0);
    const FileDescriptor reader = readerOf(other / "pipe");
    EXPECT_EQ(log.moveTo(other / "pipe"), errc::invalid_argument);

    const Mount disk = Mount::memory(other, 16 << 10);
    writeFile(other / "earlier", QByteArray(4 << 10, 'e'));
    writeFile(other / "fill", QByteArray(12 << 10, 'x'));
    EXPECT_EQ(log.moveTo(other / "earlier"), errc::no_space_on_device);
    EXPECT_EQ(log.moveTo(elsewhere), errc::no_space_on_device);
    EXPECT_FALSE(fs::exists(elsewhere));
    expectContinuesAt(file, "one\ntwo\n");
}

} // namespace
