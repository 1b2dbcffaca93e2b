#include "logging/Logging.h"

#include "logging/LogFile.h"
#include "platform/System.h"
#include "platform/posix/Fatal.h"
#include "platform/posix/FileDescriptor.h"
#include "test_support/Isolation.h"
#include "test_support/LoggedTest.h"
#include "test_support/ProgramRun.h"
#include "test_support/ScratchHome.h"
#include "test_support/SlowDisk.h"
#include "test_support/StandIns.h"

#include <QDateTime>
#include <atomic>
#include <ctime>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <thread>

namespace fs = std::filesystem;

namespace {

using platform::FileDescriptor;
using platform::OSLogType;
using test_support::logLines;
using test_support::Mount;
using test_support::readFile;
using test_support::ScopedEnvironment;
using test_support::writeFile;
using UtilityFunctions::lumamonLogFileURL;
using UtilityFunctions::tempSystemURL;

// What the program prints on standard output meanwhile.
template <typename Work>
std::string printedBy(const Work &work) {
    testing::internal::CaptureStdout();
    work();
    return testing::internal::GetCapturedStdout();
}

// Logs a line, and gives what that prints.
std::string info(const char *message) {
    return printedBy([&] { Logger::logInfo(QString::fromUtf8(message)); });
}

std::string move() {
    return printedBy(Logger::changeLogFileLocation);
}

const std::string cannotWrite = "Failed to write to log file: ";
const std::string cannotMove = "Failed to change log file location: ";

class LoggerTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(test_support::hasOwnNamespaces());
        fs::create_directories(system);
        Logger::setupLogFile();
    }

    // Logs a line, after which the file there holds these.
    static void expectGoesOn(const fs::path &log, const QStringList &lines) {
        EXPECT_EQ(info("next"), "");
        EXPECT_EQ(logLines(log), lines + QStringList(u"INFO: next"_qs));
    }

    test_support::ScratchHome home;
    fs::path folder = home.caches() / "Logs";
    fs::path first = folder / "LumadocDiagnosticsDebugOutput.log";
    fs::path system = home.library() / "LumadocDiagnostics/System";
    fs::path relocated = system / first.filename();
    const QStringList one{u"INFO: one"_qs};
    const QStringList earlier{u"INFO: earlier"_qs};
    const QByteArray earlierText = "INFO: 2024-03-05 14:07:09 +0000: earlier\n";
};

TEST(LoggerBeforeSetup, WritesNoFileAndPrintsNothing) {
    const test_support::ScratchHome home;
    EXPECT_EQ(info("lost"), "");
    Logger::log(QStringLiteral("lost"), OSLogType::debug);
    tempSystemURL = home.path();
    EXPECT_EQ(move(), "");
    EXPECT_TRUE(fs::is_empty(home.path()));
}

TEST_F(LoggerTest, CreatesTheFileForTheUserAloneWithALineStampedInUtc) {
    const ScopedEnvironment zone("TZ", "Asia/Tokyo");
    ::tzset();
    EXPECT_FALSE(fs::exists(first));
    // By the clock of the stamp: others are ahead of it by some milliseconds.
    const std::time_t before = std::time(nullptr);
    const mode_t mask = ::umask(0);
    info("Grüße 😀");
    ::umask(mask);
    EXPECT_EQ(fs::status(first).permissions(), fs::perms(0600));
    const QByteArray line = readFile(first);
    auto stamp = QDateTime::fromString(QString::fromUtf8(line.mid(6, 19)), u"yyyy-MM-dd HH:mm:ss"_qs);
    stamp.setTimeSpec(Qt::UTC);
    EXPECT_TRUE(before <= stamp.toSecsSinceEpoch() && stamp.toSecsSinceEpoch() <= std::time(nullptr))
        << line.constData();
    EXPECT_EQ(line.left(6) + line.mid(25), "INFO:  +0000: Grüße 😀\n");
}

TEST_F(LoggerTest, WritesToTheFileAtItsPlaceWhateverBecomesOfTheOneBefore) {
    const fs::path other = home.path() / "other";
    const std::pair<const char *, std::function<void()>> cases[] = {
        {"removed", [&] { fs::remove(first); }},
        {"removed, with another name left",
         [&] {
             fs::create_hard_link(first, other);
             fs::remove(first);
         }},
        {"moved", [&] { fs::rename(first, other); }},
        {"replaced",
         [&] {
             fs::rename(first, other);
             writeFile(first, "");
         }},
        {"in a folder that was moved and made again",
         [&] {
             fs::rename(folder, home.path() / "away");
             fs::create_directories(folder);
         }},
    };
    for (const auto &[what, change] : cases) {
        SCOPED_TRACE(what);
        info("one");
        change();
        // It looks now and then.
        std::this_thread::sleep_for(std::chrono::milliseconds(6));
        expectGoesOn(first, {});
        fs::remove(other);
        fs::remove(first);
    }
}

TEST_F(LoggerTest, TheLinesOfASparedThreadAreWrittenByAnotherAndInTheirPlace) {
    REQUIRE_SLOW_DISK();
    test_support::SlowDisk disk(folder);
    disk.setDelay(std::chrono::milliseconds(10));
    Logger::spareThisThread();
    QStringList lines;
    for (int i = 0; i < 40; ++i) {
        const QString text = QString::number(i);
        if (i % 8 == 7)
            std::thread([&] { Logger::logInfo(text); }).join();
        else
            Logger::logInfo(text);
        lines.append(QStringLiteral("INFO: ") + text);
    }
    EXPECT_EQ(disk.operationsOf(::getpid()), 0);
    Logger::writeAll();
    EXPECT_EQ(logLines(first), lines);
    // Nor does it wait for the other; and nobody else has to write for its lines to be there soon.
    disk.setDelayUntilAnswered({});
    for (int i = 0; i < 60; ++i) {
        Logger::logInfo(QStringLiteral("more"));
        disk.answer();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    disk.setDelay({});
    EXPECT_EQ(disk.unanswered(), 0);
    EXPECT_TRUE(test_support::waitUntil([&] { return logLines(first).size() == 100; }));
}

TEST_F(LoggerTest, AFatalEndWaitsForTheLinesOfASparedThreadButNotForADiskThatDoesNotAnswer) {
    REQUIRE_SLOW_DISK();
    test_support::SlowDisk disk(folder);
    const auto endsFatally = [] {
        return test_support::statusInChild([]() -> int {
            Logger::spareThisThread();
            Logger::logInfo(QStringLiteral("last"));
            platform::fatal("why");
        });
    };
    disk.setDelay(std::chrono::milliseconds(5));
    EXPECT_EQ(endsFatally(), 1);
    EXPECT_EQ(logLines(first), QStringList(QStringLiteral("INFO: last")));
    disk.stopAnswering();
    EXPECT_EQ(endsFatally(), 1);
}

TEST_F(LoggerTest, TheEndWaitsForTheLinesOfASparedThreadAlthoughOthersUseTheLog) {
    // The thread that writes its lines never ends.
    auto &log = *new LogFile;
    log.setPath(first, {});
    log.spareThisThread();
    std::atomic<bool> isOver = false;
    std::thread other([&] {
        while (!isOver)
            (void)log.homes();
    });
    for (int i = 1; i <= 200; ++i) {
        log.append("line\n");
        log.waitUntilWritten(std::chrono::minutes(1));
        EXPECT_EQ(readFile(first).count('\n'), i);
    }
    isOver = true;
    other.join();
}

TEST_F(LoggerTest, SaysWhyALineOrAFolderIsLostAndGoesOn) {
    fs::create_directories(first);
    EXPECT_EQ(info("lost"), cannotWrite + "Is a directory\n");
    fs::remove_all(folder);
    EXPECT_EQ(info("lost"), cannotWrite + "No such file or directory\n");
    writeFile(home.path() / "cache/Logs", "a file");
    const ScopedEnvironment cache("XDG_CACHE_HOME", (home.path() / "cache").native());
    EXPECT_EQ(printedBy(Logger::setupLogFile), "Failed to create log directory: Not a directory\n");

    // A product may start the program and never read what it prints.
    platform::Pipe pipe = platform::openPipe();
    const FileDescriptor output(::dup(STDOUT_FILENO));
    ::dup2(pipe.writeEnd.get(), STDOUT_FILENO);
    for (int i = 0; i < 3000; ++i)
        Logger::logInfo(QString());
    ::dup2(output.get(), STDOUT_FILENO);
    char printed[56] = {};
    ASSERT_EQ(::read(pipe.readEnd.get(), printed, 55), 55);
    EXPECT_EQ(printed, cannotWrite + "No such file or directory\n");
    fs::create_directories(folder);
    expectGoesOn(first, {});
}

TEST_F(LoggerTest, ReplacesALinkAndAPipeInsteadOfWritingToThem) {
    writeFile(home.path() / "other", "other's");
    fs::create_symlink(home.path() / "other", first);
    expectGoesOn(first, {});
    EXPECT_EQ(readFile(home.path() / "other"), "other's");
    for (const bool isRead : {false, true}) {
        fs::remove(first);
        ASSERT_EQ(::mkfifo(first.c_str(), 0600), 0);
        const FileDescriptor reader(isRead ? ::open(first.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC) : -1);
        EXPECT_EQ(info("next"), "");
        ASSERT_TRUE(fs::is_regular_file(first));
        EXPECT_EQ(logLines(first), QStringList(u"INFO: next"_qs));
    }
}

TEST_F(LoggerTest, BeginsANewLineAfterOneThatAFullDiskCutOff) {
    const Mount disk = Mount::memory(folder, 16 << 10);
    info("one");
    writeFile(folder / "fill", QByteArray(8 << 10, 'x'));
    for (const QByteArray &lost : {QByteArray(20 << 10, 'y'), QByteArray("z")})
        EXPECT_EQ(info(lost), cannotWrite + "No space left on device\n");
    fs::remove(folder / "fill");
    info("two");
    EXPECT_EQ(logLines(first).mid(2), QStringList(u"INFO: two"_qs));
    expectGoesOn(first, logLines(first));
}

TEST_F(LoggerTest, NeverMixesLinesOfThreadsAndProcesses) {
    constexpr int linesEach = 300;
    // As long as any path, so that a line in two writes would be seen.
    const QString texts[] = {QString(200, u'a'), QString(2100, u'b'), QString(4200, u'c')};
    const auto write = [&](int writer) {
        for (int i = 0; i < linesEach; ++i)
            Logger::logInfo(texts[writer]);
    };
    const pid_t process = test_support::startInChild([&] {
        write(0);
        return 0;
    });
    std::thread other(write, 1);
    write(2);
    other.join();
    EXPECT_EQ(test_support::statusOf(process), 0);
    QMap<QString, int> counts;
    for (const QString &line : logLines(first))
        ++counts[line];
    for (const QString &text : texts)
        EXPECT_EQ(counts.take(u"INFO: "_qs + text), linesEach);
    EXPECT_TRUE(counts.isEmpty());
}

TEST_F(LoggerTest, MovesIntoTheWorkspaceOnceThereIsOneAndLeavesNoEmptyFolder) {
    info("one");
    EXPECT_EQ(move(), "");
    EXPECT_EQ(lumamonLogFileURL, std::nullopt);
    EXPECT_EQ(logLines(first), one);
    const Mount disk = Mount::memory(system, 1 << 20);
    tempSystemURL = system;
    EXPECT_EQ(move(), "");
    EXPECT_EQ(lumamonLogFileURL, relocated);
    EXPECT_EQ(fs::status(relocated).permissions(), fs::perms(0600));
    EXPECT_TRUE(fs::is_empty(home.caches()));
    expectGoesOn(relocated, one);

    // The same place, also by another name and without a file.
    fs::create_directory_symlink(system, home.path() / "link");
    for (const fs::path &same : {home.path() / "link", system}) {
        tempSystemURL = same;
        EXPECT_EQ(move(), "");
        EXPECT_EQ(lumamonLogFileURL, same / first.filename());
        EXPECT_TRUE(fs::exists(relocated));
    }
    fs::remove(relocated);
    EXPECT_EQ(move(), "");

    Logger::setupLogFile();
    info("one");
    writeFile(folder / "other's", "");
    EXPECT_EQ(move(), "");
    EXPECT_FALSE(fs::exists(first));
    EXPECT_TRUE(fs::exists(folder / "other's")) << "a folder that others use stays";
}

TEST_F(LoggerTest, PutsItsLinesAfterThoseOfAnEarlierLogAndALineFeedAlsoWhenTheOldPlaceCannotBeCleared) {
    tempSystemURL = system;
    EXPECT_EQ(move(), cannotMove + "No such file or directory\n") << "there are no lines yet";
    EXPECT_FALSE(fs::exists(relocated));
    expectGoesOn(first, {});
    writeFile(relocated, earlierText);
    EXPECT_EQ(move(), "");
    const QStringList both = earlier + QStringList{u"MALFORMED: "_qs, u"INFO: next"_qs};
    expectGoesOn(relocated, both);

    Logger::setupLogFile();
    writeFile(relocated, earlierText);
    EXPECT_EQ(move(), cannotMove + "No such file or directory\n");
    expectGoesOn(relocated, earlier);

    Logger::setupLogFile();
    info("one");
    const Mount readOnly = Mount::readOnly(folder);
    EXPECT_EQ(move(), cannotMove + "Read-only file system\n");
    EXPECT_EQ(logLines(first), one);
    expectGoesOn(relocated, earlier + QStringList{u"INFO: next"_qs, u"MALFORMED: "_qs} + one);
}

TEST_F(LoggerTest, MovesHoweverLargeItIs) {
    const auto part = [this](std::uintmax_t place) {
        const FileDescriptor file(::open(relocated.c_str(), O_RDONLY | O_CLOEXEC));
        QByteArray bytes(100, '\0');
        bytes.truncate(::pread(file.get(), bytes.data(), 100, off_t(place)));
        return bytes;
    };
    std::unique_ptr<Mount> disk;
    const std::pair<const char *, std::function<void()>> cases[] = {
        {"to a new file", [] {}},
        {"to an earlier log", [&] { writeFile(relocated, earlierText); }},
        {"to another disk", [&] { disk.reset(new Mount(Mount::memory(system, 4 << 20))); }}};
    for (const auto &[where, arrange] : cases) {
        SCOPED_TRACE(where);
        Logger::setupLogFile();
        info("one");
        fs::resize_file(first, std::uintmax_t{1} << 40);
        info("two");
        arrange();
        tempSystemURL = system;
        EXPECT_EQ(move(), "");
        EXPECT_FALSE(fs::exists(first));
        EXPECT_EQ(std::distance(fs::directory_iterator(system), {}), 1);
        info("next");
        const QByteArray end = part(fs::file_size(relocated) - 100);
        EXPECT_TRUE(part(0).contains(": one\n"));
        EXPECT_TRUE(end.contains(": two\n") && end.endsWith(": next\n"));
        fs::remove(relocated);
    }
}

// Such a file system does not say where the data of a file begins. A place that is a mount cannot be cleared.
TEST_F(LoggerTest, LosesNothingOnAFileSystemWithoutHoles) {
    tempSystemURL = system;
    writeFile(first, "");
    {
        const Mount log = Mount::over("/proc/version", first);
        EXPECT_EQ(move(), cannotMove + "Device or resource busy\n");
        EXPECT_EQ(readFile(relocated), readFile("/proc/version"));
    }
    fs::remove(relocated);
    Logger::setupLogFile();
    {
        // Has nothing at its beginning.
        const Mount log = Mount::over("/proc/self/mem", first);
        EXPECT_EQ(move(), cannotMove + "Input/output error\n");
        EXPECT_FALSE(fs::exists(relocated));
    }
    expectGoesOn(first, {});
}

TEST_F(LoggerTest, KeepsItsPlaceAndSaysWhyWhenItCannotMove) {
    const fs::path other = home.path() / "other";
    FileDescriptor reader;
    std::unique_ptr<Mount> disk;
    const std::pair<const char *, std::function<void()>> cases[] = {
        {"No such file or directory", [&] { fs::remove(system); }},
        {"Is a directory", [&] { fs::create_directories(relocated); }},
        {"Too many levels of symbolic links", [&] { fs::create_symlink(other, relocated); }},
        {"Invalid argument",
         [&] {
             ASSERT_EQ(::mkfifo(relocated.c_str(), 0600), 0);
             reader = FileDescriptor(::open(relocated.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
         }},
        {"No space left on device",
         [&] {
             disk.reset(new Mount(Mount::memory(system, 16 << 10)));
             writeFile(system / "fill", QByteArray(12 << 10, 'x'));
             writeFile(relocated, QByteArray(4 << 10, 'e'));
         }},
    };
    for (const auto &[reason, arrange] : cases) {
        SCOPED_TRACE(reason);
        fs::remove_all(system);
        fs::create_directories(system);
        writeFile(other, "other's");
        fs::remove(first);
        info("one");
        tempSystemURL = system;
        arrange();
        EXPECT_EQ(move(), cannotMove + reason + '\n');
        EXPECT_EQ(lumamonLogFileURL, relocated);
        EXPECT_EQ(readFile(other), "other's");
        expectGoesOn(first, one);
    }
    EXPECT_EQ(fs::file_size(relocated), 4 << 10);
}

TEST_F(LoggerTest, OfASecondCopyWritesToTheFirstOnesFileAndCreatesNothing) {
    info("one");
    fs::remove_all(home.library());
    EXPECT_TRUE(Logger::NewLogFileLocation());
    EXPECT_FALSE(fs::exists(home.library()));
    EXPECT_EQ(lumamonLogFileURL, std::nullopt);
    writeFile(relocated, earlierText);
    expectGoesOn(relocated, earlier);
    EXPECT_EQ(logLines(first), one);
}

TEST_F(LoggerTest, WithoutAHomeFolderHasNoPlace) {
    writeFile(home.path() / "passwd", "tester:x:" + QByteArray::number(::geteuid()) + ":0:::/bin/sh\n");
    const Mount accounts = Mount::over(home.path() / "passwd", "/etc/passwd");
    const ScopedEnvironment unset("HOME", std::nullopt);
    EXPECT_FALSE(Logger::NewLogFileLocation());
    EXPECT_EXIT(Logger::setupLogFile(), testing::ExitedWithCode(1),
                "^Brennic_Lumadoc_Diagnostics: The user has no caches folder.\n$");
}

TEST_F(LoggerTest, LabelsAndMasksLinesExceptThoseWithoutALabelHereAndInTheSystemLog) {
    test_support::FakeJournal journal;
    ASSERT_TRUE(journal.isListening());
    const QString message = u"from /Users/alice/x to /home/bob/y"_qs;
    const QString masked = u"from /Users/[USER]/x to /home/[USER]/y"_qs;
    const auto unlabelled = [&](OSLogType type) { return [&, type] { Logger::log(message, type); }; };
    const struct {
        std::function<void()> log;
        QString line;
        const char *priority;
    } cases[] = {{[&] { Logger::logInfo(message); }, u"INFO: "_qs + masked, "6"},
                 {[&] { Logger::logWarning(message); }, u"WARNING: "_qs + masked, "6"},
                 {[&] { Logger::logError(message); }, u"ERROR: "_qs + masked, "3"},
                 {unlabelled(OSLogType::debug), message, "7"},
                 {unlabelled(OSLogType::info), message, "6"},
                 {unlabelled(OSLogType::error), message, "3"}};
    QStringList lines;
    for (const auto &[log, line, priority] : cases) {
        EXPECT_EQ(printedBy(log), "");
        lines.append(line);
        EXPECT_EQ(logLines(first), lines);
        const auto fields = journal.next().value_or(QMap<QByteArray, QByteArray>());
        EXPECT_EQ(fields["MESSAGE"], line.toUtf8());
        EXPECT_EQ(fields["PRIORITY"], priority);
        EXPECT_EQ(fields["SUBSYSTEM"] + fields["CATEGORY"], "com.brennic.LumadocDiagnostics.UnitTestsMyApp");
    }
    fs::remove_all(folder);
    EXPECT_NE(info("next"), "") << "the file cannot take it";
    EXPECT_EQ(journal.next().value_or(QMap<QByteArray, QByteArray>())["MESSAGE"], "INFO: next");
}

TEST_F(LoggerTest, WritesOneHarmlessLineForEveryMessage) {
    test_support::FakeJournal journal;
    const QString message = u"a\n2024-03-05 14:07:09 +0000: b\r\x1b[2J\u0085\u202e\u2028\\ é"_qs;
    const QByteArray line = "a\\n2024-03-05 14:07:09 +0000: b\\r\\u{1B}[2J\\u{85}\\u{202E}\\u{2028}\\ é";
    const std::pair<QByteArray, std::function<void()>> cases[] = {
        {"INFO: ", [&] { Logger::logInfo(message); }},
        {"WARNING: ", [&] { Logger::logWarning(message); }},
        {"ERROR: ", [&] { Logger::logError(message); }},
        {"", [&] { Logger::log(message, OSLogType::info); }}};
    for (const auto &[label, log] : cases) {
        log();
        EXPECT_EQ(readFile(first).remove(label.size(), 25), label + ": " + line + '\n');
        EXPECT_EQ(journal.next().value_or(QMap<QByteArray, QByteArray>())["MESSAGE"], label + line);
        fs::remove(first);
    }
}

TEST_F(LoggerTest, KeepsTheLinesOfATextWithoutLettingThemPassForItsOwn) {
    Logger::logInfoLines(u"Answer: a\nINFO: b\nWARNING: c\nERROR: d\n2024-03-05 14:07:09 +0000: e\n"
                         u"\r\x1bINFO: f\u2028g\n20 h\n\n"_qs);
    EXPECT_EQ(readFile(first).remove(6, 25),
              "INFO: : Answer: a\n INFO: b\n WARNING: c\n ERROR: d\n 2024-03-05 14:07:09 +0000: e\n"
              "\\r\\u{1B}INFO: f\\u{2028}g\n20 h\n\n\n");
}

TEST_F(LoggerTest, MasksTheHomeFolderUnderEachOfItsNames) {
    const fs::path real = home.path() / "people/jane doe";
    fs::create_directories(real);
    fs::create_directory_symlink(real, home.path() / "jane");
    const ScopedEnvironment variable("HOME", (home.path() / "jane/").native());
    const ScopedEnvironment cache("XDG_CACHE_HOME", home.caches().native());
    Logger::setupLogFile();
    for (const char *name : {"jane/x", "jane//x", "people/jane doe/x", "jane", "jane2/x"})
        Logger::logInfo(QString::fromStdString((home.path() / name).native()));
    QByteArray text = readFile(first);
    text.replace(home.path().c_str(), "~");
    const QStringList lines = QString::fromUtf8(text).split(u'\n');
    const char *masked[] = {"~/[USER]/x", "~/[USER]//x", "~/people/[USER]/x", "~/jane", "~/jane2/x"};
    ASSERT_EQ(lines.size(), 6);
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(lines[i].sliced(33), QString::fromLatin1(masked[i]));
}

TEST(UserNameMask, HidesWhatIsBetweenTwoSlashesInAFolderOfHomes) {
    const QString half(QChar(0xd800));
    const std::pair<QString, QString> cases[] = {
        {u"Copied /Users/a/x to /home/b/y and /Users/c/"_qs,
         u"Copied /Users/[USER]/x to /home/[USER]/y and /Users/[USER]/"_qs},
        {u"/Users/Alice B. \"C\" Ünï😀\n/x"_qs, u"/Users/[USER]/x"_qs},
        {u"/Volumes/Disk/Users/a/x"_qs, u"/Volumes/Disk/Users/[USER]/x"_qs},
        {u"/Users/a: no such file, /Users/b/c"_qs, u"/Users/[USER]/Users/b/c"_qs},
        {u"/Users/home/x/Users/home/a/y"_qs, u"/Users/[USER]/x/Users/[USER]/a/y"_qs},
        {u"/Users//home//Users/a/"_qs, u"/Users//home//Users/[USER]/"_qs},
        {half + u"/Users/"_qs + half + u"/x"_qs, half + u"/Users/[USER]/x"_qs}};
    for (const auto &[message, masked] : cases)
        EXPECT_EQ(maskedUserNames(message), masked);
    EXPECT_EQ(maskedUserNames(u"/home/staff/a/x /home/b/x /srv/a/x"_qs, {u"/home/staff/a"_qs, u"/srv/a"_qs}),
              u"/home/[USER]/[USER]/x /home/[USER]/x /srv/[USER]/x"_qs);
    for (const QString &text : {u""_qs, u"/Users"_qs, u"/Users//x"_qs, u"/home/a"_qs, u"Users/a/x"_qs,
                                u"/users/a/x"_qs, u"/Users2/a/x"_qs, u"/Usershome/a/x"_qs})
        EXPECT_EQ(maskedUserNames(text), text);
}

TEST(UserNameMask, TakesTimeLinearInTheText) {
    constexpr qsizetype size = 1 << 20;
    // Quadratic, each would take minutes.
    for (const QString &text : {u"/Users/"_qs.repeated(size / 7), QString(size, u'/'),
                                u"/Users/"_qs + QString(size, u'x'), u"/Users/x"_qs.repeated(size / 8)}) {
        // The processor's time: the machine may have other work.
        const std::clock_t start = std::clock();
        maskedUserNames(text);
        EXPECT_LT(std::clock() - start, 5 * CLOCKS_PER_SEC) << text.first(20).toStdString();
    }
}

} // namespace
