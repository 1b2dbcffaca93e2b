#include "discovery/MainQueue.h"

#include <QCoreApplication>
#include <QStringList>
#include <QThread>
#include <array>
#include <gmock/gmock.h>
#include <thread>

namespace {

using testing::ElementsAre;

class MainQueue : public testing::Test {
protected:
    static void quitLast() {
        platform::onMainQueue([] { QCoreApplication::quit(); });
    }

    int argumentCount = 1;
    char name[5] = "test";
    char *arguments[2] = {name, nullptr};
    QCoreApplication application{argumentCount, arguments};
    std::vector<int> order;
};

TEST_F(MainQueue, RunsWorkInTheOrderInWhichItWasHandedOver) {
    for (int i = 0; i < 5; ++i)
        platform::onMainQueue([this, i] { order.push_back(i); });
    quitLast();
    QCoreApplication::exec();
    EXPECT_THAT(order, ElementsAre(0, 1, 2, 3, 4));
}

TEST_F(MainQueue, RunsNothingBeforeTheLoopStarts) {
    platform::onMainQueue([this] { order.push_back(1); });
    EXPECT_TRUE(order.empty());
    quitLast();
    QCoreApplication::exec();
    EXPECT_THAT(order, ElementsAre(1));
}

TEST_F(MainQueue, NeverRunsWorkWithinTheCallThatHandsItOver) {
    platform::onMainQueue([this] {
        platform::onMainQueue([this] { order.push_back(2); });
        order.push_back(1);
        quitLast();
    });
    QCoreApplication::exec();
    EXPECT_THAT(order, ElementsAre(1, 2));
}

TEST_F(MainQueue, RunsWorkOfAnotherThreadOnTheMainThread) {
    QThread *ranOn = nullptr;
    std::thread([&] {
        platform::onMainQueue([&] {
            ranOn = QThread::currentThread();
            QCoreApplication::quit();
        });
    }).join();
    QCoreApplication::exec();
    EXPECT_EQ(ranOn, application.thread());
}

TEST_F(MainQueue, LosesNothingOfWhatManyThreadsHandOverWhileTheLoopRuns) {
    constexpr int each = 500;
    int done = 0;
    std::array<std::thread, 4> threads;
    for (std::thread &thread : threads)
        thread = std::thread([&done] {
            for (int j = 0; j < each; ++j)
                platform::onMainQueue([&done] {
                    if (++done == 4 * each)
                        QCoreApplication::quit();
                });
        });
    platform::onMainQueueAfter(std::chrono::seconds(30), [] { QCoreApplication::exit(1); });
    EXPECT_EQ(QCoreApplication::exec(), 0);
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(done, 4 * each);
}

TEST_F(MainQueue, NeverRunsWorkHandedOverAfterTheLoopHasEnded) {
    quitLast();
    QCoreApplication::exec();
    platform::onMainQueue([this] { order.push_back(1); });
    EXPECT_TRUE(order.empty());
}

TEST(MainQueueDeathTest, DropsWorkOnceItIsClosedAndTheApplicationIsGone) {
    const auto endWithWork = [] {
        int argumentCount = 0;
        {
            const QCoreApplication application(argumentCount, nullptr);
            platform::closeMainQueue();
        }
        std::thread([] { platform::onMainQueue([] { std::_Exit(1); }); }).join();
        std::_Exit(0);
    };
    EXPECT_EXIT(endWithWork(), testing::ExitedWithCode(0), "");
}

TEST_F(MainQueue, RunsDelayedWorkAfterItsDelayAndBehindWorkWithoutOne) {
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::milliseconds delay(60);
    const auto start = Clock::now();
    Clock::duration waited{};
    platform::onMainQueueAfter(delay, [&] {
        waited = Clock::now() - start;
        order.push_back(2);
        QCoreApplication::quit();
    });
    platform::onMainQueue([this] { order.push_back(1); });
    QCoreApplication::exec();
    EXPECT_GE(waited, delay);
    EXPECT_THAT(order, ElementsAre(1, 2));
}

} // namespace
