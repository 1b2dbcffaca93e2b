#include "platform/Program.h"

#include "platform/FileDescriptor.h"
#include "test_support/ChildProcess.h"
#include "test_support/ProgramRun.h"
#include "test_support/ScratchHome.h"

#include <QByteArrayList>
#include <chrono>
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

} // namespace
