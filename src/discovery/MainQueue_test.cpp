#include "discovery/MainQueue.h"

#include <QTimer>
#include <gmock/gmock.h>
#include <thread>

namespace {

// Work that other threads hand over is tested with the status line and the capture.
TEST(MainQueue, RunsWorkInOrderFromTheLoop) {
    int argumentCount = 0;
    const QCoreApplication application(argumentCount, nullptr);
    std::vector<int> order;
    for (int i = 0; i < 3; ++i)
        onMainQueue([&order, i] { order.push_back(i); });
    EXPECT_TRUE(order.empty());
    onMainQueue([&] {
        onMainQueue([&] {
            order.push_back(4);
            QCoreApplication::quit();
        });
        order.push_back(3);
    });
    QCoreApplication::exec();
    onMainQueue([&] { order.push_back(5); });
    EXPECT_THAT(order, testing::ElementsAre(0, 1, 2, 3, 4)) << "nothing runs after the loop has ended";
}

TEST(MainQueue, WorkForAnObjectIsDroppedWithIt) {
    auto object = std::make_unique<QObject>();
    int sum = 0;
    const auto add = whileAlive(object.get(), [&](int first, int second) { sum += first + second; });
    add(1, 2);
    object.reset();
    add(4, 8);
    EXPECT_EQ(sum, 3);
}

TEST(MainQueueDeathTest, DropsWorkOnceItIsClosed) {
    const auto endWithWork = [] {
        int argumentCount = 0;
        const QCoreApplication application(argumentCount, nullptr);
        closeMainQueue();
        std::thread([] { onMainQueue([] { std::_Exit(1); }); }).join();
        QTimer::singleShot(std::chrono::milliseconds(10), [] { std::_Exit(0); });
        QCoreApplication::exec();
    };
    EXPECT_EXIT(endWithWork(), testing::ExitedWithCode(0), "");
}

} // namespace
