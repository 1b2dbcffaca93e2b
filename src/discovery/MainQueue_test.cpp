#include "discovery/MainQueue.h"

#include <gmock/gmock.h>
#include <thread>

namespace {

class MainQueue : public testing::Test {
protected:
    int argumentCount = 1;
    char name[5] = "test";
    char *arguments[2] = {name, nullptr};
    QCoreApplication application{argumentCount, arguments};
    std::vector<int> order;
};

TEST_F(MainQueue, RunsWorkInOrderFromTheLoopAndDelayedWorkAfterItsDelay) {
    constexpr std::chrono::milliseconds delay(60);
    const auto start = std::chrono::steady_clock::now();
    std::chrono::steady_clock::duration waited{};
    onMainQueueAfter(delay, [&] {
        waited = std::chrono::steady_clock::now() - start;
        order.push_back(5);
        QCoreApplication::quit();
    });
    for (int i = 0; i < 3; ++i)
        onMainQueue([this, i] { order.push_back(i); });
    EXPECT_TRUE(order.empty());
    onMainQueue([this] {
        onMainQueue([this] { order.push_back(4); });
        order.push_back(3);
    });
    QCoreApplication::exec();
    onMainQueue([this] { order.push_back(6); });
    EXPECT_THAT(order, testing::ElementsAre(0, 1, 2, 3, 4, 5)) << "nothing runs after the loop has ended";
    EXPECT_GE(waited, delay);
}

TEST_F(MainQueue, LosesNothingOfWhatThreadsHandOverWhileTheLoopRuns) {
    const auto mainThread = std::this_thread::get_id();
    const auto handOver = [&] {
        for (int i = 0; i < 500; ++i)
            onMainQueue([&, text = QString::number(i)] {
                EXPECT_EQ(std::this_thread::get_id(), mainThread);
                order.push_back(text.toInt());
                if (order.size() == 1000)
                    QCoreApplication::quit();
            });
    };
    std::thread one(handOver);
    std::thread other(handOver);
    onMainQueueAfter(std::chrono::seconds(30), [] { QCoreApplication::exit(1); });
    EXPECT_EQ(QCoreApplication::exec(), 0);
    one.join();
    other.join();
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
