#include "platform/SerialQueue.h"

#include "test_support/ProgramRun.h"
#include "test_support/ScratchHome.h"

#include <atomic>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;
using platform::SerialQueue;

TEST(SerialQueue, RunsWorkInOrderOneAfterTheOtherOnOneNamedThread) {
    std::vector<int> order;
    std::vector<std::thread::id> threads;
    std::atomic<int> atATime = 0;
    std::atomic<bool> done = false;
    QByteArray name;
    SerialQueue queue("MonitoringQueue");
    for (int i = 0; i < 50; ++i)
        queue.submit([&, i] {
            EXPECT_EQ(++atATime, 1);
            order.push_back(i);
            threads.push_back(std::this_thread::get_id());
            --atATime;
        });
    queue.submit([&] {
        name = test_support::readFile("/proc/self/task/" + std::to_string(::gettid()) + "/comm");
        done = true;
    });
    ASSERT_TRUE(test_support::waitUntil([&] { return done.load(); }));
    ASSERT_TRUE(queue.stop(10s));
    ASSERT_EQ(order.size(), 50U);
    for (int i = 0; i < 50; ++i)
        EXPECT_EQ(order[static_cast<std::size_t>(i)], i);
    for (const auto thread : threads) {
        EXPECT_EQ(thread, threads.front());
        EXPECT_NE(thread, std::this_thread::get_id());
    }
    EXPECT_EQ(name, "MonitoringQueue\n");
}

TEST(SerialQueue, StopsBehindTheWorkThatRunsAndDropsTheRest) {
    std::atomic<int> begun = 0;
    std::atomic<bool> ended = false;
    SerialQueue queue("test");
    queue.submit([&] {
        ++begun;
        std::this_thread::sleep_for(50ms);
        ended = true;
    });
    queue.submit([&] { ++begun; });
    ASSERT_TRUE(test_support::waitUntil([&] { return begun == 1; }));
    EXPECT_TRUE(queue.stop(10s));
    EXPECT_TRUE(ended);
    EXPECT_EQ(begun, 1);
    queue.submit([&] { ++begun; });
    EXPECT_TRUE(queue.stop(0ms));
    EXPECT_EQ(begun, 1);
}

TEST(SerialQueue, DoesNotWaitForEverForWorkThatHangs) {
    std::atomic<bool> hasBegun = false;
    std::atomic<bool> mayEnd = false;
    SerialQueue queue("test");
    queue.submit([&] {
        hasBegun = true;
        EXPECT_TRUE(test_support::waitUntil([&] { return mayEnd.load(); }));
    });
    ASSERT_TRUE(test_support::waitUntil([&] { return hasBegun.load(); }));
    const auto before = std::chrono::steady_clock::now();
    EXPECT_FALSE(queue.stop(50ms));
    EXPECT_GE(std::chrono::steady_clock::now() - before, 50ms);
    EXPECT_LT(std::chrono::steady_clock::now() - before, 5s);
    mayEnd = true;
    EXPECT_TRUE(queue.stop(10s));
}

TEST(SerialQueue, WithoutWorkHasNothingToWaitFor) {
    SerialQueue queue("test");
    EXPECT_TRUE(queue.stop(0ms));
}

} // namespace
