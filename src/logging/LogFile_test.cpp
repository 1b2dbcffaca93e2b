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

class LogFileTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(test_support::hasOwnNamespaces());
        fs::create_directories(folder);
        fs::create_directories(other);
        log.setPath(file);
    }

    // Writes a line, after which the file at `path` holds this.
    void expectAppended(const QByteArray &line, const fs::path &path, const QByteArray &content) {
        EXPECT_FALSE(log.append(line));
        EXPECT_EQ(readFile(path), content);
    }
    static FileDescriptor makePipe(const fs::path &path, bool isRead = true) {
        EXPECT_EQ(::mkfifo(path.c_str(), 0600), 0);
        return FileDescriptor(isRead ? ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC) : -1);
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
    expectAppended("one\n", file, "one\n");
    ::umask(mask);
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0600));
    LogFile second;
    EXPECT_FALSE(second.append("without a path\n"));
    EXPECT_EQ(second.path(), std::nullopt);
    second.setPath(file);
    EXPECT_FALSE(second.append("two\n"));
    expectAppended("three\n", file, "one\ntwo\nthree\n");
}

TEST_F(LogFileTest, FollowsAFileThatWasMovedAndReplacesOneThatWasRemoved) {
    const fs::path away = scratch.path() / "away";
    log.append("one\n");
    fs::rename(folder, away);
    expectAppended("two\n", away / "log", "one\ntwo\n");
    fs::rename(away, folder);
    fs::remove(file);
    expectAppended("three\n", file, "three\n");
    expectAppended("four\n", file, "three\nfour\n");
}

TEST_F(LogFileTest, ReportsWhyALineIsLostAndGoesOn) {
    fs::remove(folder);
    EXPECT_EQ(log.append("lost\n"), errc::no_such_file_or_directory);
    fs::create_directories(file);
    EXPECT_EQ(log.append("lost\n"), errc::is_a_directory);
    fs::remove(file);
    expectAppended("one\n", file, "one\n");
}

TEST_F(LogFileTest, ReplacesALinkAndAPipeInsteadOfWritingToThem) {
    writeFile(elsewhere, "other's\n");
    fs::create_symlink(elsewhere, file);
    expectAppended("one\n", file, "one\n");
    EXPECT_EQ(readFile(elsewhere), "other's\n");
    for (const bool isRead : {false, true}) {
        fs::remove(file);
        const FileDescriptor reader = makePipe(file, isRead);
        EXPECT_FALSE(log.append("one\n"));
        ASSERT_TRUE(fs::is_regular_file(file));
        EXPECT_EQ(readFile(file), "one\n");
    }
}

TEST_F(LogFileTest, BeginsANewLineAfterOneThatAFullDiskCutOff) {
    const Mount disk = Mount::memory(folder, 16 << 10);
    log.append("one\n");
    writeFile(folder / "fill", QByteArray(8 << 10, 'x'));
    EXPECT_EQ(log.append(QByteArray(20 << 10, 'y') + '\n'), errc::no_space_on_device);
    EXPECT_EQ(log.append("lost\n"), errc::no_space_on_device);
    fs::remove(folder / "fill");
    log.append("two\n");
    log.append("three\n");
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
        EXPECT_EQ(fs::exists(file), path == file);
        expectAppended("two\n", path, content);
    }
};

TEST_F(LogMove, TakesTheLinesAlongAlsoToAnotherFileSystem) {
    EXPECT_FALSE(log.moveTo(folder / "new"));
    EXPECT_EQ(fs::status(folder / "new").permissions(), fs::perms(0600));
    const Mount disk = Mount::memory(other, 1 << 20);
    EXPECT_FALSE(log.moveTo(elsewhere));
    EXPECT_TRUE(fs::is_empty(folder));
    expectContinuesAt(elsewhere, "one\ntwo\n");
}

TEST_F(LogMove, PutsTheLinesAfterThoseOfAnEarlierLogAndALineFeed) {
    writeFile(elsewhere, "earlier\n");
    EXPECT_FALSE(log.moveTo(elsewhere));
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

TEST_F(LogMove, LosesNothingWhenTheOldPlaceCannotBeClearedOrIsTheNewOne) {
    const fs::path link = scratch.path() / "link";
    fs::create_directory_symlink(folder, link);
    EXPECT_FALSE(log.moveTo(link / "log"));
    EXPECT_EQ(log.path(), link / "log");
    const Mount readOnly = Mount::readOnly(folder);
    EXPECT_EQ(log.moveTo(elsewhere), errc::read_only_file_system);
    EXPECT_EQ(log.path(), elsewhere);
    EXPECT_EQ(readFile(file), "one\n");
    expectAppended("two\n", elsewhere, "one\ntwo\n");
}

TEST_F(LogMove, ThatFailsLeavesTheLogWhereItIs) {
    EXPECT_EQ(log.moveTo(other / "missing/log"), errc::no_such_file_or_directory);
    EXPECT_EQ(log.moveTo(other), errc::is_a_directory);
    writeFile(other / "file", "other's\n");
    fs::create_symlink(other / "file", elsewhere);
    EXPECT_EQ(log.moveTo(elsewhere), errc::too_many_symbolic_link_levels);
    const FileDescriptor reader = makePipe(other / "pipe");
    EXPECT_EQ(log.moveTo(other / "pipe"), errc::invalid_argument);
    fs::resize_file(file, std::uintmax_t{1} << 40);
    EXPECT_EQ(log.moveTo(other / "file"), errc::file_too_large);
    EXPECT_EQ(readFile(other / "file"), "other's\n");
    fs::resize_file(file, 4);

    const Mount disk = Mount::memory(other, 16 << 10);
    writeFile(other / "earlier", QByteArray(4 << 10, 'e'));
    writeFile(other / "fill", QByteArray(12 << 10, 'x'));
    EXPECT_EQ(log.moveTo(other / "earlier"), errc::no_space_on_device);
    EXPECT_EQ(log.moveTo(elsewhere), errc::no_space_on_device);
    EXPECT_FALSE(fs::exists(elsewhere));
    expectContinuesAt(file, "one\ntwo\n");
}

} // namespace
