#include "app/TimeoutManager.h"

#include "platform/posix/Program.h"
#include "test_support/LogReader.h"
#include "test_support/ScratchHome.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;

class TimeoutManagerTest : public testing::Test {
protected:
    TimeoutManagerTest() { testing::FLAGS_gtest_death_test_style = "threadsafe"; }

    void runOut(const std::function<void()> &task) { TimeoutManager::shared().runWithTimeout(0.2s, task); }
};

TEST_F(TimeoutManagerTest, ATaskThatReturnsInTimeIsLeftAlone) {
    const test_support::ScratchHome home;
    const auto log = test_support::startLog();
    bool ran = false;
    const auto caller = std::this_thread::get_id();
    TimeoutManager::shared().runWithTimeout(0.3s, [&] { ran = std::this_thread::get_id() == caller; });
    EXPECT_TRUE(ran);
    std::this_thread::sleep_for(500ms);
    EXPECT_FALSE(std::filesystem::exists(log));
}

TEST_F(TimeoutManagerTest, ALongTimeoutDoesNotHoldUpTheEndOfAShortTask) {
    const auto begin = std::chrono::steady_clock::now();
    TimeoutManager::shared().runWithTimeout(300s, [] {});
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s);
}

TEST_F(TimeoutManagerTest, ATaskThatIsTooLongEndsTheProcessWithStatusOneAndALine) {
    const test_support::ScratchHome home;
    const auto log = home.caches() / "Logs/LumadocDiagnosticsDebugOutput.log";
    const pid_t child = ::fork();
    if (child == 0) {
        test_support::startLog();
        runOut([] { std::this_thread::sleep_for(20s); });
        ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 1 << 8);
    EXPECT_EQ(test_support::logLines(log), QStringList{QStringLiteral("INFO: Task timed out.")});
}

TEST_F(TimeoutManagerTest, ATaskStuckInAFileOperationEndsToo) {
    const test_support::ScratchFolder folder;
    const auto pipe = folder.path() / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EXIT(runOut([&] { ::open(pipe.c_str(), O_RDONLY); }), testing::ExitedWithCode(1), "");
}

TEST_F(TimeoutManagerTest, ATaskStuckInAChildProcessLeavesNoChildBehind) {
    const test_support::ScratchFolder folder;
    const auto mark = folder.path() / "pid";
    const pid_t child = ::fork();
    if (child == 0) {
        runOut([&] {
            platform::runProgram({.path = "/bin/sh",
                                  .arguments = {"-c", "echo $$ > pid; exec sleep 20"},
                                  .workingFolder = folder.path(),
                                  .variables = {}});
        });
        ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 1 << 8);
    const pid_t grandchild = test_support::readFile(mark).trimmed().toInt();
    ASSERT_GT(grandchild, 0);
    for (int i = 0; i < 100 && ::access(("/proc/" + std::to_string(grandchild) + "/exe").c_str(), F_OK) == 0;
         ++i)
        std::this_thread::sleep_for(20ms);
    EXPECT_NE(::access(("/proc/" + std::to_string(grandchild) + "/exe").c_str(), F_OK), 0);
}

} // namespace
