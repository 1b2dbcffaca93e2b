#include "platform/posix/Program.h"

#include "platform/posix/FileDescriptor.h"
#include "test_support/ChildProcess.h"
#include "test_support/ProgramRun.h"
#include "test_support/ScratchHome.h"

#include <QByteArrayList>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>

namespace fs = std::filesystem;

namespace {

using platform::Program;
using platform::runProgram;

class RunProgram : public testing::Test {
protected:
    // Runs a line of shell script with these arguments, in the scratch folder.
    std::optional<int> runScript(const std::string &script, const std::vector<std::string> &arguments = {},
                                 const std::vector<std::pair<std::string, std::string>> &variables = {}) {
        std::vector<std::string> all = {"-c", script, "sh"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return runProgram({"/bin/sh", all, folder.path(), variables});
    }
    QByteArray written() { return test_support::readFile(folder.path() / "out"); }

    test_support::ScratchFolder folder;
};

TEST_F(RunProgram, GivesTheExitStatus) {
    EXPECT_EQ(runScript("exit 0"), 0);
    EXPECT_EQ(runScript("exit 7"), 7);
    EXPECT_EQ(runScript("exit 255"), 255);
}

TEST_F(RunProgram, GivesNoneForAProgramThatWasKilled) {
    EXPECT_EQ(runScript("kill -KILL $$"), std::nullopt);
}

TEST_F(RunProgram, GivesNoneForAProgramThatIsMissing) {
    EXPECT_EQ(runProgram({"/nowhere/at all", {}, folder.path(), {}}), std::nullopt);
}

TEST_F(RunProgram, GivesNoneForAFileThatIsNoProgram) {
    test_support::writeFile(folder.path() / "text", "no program");
    EXPECT_EQ(runProgram({folder.path() / "text", {}, folder.path(), {}}), std::nullopt);
    fs::permissions(folder.path() / "text", fs::perms::owner_all);
    EXPECT_EQ(runProgram({folder.path() / "text", {}, folder.path(), {}}), std::nullopt);
}

TEST_F(RunProgram, GivesNoneWhenTheWorkingFolderIsMissing) {
    EXPECT_EQ(runProgram({"/bin/true", {}, folder.path() / "missing", {}}), std::nullopt);
}

TEST_F(RunProgram, RunsInTheWorkingFolder) {
    EXPECT_EQ(runScript("pwd > out"), 0);
    EXPECT_EQ(written(), QByteArray::fromStdString(folder.path().native() + "\n"));
}

TEST_F(RunProgram, RunsInThisProcesssFolderWhenNoneIsNamed) {
    const auto out = folder.path() / "out";
    EXPECT_EQ(runProgram({"/bin/sh", {"-c", "pwd > \"$1\"", "sh", out.native()}, {}, {}}), 0);
    EXPECT_EQ(written(), QByteArray::fromStdString(fs::current_path().native() + "\n"));
}

TEST_F(RunProgram, PassesArgumentsAsTheyAreWhateverTheyHold) {
    EXPECT_EQ(
        runScript("printf '<%s>' \"$@\" > out", {"\xff\xfe", "", "two words", "$HOME `id` \"'", "\n", "*"}),
        0);
    EXPECT_EQ(written(), "<\xff\xfe><><two words><$HOME `id` \"'><\n><*>");
}

TEST_F(RunProgram, RunsInAFolderWhoseNameIsNotUtf8) {
    const auto place = folder.path() / "\xff";
    fs::create_directory(place);
    EXPECT_EQ(runProgram({"/bin/sh", {"-c", "echo x > here"}, place, {}}), 0);
    EXPECT_EQ(test_support::readFile(place / "here"), "x\n");
}

TEST_F(RunProgram, SetsVariablesOnTopOfItsOwn) {
    const test_support::ScopedEnvironment inherited("LUMAMON_A", "a");
    const test_support::ScopedEnvironment replaced("LUMAMON_B", "b");
    const test_support::ScopedEnvironment similar("LUMAMON_BB", "bb");
    EXPECT_EQ(runScript("env | grep -a ^LUMAMON_ | LC_ALL=C sort > out", {},
                        {{"LUMAMON_B", "new=\xff"}, {"LUMAMON_C", ""}}),
              0);
    EXPECT_EQ(written(), "LUMAMON_A=a\nLUMAMON_B=new=\xff\nLUMAMON_BB=bb\nLUMAMON_C=\n");
    EXPECT_STREQ(std::getenv("LUMAMON_B"), "b");
}

// What a program has open, by number and target, as it finds it itself.
class Descriptors : public RunProgram {
protected:
    QByteArrayList numbersOf(const QByteArray &target) {
        const auto out = folder.path() / "out";
        EXPECT_EQ(runProgram({"/usr/bin/find",
                              {"/proc/self/fd", "-type", "l", "-fprintf", out.native(), "%f %l\n"},
                              folder.path(),
                              {}}),
                  0);
        QByteArrayList numbers;
        for (const QByteArray &line : written().split('\n')) {
            if (line.endsWith(' ' + target))
                numbers.append(line.split(' ').first());
        }
        return numbers;
    }
};

TEST_F(Descriptors, OfAProgramAreItsStreamsOnTheNullDevice) {
    QByteArrayList expected = {"0", "1", "2"};
    // Whoever started this process may have left it more.
    for (int i = 3; i < 100; ++i) {
        std::error_code error;
        if ((::fcntl(i, F_GETFD) & FD_CLOEXEC) == 0 &&
            fs::read_symlink("/proc/self/fd/" + std::to_string(i), error) == "/dev/null")
            expected.append(QByteArray::number(i));
    }
    EXPECT_EQ(numbersOf("/dev/null"), expected);
}

TEST_F(Descriptors, OfThisProcessAreNotThoseOfAProgram) {
    const platform::FileDescriptor own(::open("/dev/zero", O_RDONLY | O_CLOEXEC));
    EXPECT_EQ(numbersOf("/dev/zero"), QByteArrayList());
}

TEST_F(RunProgram, GivesItNoInputAndDiscardsItsOutput) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EXPECT_EQ(runScript("cat; echo seen; echo seen >&2"), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(RunProgram, RunsInSeveralThreadsAtATime) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([this, i] {
            for (int j = 0; j < 10; ++j)
                EXPECT_EQ(runScript("exit " + std::to_string(i)), i);
        });
    for (std::thread &thread : threads)
        thread.join();
}

// A child that a test's child left behind comes to this process, which sees how it ended.
class Orphan : public RunProgram {
protected:
    void SetUp() override { ASSERT_EQ(::prctl(PR_SET_CHILD_SUBREAPER, 1), 0); }

    // In the child process: runs a program that would outlive the test by far.
    int runSleeper() { return runScript("echo $$ > pid.new; mv pid.new out; exec sleep 1000") ? 1 : 2; }

    pid_t orphan() {
        EXPECT_TRUE(test_support::waitUntil([this] { return fs::exists(folder.path() / "out"); }));
        return written().trimmed().toInt();
    }

    // How it ended; none when it did not, within a while.
    static std::optional<int> endOf(pid_t process) {
        int status = 0;
        const bool hasEnded =
            test_support::waitUntil([&] { return ::waitpid(process, &status, WNOHANG) == process; });
        if (!hasEnded) {
            ::kill(process, SIGKILL);
            return std::nullopt;
        }
        return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    }
};

TEST_F(Orphan, DiesWhenTheProcessThatRunsItIsKilled) {
    const pid_t runner = test_support::startInChild([this] { return runSleeper(); });
    const pid_t process = orphan();
    ::kill(runner, SIGKILL);
    EXPECT_EQ(test_support::statusOf(runner), 128 + SIGKILL);
    EXPECT_EQ(endOf(process), SIGKILL);
}

TEST_F(Orphan, DiesWhenAnotherThreadEndsTheProcessThatRunsIt) {
    const pid_t runner = test_support::startInChild([this] {
        std::thread([this] {
            orphan();
            std::_Exit(9);
        }).detach();
        return runSleeper();
    });
    const pid_t process = orphan();
    EXPECT_EQ(test_support::statusOf(runner), 9);
    EXPECT_EQ(endOf(process), SIGKILL);
}

TEST_F(RunProgram, WritesItsOutputToAFileOfTheUsersAlone) {
    const auto out = folder.path() / "output";
    const Program program{.path = "/bin/sh",
                          .arguments = {"-c", "echo out; echo err >&2"},
                          .workingFolder = {},
                          .variables = {},
                          .standardOutput = out};
    EXPECT_EQ(runProgram(program), 0);
    EXPECT_EQ(test_support::readFile(out), "out\n");
    EXPECT_EQ(fs::status(out).permissions(), fs::perms(0600));
}

TEST_F(RunProgram, ReplacesAPlainFileAndNotItsOtherNames) {
    const auto out = folder.path() / "output";
    test_support::writeFile(out, "much longer than what comes");
    fs::permissions(out, fs::perms(0644));
    fs::create_hard_link(out, folder.path() / "other");
    EXPECT_EQ(runProgram({"/bin/echo", {"new"}, {}, {}, out}), 0);
    EXPECT_EQ(test_support::readFile(out), "new\n");
    EXPECT_EQ(fs::status(out).permissions(), fs::perms(0600));
    EXPECT_EQ(test_support::readFile(folder.path() / "other"), "much longer than what comes");
}

TEST_F(RunProgram, WritesToNothingElseThatStandsThere) {
    const auto target = folder.path() / "target";
    test_support::writeFile(target, "kept");
    fs::create_symlink(target, folder.path() / "link");
    fs::create_symlink(folder.path() / "missing", folder.path() / "dangling");
    fs::create_directory(folder.path() / "folder");
    ASSERT_EQ(::mkfifo((folder.path() / "pipe").c_str(), 0600), 0);
    for (const char *name : {"link", "dangling", "folder", "pipe", "nowhere/file"}) {
        SCOPED_TRACE(name);
        const auto out = folder.path() / name;
        const auto mark = folder.path() / "started";
        const auto outcome = platform::outcomeOf({"/bin/touch", {mark.native()}, {}, {}, out});
        EXPECT_EQ(outcome.exitStatus, std::nullopt);
        EXPECT_EQ(outcome.startErrorPath, out);
        EXPECT_TRUE(outcome.startError);
        EXPECT_FALSE(fs::exists(mark));
    }
    EXPECT_EQ(test_support::readFile(target), "kept");
    EXPECT_FALSE(fs::exists(folder.path() / "missing"));
}

TEST_F(RunProgram, LeavesNoOutputOfAProgramThatDoesNotStart) {
    const auto out = folder.path() / "output";
    const auto outcome = platform::outcomeOf({"/nowhere/at all", {}, {}, {}, out});
    EXPECT_EQ(outcome.startError, std::errc::no_such_file_or_directory);
    EXPECT_EQ(outcome.startErrorPath, "/nowhere/at all");
    EXPECT_FALSE(fs::exists(out));
}

TEST_F(RunProgram, TellsWhichSignalKilledIt) {
    const auto outcome = platform::outcomeOf({"/bin/sh", {"-c", "echo why >&2; kill -TERM $$"}, {}, {}});
    EXPECT_EQ(outcome.exitStatus, std::nullopt);
    EXPECT_EQ(outcome.signal, SIGTERM);
    EXPECT_EQ(outcome.errorOutput, "why\n");
    EXPECT_FALSE(outcome.startError);
}

TEST_F(RunProgram, GivesWhatItWritesToItsErrors) {
    QByteArray errors = "before";
    EXPECT_EQ(
        runProgram({"/bin/sh", {"-c", "echo out; echo one >&2; echo two >&2; exit 3"}, {}, {}}, &errors), 3);
    EXPECT_EQ(errors, "one\ntwo\n");
    EXPECT_EQ(runProgram({"/bin/true", {}, {}, {}}, &errors), 0);
    EXPECT_EQ(errors, "");
}

TEST_F(RunProgram, KeepsTheBeginningOfManyErrorsAndReadsThemAll) {
    QByteArray errors;
    // Sixteen times what a pipe holds; the program ends only when all of it is taken.
    EXPECT_EQ(
        runProgram({"/bin/sh", {"-c", "printf begin >&2; head -c 1048576 /dev/zero >&2; exit 5"}, {}, {}},
                   &errors),
        5);
    EXPECT_EQ(errors, "begin" + QByteArray(platform::errorOutputLimitBytes - 5, '\0'));
}

TEST_F(RunProgram, DoesNotWaitForWhoeverInheritsItsErrors) {
    QByteArray errors;
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(runProgram({"/bin/sh", {"-c", "sleep 20 & echo said >&2; exit 4"}, {}, {}}, &errors), 4);
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(5));
    EXPECT_EQ(errors, "said\n");
}

TEST_F(RunProgram, DoesNotWaitForABackgroundThatNeverStopsTalking) {
    QByteArray errors;
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(runProgram({"/bin/sh", {"-c", "yes >&2 & exit 4"}, {}, {}}, &errors), 4);
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(5));
    EXPECT_LE(errors.size(), platform::errorOutputLimitBytes);
}

TEST_F(RunProgram, LeavesNoDescriptorsOpen) {
    const auto count = [] {
        return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
    };
    // The first program of all brings what stops them.
    runProgram({"/bin/true", {}, {}, {}});
    const auto before = count();
    QByteArray errors;
    for (int i = 0; i < 3; ++i) {
        runProgram({"/bin/echo", {}, {}, {}, folder.path() / "output"}, &errors);
        runProgram({"/nowhere", {}, {}, {}, folder.path() / "output"}, &errors);
        runProgram({"/bin/false", {}, {}, {}});
    }
    EXPECT_EQ(count(), before);
}

TEST_F(RunProgram, KillsAProgramThatOutlastsItsTimeLimit) {
    const auto before = std::chrono::steady_clock::now();
    const auto outcome =
        platform::outcomeOf({.path = "/bin/sh",
                             .arguments = {"-c", "echo said >&2; echo $$ > out; exec sleep 100"},
                             .workingFolder = folder.path(),
                             .variables = {},
                             .timeLimit = std::chrono::milliseconds(300)});
    const auto took = std::chrono::steady_clock::now() - before;
    EXPECT_FALSE(outcome.exitStatus || outcome.signal != 0 || outcome.startError);
    EXPECT_EQ(outcome.errorOutput, "said\n");
    EXPECT_GE(took, std::chrono::milliseconds(300));
    EXPECT_LT(took, std::chrono::seconds(3));
    EXPECT_EQ(::kill(written().trimmed().toInt(), 0), -1);
}

TEST_F(RunProgram, LeavesAProgramAloneThatEndsWithinItsTimeLimit) {
    EXPECT_EQ(runProgram({.path = "/bin/sh",
                          .arguments = {"-c", "sleep 0.1; exit 7"},
                          .workingFolder = {},
                          .variables = {},
                          .timeLimit = std::chrono::hours(24 * 365)}),
              7);
}

class StopPrograms : public RunProgram {
protected:
    using Clock = std::chrono::steady_clock;

    // Runs this in a thread, stops all programs once it has made the file "out", and gives how long the
    // thread took to go on.
    Clock::duration stopDuring(const std::function<void()> &work) {
        Clock::time_point end;
        std::thread thread([&] {
            work();
            end = Clock::now();
        });
        EXPECT_TRUE(test_support::waitUntil([this] { return fs::exists(folder.path() / "out"); }));
        const auto start = Clock::now();
        platform::stopPrograms();
        thread.join();
        return end - start;
    }
};

TEST_F(StopPrograms, EndsWhatRunsAtOnceAndLetsNothingStart) {
    std::optional<int> status = 77;
    const auto took = stopDuring(
        [&] { status = runScript("trap '' TERM; echo $$ > pid; mv pid out; while :; do sleep 0.1; done"); });
    EXPECT_EQ(status, std::nullopt);
    EXPECT_LT(took, std::chrono::milliseconds(500));
    EXPECT_EQ(::kill(written().trimmed().toInt(), 0), -1);

    EXPECT_EQ(runScript("echo x > later"), std::nullopt);
    EXPECT_FALSE(fs::exists(folder.path() / "later"));
    const auto outcome = platform::outcomeOf({"/bin/true", {}, {}, {}});
    EXPECT_FALSE(outcome.exitStatus || outcome.signal != 0 || outcome.startError);
}

TEST_F(StopPrograms, EndsAStoppedProgramAndAllOfSeveral) {
    std::atomic<int> ended = 0;
    const auto took = stopDuring([&] {
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i)
            threads.emplace_back([&, i] {
                const std::string self = std::to_string(i);
                EXPECT_EQ(runScript("touch r" + self +
                                    "; [ -e r0 -a -e r1 -a -e r2 -a -e r3 ] && touch out; "
                                    "kill -STOP $$"),
                          std::nullopt);
                ++ended;
            });
        for (std::thread &thread : threads)
            thread.join();
    });
    EXPECT_EQ(ended, 4);
    EXPECT_LT(took, std::chrono::milliseconds(1000));
}

// A program that has gained rights, as behind a prompt for an administrator's, is beyond this process's
// reach.
TEST_F(StopPrograms, GoesOnWithoutAProgramOfAnotherUser) {
    if (::geteuid() != 0 || !test_support::canRunAs(65534))
        GTEST_SKIP() << "only root can make itself another user";
    const auto elevator = folder.path() / "elevator";
    fs::copy_file("/usr/bin/setpriv", elevator);
    fs::permissions(folder.path(), fs::perms(0755));
    ASSERT_EQ(::chmod(elevator.c_str(), 04755), 0);
    const pid_t user = test_support::startInChild([&] {
        if (::setresuid(65534, 65534, 65534) != 0)
            return 10;
        std::optional<int> result = 77;
        std::thread thread([&] {
            result = runProgram({elevator, {"--reuid", "0", "/bin/sleep", "30"}, {}, {}});
        });
        const bool runs = test_support::waitUntil([&] { return fs::exists(folder.path() / "go"); });
        const auto start = Clock::now();
        platform::stopPrograms();
        thread.join();
        const bool isPrompt = Clock::now() - start < std::chrono::milliseconds(500);
        return runs && isPrompt && !result ? 0 : 11;
    });
    EXPECT_TRUE(test_support::waitUntil([] { return test_support::processesOf("sleep").size() == 1; }));
    test_support::writeFile(folder.path() / "go", "");
    EXPECT_EQ(test_support::statusOf(user), 0);
    const auto left = test_support::processesOf("sleep");
    EXPECT_EQ(left.size(), 1U);
    for (const pid_t process : left)
        ::kill(process, SIGKILL);
}

} // namespace
