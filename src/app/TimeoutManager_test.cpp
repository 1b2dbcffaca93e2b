#include "app/TimeoutManager.h"

#include "discovery/RunState.h"
#include "platform/posix/Program.h"
#include "test_support/Isolation.h"
#include "test_support/LoggedTest.h"
#include "test_support/ProgramRun.h"

#include <thread>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;

using Timeout = test_support::LoggedTest;

TEST_F(Timeout, LeavesATaskAloneThatReturnsInTime) {
    std::thread::id runner;
    TimeoutManager::shared().runWithTimeout(1s, [&] { runner = std::this_thread::get_id(); });
    EXPECT_EQ(runner, std::this_thread::get_id());
    std::this_thread::sleep_for(1300ms);
    const auto begin = std::chrono::steady_clock::now();
    TimeoutManager::shared().runWithTimeout(300s, [] {});
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s);
    EXPECT_FALSE(std::filesystem::exists(log));
}

TEST_F(Timeout, EndsTheProcessAndItsChildrenWithStatusOneAndALine) {
    EXPECT_EQ(test_support::statusInChild([&] {
                  TimeoutManager::shared().runWithTimeout(1s, [this] {
                      platform::runProgram({.path = "/bin/sh",
                                            .arguments = {"-c", "echo $$ > pid; exec sleep 20"},
                                            .workingFolder = home.path(),
                                            .variables = {}});
                  });
                  return 0;
              }),
              1);
    EXPECT_THAT(said(), testing::ElementsAre("INFO: Task timed out."));
    const auto child = test_support::readFile(home.path() / "pid").trimmed().toStdString();
    ASSERT_FALSE(child.empty());
    EXPECT_TRUE(
        test_support::waitUntil([&] { return ::access(("/proc/" + child + "/exe").c_str(), F_OK) != 0; }));
}

TEST_F(Timeout, EndsTheProcessAlsoWhereNoThreadCanBeHad) {
    if (!test_support::canEnter(test_support::enterNoThreads))
        GTEST_SKIP() << "this user cannot run programs as somebody else";
    const auto statusAfter = [&](std::chrono::milliseconds work) {
        return test_support::statusInChild([&] {
            test_support::enterNoThreads();
            TimeoutManager::shared().runWithTimeout(1s, [=] { std::this_thread::sleep_for(work); });
            std::this_thread::sleep_for(1300ms);
            return 7;
        });
    };
    test_support::writeFile(log, "");
    test_support::giveToUserWithoutThreads(home.path());
    UtilityFunctions::lumamonLogFileURL = log;
    EXPECT_EQ(statusAfter(1ms), 7);
    EXPECT_EQ(statusAfter(60s), 1);
    EXPECT_THAT(said(), testing::ElementsAre("INFO: Task timed out."));
}

} // namespace
