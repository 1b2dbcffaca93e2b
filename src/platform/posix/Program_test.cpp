#include "platform/posix/Program.h"

#include "platform/posix/FileDescriptor.h"
#include "test_support/ProgramRun.h"
#include "test_support/ScratchHome.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <thread>

namespace fs = std::filesystem;

namespace {

using platform::outcomeOf;
using platform::Program;
using platform::ProgramOutcome;
using platform::runProgram;

class RunProgram : public testing::Test {
protected:
    using Clock = std::chrono::steady_clock;

    // A line of shell script with these arguments, in the scratch folder.
    Program shell(const std::string &script, const std::vector<std::string> &arguments = {}) const {
        Program program{.path = "/bin/sh", .arguments = {"-c", script, "sh"}, .workingFolder = folder.path()};
        program.arguments.insert(program.arguments.end(), arguments.begin(), arguments.end());
        return program;
    }
    std::optional<int> run(const std::string &script) const { return runProgram(shell(script)); }
    QByteArray written() { return test_support::readFile(folder.path() / "out"); }

    test_support::ScratchFolder folder;
};

bool isCutShort(const ProgramOutcome &outcome) {
    return !outcome.exitStatus && outcome.signal == 0 && !outcome.startError;
}

// --- Starting ---

TEST_F(RunProgram, GivesTheStatusTheSignalOrTheErrorOfTheStart) {
    for (const int status : {0, 7, 255})
        EXPECT_EQ(run("exit " + std::to_string(status)), status);
    const auto killed = outcomeOf(shell("echo why >&2; kill -TERM $$"));
    EXPECT_FALSE(killed.exitStatus || killed.startError);
    EXPECT_EQ(killed.signal, SIGTERM);
    EXPECT_EQ(killed.errorOutput, "why\n");

    const auto script = folder.path() / "script";
    test_support::writeFile(script, "no program");
    fs::permissions(script, fs::perms::owner_all);
    const std::pair<Program, std::errc> failures[] = {
        {{.path = "/nowhere/at all"}, std::errc::no_such_file_or_directory},
        {{.path = "/etc/passwd"}, std::errc::permission_denied},
        {{.path = script}, std::errc::executable_format_error},
        {{.path = "/bin/true", .workingFolder = folder.path() / "missing"},
         std::errc::no_such_file_or_directory}};
    for (const auto &[program, error] : failures) {
        const auto failed = outcomeOf(program);
        EXPECT_EQ(failed.startError, error) << program.path;
        EXPECT_EQ(failed.startErrorPath, program.path);
        EXPECT_EQ(failed.exitStatus, std::nullopt);
    }
}

TEST_F(RunProgram, PassesArgumentsFolderAndVariablesAsTheyAreWhateverTheyHold) {
    EXPECT_EQ(runProgram(shell("printf '<%s>' \"$@\" > out",
                               {"\xff\xfe", "", "two words", "$HOME `id` \"'", "\n", "*"})),
              0);
    EXPECT_EQ(written(), "<\xff\xfe><><two words><$HOME `id` \"'><\n><*>");
    const auto odd = folder.path() / "\xff";
    fs::create_directory(odd);
    for (const auto &place : {odd, fs::path()})
        EXPECT_EQ(outcomeOf({.path = "/bin/pwd", .workingFolder = place, .keptOutputBytes = 1000}).output,
                  QByteArray::fromStdString((place.empty() ? fs::current_path() : odd).native() + "\n"));

    const test_support::ScopedEnvironment inherited("LUMAMON_A", "a");
    const test_support::ScopedEnvironment replaced("LUMAMON_B", "b");
    const test_support::ScopedEnvironment similar("LUMAMON_BB", "bb");
    Program program = shell("env | grep -a ^LUMAMON_ | LC_ALL=C sort > out");
    program.variables = {{"LUMAMON_B", "new=\xff"}, {"LUMAMON_C", ""}};
    EXPECT_EQ(runProgram(program), 0);
    EXPECT_EQ(written(), "LUMAMON_A=a\nLUMAMON_B=new=\xff\nLUMAMON_BB=bb\nLUMAMON_C=\n");
    EXPECT_STREQ(std::getenv("LUMAMON_B"), "b");
}

TEST_F(RunProgram, GivesItNothingButItsThreeStreamsOnTheNullDevice) {
    const platform::FileDescriptor own(::open("/dev/zero", O_RDONLY | O_CLOEXEC));
    EXPECT_EQ(run("ls -l /proc/$$/fd > out; exit 0"), 0);
    qsizetype expected = 3;
    // Whoever started this process may have left it more.
    for (int i = 3; i < 100; ++i) {
        std::error_code error;
        const bool isOnNull = fs::read_symlink("/proc/self/fd/" + std::to_string(i), error) == "/dev/null";
        expected += isOnNull && (::fcntl(i, F_GETFD) & FD_CLOEXEC) == 0 ? 1 : 0;
    }
    EXPECT_EQ(written().count(" -> /dev/null\n"), expected);
    EXPECT_FALSE(written().contains("/dev/zero"));
}

TEST_F(RunProgram, RunsInSeveralThreadsAtATimeAndLeavesNoDescriptorsOpen) {
    const auto count = [] {
        return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
    };
    // The first program of all brings what stops them.
    run("exit 0");
    const auto before = count();
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([this, i] {
            for (int j = 0; j < 10; ++j)
                EXPECT_EQ(run("exit " + std::to_string(i)), i);
        });
    for (std::thread &thread : threads)
        thread.join();
    for (const char *path : {"/bin/echo", "/nowhere"})
        outcomeOf({.path = path, .standardOutput = folder.path() / "output"});
    EXPECT_EQ(count(), before);
}

// --- Output ---

TEST_F(RunProgram, WritesItsOutputToANewFileOfTheUsersAlone) {
    const auto out = folder.path() / "out";
    const auto target = folder.path() / "target";
    test_support::writeFile(target, "much longer than what comes");
    fs::permissions(target, fs::perms(0644));
    fs::create_hard_link(target, out);
    Program program = shell("echo new; echo err >&2");
    program.standardOutput = out;
    EXPECT_EQ(runProgram(program), 0);
    EXPECT_EQ(written(), "new\n");
    EXPECT_EQ(fs::status(out).permissions(), fs::perms(0600));
    program.path = "/nowhere/at all";
    EXPECT_EQ(outcomeOf(program).startErrorPath, program.path);
    EXPECT_FALSE(fs::exists(out));

    fs::create_symlink(target, folder.path() / "link");
    fs::create_symlink(folder.path() / "missing", folder.path() / "dangling");
    ASSERT_EQ(::mkfifo((folder.path() / "pipe").c_str(), 0600), 0);
    for (const char *name : {"link", "dangling", "pipe", "nowhere/file"}) {
        SCOPED_TRACE(name);
        program = shell("touch started");
        program.standardOutput = folder.path() / name;
        const auto outcome = outcomeOf(program);
        EXPECT_TRUE(outcome.startError && !outcome.exitStatus);
        EXPECT_EQ(outcome.startErrorPath, program.standardOutput);
    }
    EXPECT_FALSE(fs::exists(folder.path() / "started") || fs::exists(folder.path() / "missing"));
    EXPECT_EQ(test_support::readFile(target), "much longer than what comes");
}

TEST_F(RunProgram, KeepsTheBeginningOfErrorsAndOfOutputIfWantedAndReadsThemAll) {
    // Sixteen times what a pipe holds; the program ends only when all of it is taken.
    const auto outcome = outcomeOf(shell("printf begin >&2; head -c 1048576 /dev/zero >&2; exit 5"));
    EXPECT_EQ(outcome.exitStatus, 5);
    EXPECT_EQ(outcome.errorOutput, "begin" + QByteArray(platform::errorOutputLimitBytes - 5, '\0'));
    Program program = shell("seq 100000");
    EXPECT_EQ(outcomeOf(program).output, "");
    program.keptOutputBytes = 300'000;
    const QByteArray output = outcomeOf(program).output;
    EXPECT_EQ(output.size(), 300'000);
    EXPECT_TRUE(output.startsWith("1\n2\n3\n"));

    // It does not wait for whoever still holds the streams.
    const auto quiet = outcomeOf(shell("sleep 1000 & echo said >&2; exit 4"));
    EXPECT_EQ(quiet.exitStatus, 4);
    EXPECT_EQ(quiet.errorOutput, "said\n");
    const auto loud = outcomeOf(shell("yes >&2 & exit 4"));
    EXPECT_EQ(loud.exitStatus, 4);
    EXPECT_LE(loud.errorOutput.size(), platform::errorOutputLimitBytes);
}

// --- Ending ---

// A program whose parent has ended becomes this process's child, which sees how it ended.
TEST_F(RunProgram, DiesWhenTheProcessThatRunsItIsKilledOrEndedByAnotherThread) {
    ASSERT_EQ(::prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
    const auto out = folder.path() / "out";
    const auto orphan = [&] {
        EXPECT_TRUE(test_support::waitUntil([&] { return fs::exists(out); }));
        return written().trimmed().toInt();
    };
    for (const bool isKilled : {true, false}) {
        fs::remove(out);
        const pid_t runner = test_support::startInChild([&] {
            if (!isKilled)
                std::thread([&] {
                    orphan();
                    std::_Exit(9);
                }).detach();
            return run("echo $$ > pid.new; mv pid.new out; exec sleep 1000") ? 1 : 2;
        });
        const pid_t process = orphan();
        if (isKilled)
            ::kill(runner, SIGKILL);
        EXPECT_EQ(test_support::statusOf(runner), isKilled ? 128 + SIGKILL : 9);
        EXPECT_EQ(test_support::statusOf(process), 128 + SIGKILL);
    }
}

TEST_F(RunProgram, KillsAProgramThatOutlastsItsTimeLimitOrIsCancelledAndNoOther) {
    Program program = shell("echo said >&2; echo $$ > out; exec sleep 100");
    program.timeLimit = std::chrono::seconds(1);
    const auto before = Clock::now();
    const auto outcome = outcomeOf(program);
    EXPECT_GE(Clock::now() - before, *program.timeLimit);
    EXPECT_TRUE(isCutShort(outcome));
    EXPECT_EQ(outcome.errorOutput, "said\n");
    EXPECT_EQ(::kill(written().trimmed().toInt(), 0), -1);

    program = shell("sleep 0.1; exit 7");
    program.timeLimit = std::chrono::hours(24 * 365);
    std::atomic<bool> isCancelled = false;
    program.cancelled = &isCancelled;
    EXPECT_EQ(runProgram(program), 7);
    isCancelled = true;
    program = shell("echo $$ > out; exec sleep 1000");
    program.cancelled = &isCancelled;
    EXPECT_TRUE(isCutShort(outcomeOf(program)));
}

// Each of the programs would run for longer than a test may.
TEST_F(RunProgram, EndsAllThatRunsWhenStoppedAndLetsNothingStart) {
    std::vector<std::thread> threads;
    for (const char *rest : {"exec sleep 1000", "exec sleep 1000", "kill -STOP $$"})
        threads.emplace_back([this, rest] {
            EXPECT_EQ(
                run(std::string("trap '' TERM; echo $$ >> pids; [ $(wc -l < pids) = 3 ] && touch out; ") +
                    rest),
                std::nullopt);
        });
    EXPECT_TRUE(test_support::waitUntil([this] { return fs::exists(folder.path() / "out"); }));
    platform::stopPrograms();
    for (std::thread &thread : threads)
        thread.join();
    const auto processes = test_support::readFile(folder.path() / "pids").trimmed().split('\n');
    EXPECT_EQ(processes.size(), 3);
    for (const QByteArray &process : processes)
        EXPECT_EQ(::kill(process.toInt(), 0), -1);

    EXPECT_EQ(run("echo x > later"), std::nullopt);
    EXPECT_FALSE(fs::exists(folder.path() / "later"));
    EXPECT_TRUE(isCutShort(outcomeOf(shell("exit 0"))));
}

// A program that has gained an administrator's rights cannot be killed by this process.
TEST_F(RunProgram, GoesOnWithoutAProgramOfAnotherUserWhenStopped) {
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
            result = runProgram({elevator, {"--reuid", "0", "/bin/sleep", "1000"}, {}, {}});
        });
        const bool runs = test_support::waitUntil([&] { return fs::exists(folder.path() / "go"); });
        platform::stopPrograms();
        thread.join();
        return runs && !result ? 0 : 11;
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
