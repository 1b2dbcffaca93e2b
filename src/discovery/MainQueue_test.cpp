#include "discovery/MainQueue.h"

#include <gmock/gmock.h>
#include <thread>

namespace {

// Work that other threads hand over is tested with the status line and the capture.
TEST(MainQueue, RunsWorkInOrderFromTheLoopAndDelayedWorkAfterItsDelay) {
    int argumentCount = 0;
    const QCoreApplication application(argumentCount, nullptr);
    std::vector<int> order;
    constexpr std::chrono::milliseconds delay(60);
    const auto start = std::chrono::steady_clock::now();
    std::chrono::steady_clock::duration waited{};
    onMainQueueAfter(delay, [&] {
        waited = std::chrono::steady_clock::now() - start;
        order.push_back(5);
        QCoreApplication::quit();
    });
    for (int i = 0; i < 3; ++i)
        onMainQueue([&order, i] { order.push_back(i); });
    EXPECT_TRUE(order.empty());
    onMainQueue([&] {
        onMainQueue([&] { order.push_back(4); });
        order.push_back(3);
    });
    QCoreApplication::exec();
    onMainQueue([&] { order.push_back(6); });
    EXPECT_THAT(order, testing::ElementsAre(0, 1, 2, 3, 4, 5)) << "nothing runs after the loop has ended";
    EXPECT_GE(waited, delay);
}

TEST(MainQueueDeathTest, DropsWorkOnceItIsClosed) {
    const auto endWithWork = [] {
        int argumentCount = 0;
        const QCoreApplication application(argumentCount, nullptr);
        closeMainQueue();
        std::thread([] { onMainQueue([] { std::_Exit(1); }); }).join();
        onMainQueueAfter(std::chrono::milliseconds(10), [] { std::_Exit(0); });
        QCoreApplication::exec();
    };
    EXPECT_EXIT(endWithWork(), testing::ExitedWithCode(0), "");
}

} // namespace
