#include "logging/LogFile.h"

#include "test_support/ChildProcess.h"
#include "test_support/Isolation.h"
#include "test_support/Mounts.h"
#include "test_support/ScratchHome.h"

#include <QByteArrayList>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <thread>

namespace fs = std::filesystem;

namespace {

using test_support::Mount;
using test_support::readFile;
using test_support::writeFile;

class LogFileTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(test_support::hasOwnNamespaces());
        fs::create_directories(folder);
        log.setPath(file);
    }

    test_support::ScratchFolder scratch;
    fs::path folder = scratch.path() / "logs";
    fs::path file = folder / "log";
    fs::path elsewhere = scratch.path() / "elsewhere";
    LogFile log;
};

TEST_F(LogFileTest, WithoutAPathDoesNothing) {
    LogFile without;
    EXPECT_EQ(without.path(), std::nullopt);
    EXPECT_FALSE(without.append("line\n"));
}

TEST_F(LogFileTest, IsMadeByItsFirstLineForTheUserAlone) {
    EXPECT_FALSE(fs::exists(file));
    const mode_t mask = ::umask(0);
    EXPECT_FALSE(log.append("one\n"));
    ::umask(mask);
    EXPECT_EQ(readFile(file), "one\n");
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0600));
}

TEST_F(LogFileTest, GoesOnBehindWhatAFileHolds) {
    writeFile(file, "before\n");
    EXPECT_FALSE(log.append("one\n"));
    EXPECT_FALSE(log.append("two\n"));
    EXPECT_EQ(readFile(file), "before\none\ntwo\n");
}

TEST_F(LogFileTest, IsMadeAnewWhenRemovedBetweenLines) {
    log.append("one\n");
    fs::remove(file);
    EXPECT_FALSE(log.append("two\n"));
    EXPECT_FALSE(log.append("three\n"));
    EXPECT_EQ(readFile(file), "two\nthree\n");
}

TEST_F(LogFileTest, FollowsAFileThatWasMoved) {
    log.append("one\n");
    fs::rename(folder, scratch.path() / "away");
    EXPECT_FALSE(log.append("two\n"));
    EXPECT_EQ(readFile(scratch.path() / "away/log"), "one\ntwo\n");
}

TEST_F(LogFileTest, ReportsWhatKeepsALineOut) {
    fs::remove(folder);
    EXPECT_EQ(log.append("one\n"), std::errc::no_such_file_or_directory);
    fs::create_directories(file);
    EXPECT_EQ(log.append("one\n"), std::errc::is_a_directory);
    fs::remove(file);
    EXPECT_FALSE(log.append("two\n"));
    EXPECT_EQ(readFile(file), "two\n");
}

TEST_F(LogFileTest, IsNotWrittenThroughALink) {
    writeFile(elsewhere, "other's\n");
    fs::create_symlink(elsewhere, file);
    EXPECT_FALSE(log.append("one\n"));
    EXPECT_EQ(readFile(elsewhere), "other's\n");
    EXPECT_EQ(readFile(file), "one\n");
}

TEST_F(LogFileTest, IsNotWrittenIntoAPipeWhetherOrNotOneReads) {
    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
    EXPECT_FALSE(log.append("one\n"));
    EXPECT_EQ(readFile(file), "one\n");
    fs::remove(file);
    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
    const platform::FileDescriptor reader(::open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    EXPECT_FALSE(log.append("two\n"));
    EXPECT_EQ(fs::status(file).type(), fs::file_type::regular);
    EXPECT_EQ(readFile(file), "two\n");
}

TEST_F(LogFileTest, BeginsANewLineBehindOneThatAFullDiskCutOff) {
    const Mount disk = Mount::memory(folder, 16 << 10);
    log.append("one\n");
    const auto fill = folder / "fill";
    writeFile(fill, QByteArray(8 << 10, 'x'));
    EXPECT_EQ(log.append(QByteArray(20 << 10, 'y') + '\n'), std::errc::no_space_on_device);
    EXPECT_EQ(log.append("lost\n"), std::errc::no_space_on_device);
    fs::remove(fill);
    EXPECT_FALSE(log.append("two\n"));
    EXPECT_FALSE(log.append("three\n"));
    EXPECT_EQ(readFile(file).split('\n').mid(2), QByteArrayList({"two", "three", ""}));
}

// Lines that are as long as any path, so that a line in two writes would be seen.
QByteArray lineOf(int writer, int number) {
    return QByteArray::number(writer) + ' ' + QByteArray::number(number) + ' ' +
           QByteArray(200 + (writer * 37 + number * 101) % 4000, static_cast<char>('a' + writer)) + '\n';
}

constexpr int linesEach = 300;

void appendLines(LogFile &log, int writer) {
    for (int i = 0; i < linesEach; ++i)
        log.append(lineOf(writer, i));
}

TEST_F(LogFileTest, HasTheLinesOfConcurrentThreadsAndProcessesWhole) {
    const auto appendInProcess = [this](int writer) {
        return test_support::startInChild([this, writer] {
            LogFile own;
            own.setPath(file);
            appendLines(own, writer);
            return 0;
        });
    };
    const pid_t processes[] = {appendInProcess(0), appendInProcess(1)};
    std::vector<std::thread> threads;
    for (const int writer : {2, 3})
        threads.emplace_back([this, writer] { appendLines(log, writer); });
    for (std::thread &thread : threads)
        thread.join();
    for (const pid_t process : processes)
        EXPECT_EQ(test_support::statusOf(process), 0);

    int next[4] = {};
    QByteArrayList lines = readFile(file).split('\n');
    EXPECT_EQ(lines.takeLast(), "");
    for (const QByteArray &line : lines) {
        const int writer = line.left(1).toInt();
        ASSERT_EQ(line + '\n', lineOf(writer, next[writer]));
        ++next[writer];
    }
    EXPECT_THAT(next, testing::Each(linesEach));
}

class LogMove : public LogFileTest {
protected:
    void SetUp() override {
        LogFileTest::SetUp();
        log.append("one\n");
    }

    void expectAtOldPlace() {
        EXPECT_EQ(log.path(), file);
        EXPECT_FALSE(log.append("two\n"));
        EXPECT_EQ(readFile(file), "one\ntwo\n");
    }
    void expectGoesOnAt(const fs::path &path, const QByteArray &content) {
        EXPECT_EQ(log.path(), path);
        EXPECT_FALSE(log.append("two\n"));
        EXPECT_EQ(readFile(path), content);
    }
};

TEST_F(LogMove, TakesTheLinesAlongAndGoesOnThere) {
    EXPECT_FALSE(log.moveTo(elsewhere));
    EXPECT_FALSE(fs::exists(file));
    expectGoesOnAt(elsewhere, "one\ntwo\n");
    EXPECT_EQ(fs::status(elsewhere).permissions(), fs::perms(0600));
}

TEST_F(LogMove, PutsTheLinesBehindThoseOfAnEarlierLogAfterALineFeed) {
    writeFile(elsewhere, "earlier\n");
    EXPECT_FALSE(log.moveTo(elsewhere));
    EXPECT_FALSE(fs::exists(file));
    expectGoesOnAt(elsewhere, "earlier\n\none\ntwo\n");
}

TEST_F(LogMove, GoesToAnotherFileSystem) {
    fs::create_directory(elsewhere);
    const Mount disk = Mount::memory(elsewhere, 1 << 20);
    EXPECT_FALSE(log.moveTo(elsewhere / "log"));
    EXPECT_FALSE(fs::exists(file));
    expectGoesOnAt(elsewhere / "log", "one\ntwo\n");
}

TEST_F(LogMove, WithoutAFileFailsAndStays) {
    fs::remove(file);
    EXPECT_EQ(log.moveTo(elsewhere), std::errc::no_such_file_or_directory);
    EXPECT_FALSE(fs::exists(elsewhere));
    EXPECT_EQ(log.path(), file);
}

TEST_F(LogMove, WithoutAFileOntoAnEarlierLogGoesOnThereAndTellsWhatWasMissing) {
    fs::remove(file);
    writeFile(elsewhere, "earlier\n");
    EXPECT_EQ(log.moveTo(elsewhere), std::errc::no_such_file_or_directory);
    expectGoesOnAt(elsewhere, "earlier\ntwo\n");
}

TEST_F(LogMove, IntoAMissingFolderFailsAndStays) {
    EXPECT_EQ(log.moveTo(elsewhere / "missing/log"), std::errc::no_such_file_or_directory);
    expectAtOldPlace();
}

TEST_F(LogMove, OntoAFolderFailsAndStays) {
    fs::create_directory(elsewhere);
    EXPECT_EQ(log.moveTo(elsewhere), std::errc::is_a_directory);
    expectAtOldPlace();
}

TEST_F(LogMove, OntoALinkFailsAndStays) {
    writeFile(folder / "other's", "other's\n");
    fs::create_symlink(folder / "other's", elsewhere);
    EXPECT_EQ(log.moveTo(elsewhere), std::errc::too_many_symbolic_link_levels);
    EXPECT_EQ(readFile(folder / "other's"), "other's\n");
    expectAtOldPlace();
}

TEST_F(LogMove, OntoAPipeFailsAndStays) {
    ASSERT_EQ(::mkfifo(elsewhere.c_str(), 0600), 0);
    const platform::FileDescriptor reader(::open(elsewhere.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    EXPECT_EQ(log.moveTo(elsewhere), std::errc::invalid_argument);
    expectAtOldPlace();
}

TEST_F(LogMove, OntoAFullDiskFailsAndStays) {
    fs::create_directory(elsewhere);
    const Mount disk = Mount::memory(elsewhere, 16 << 10);
    writeFile(elsewhere / "fill", QByteArray(16 << 10, 'x'));
    EXPECT_EQ(log.moveTo(elsewhere / "log"), std::errc::no_space_on_device);
    EXPECT_FALSE(fs::exists(elsewhere / "log"));
    expectAtOldPlace();
}

TEST_F(LogMove, OntoAnEarlierLogOnAFullDiskFailsAndStays) {
    fs::create_directory(elsewhere);
    const Mount disk = Mount::memory(elsewhere, 16 << 10);
    writeFile(elsewhere / "log", QByteArray(4 << 10, 'e'));
    writeFile(elsewhere / "fill", QByteArray(12 << 10, 'x'));
    EXPECT_EQ(log.moveTo(elsewhere / "log"), std::errc::no_space_on_device);
    expectAtOldPlace();
}

TEST_F(LogMove, LosesNothingWhenTheOldPlaceCannotBeCleared) {
    const Mount readOnly = Mount::readOnly(folder);
    EXPECT_EQ(log.moveTo(elsewhere), std::errc::read_only_file_system);
    EXPECT_EQ(readFile(file), "one\n");
    expectGoesOnAt(elsewhere, "one\ntwo\n");
}

TEST_F(LogMove, ToItsOwnFileUnderAnotherPathLosesNothing) {
    fs::create_directory_symlink(folder, elsewhere);
    EXPECT_FALSE(log.moveTo(elsewhere / "log"));
    expectGoesOnAt(elsewhere / "log", "one\ntwo\n");
}

TEST_F(LogMove, OfALogLargerThanAnyThatMeansWellFailsAndStays) {
    writeFile(elsewhere, "earlier\n");
    fs::resize_file(file, std::uintmax_t{1} << 40);
    EXPECT_EQ(log.moveTo(elsewhere), std::errc::file_too_large);
    EXPECT_EQ(log.path(), file);
    EXPECT_EQ(readFile(elsewhere), "earlier\n");
}

} // namespace
