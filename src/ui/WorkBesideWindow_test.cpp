#include "ui/WorkBesideWindow.h"

#include "discovery/MainQueue.h"
#include "ui/WindowTest.h"

#include <QKeyEvent>
#include <QWindow>
#include <atomic>
#include <thread>

// The door by which a platform hands over what the user does; its header is not installed everywhere.
QT_BEGIN_NAMESPACE
class QWindowSystemInterface {
public:
    struct AsynchronousDelivery {};
    template <typename Delivery>
    static bool handleKeyEvent(QWindow *window, QEvent::Type type, int key, Qt::KeyboardModifiers modifiers,
                               const QString &text, bool repeated, ushort count);
};
QT_END_NAMESPACE

namespace {

using namespace std::chrono_literals;

class WorkBesideWindowTest : public WindowTest {};

TEST_F(WorkBesideWindowTest, GivesTheResult) {
    EXPECT_EQ(workBesideWindow([] { return true; }), true);
    EXPECT_EQ(workBesideWindow([] { return false; }), false);
}

TEST_F(WorkBesideWindowTest, WorksOnAnotherThread) {
    std::thread::id worker;
    workBesideWindow([&] {
        worker = std::this_thread::get_id();
        return true;
    });
    EXPECT_NE(worker, std::this_thread::get_id());
    EXPECT_NE(worker, std::thread::id());
}

TEST_F(WorkBesideWindowTest, WhatIsHandedToTheMainQueueRunsMeanwhile) {
    std::atomic<int> turns = 0;
    const auto main = std::this_thread::get_id();
    const auto result = workBesideWindow([&] {
        for (int i = 0; i < 3; ++i)
            platform::onMainQueue([&] { turns += std::this_thread::get_id() == main ? 1 : 0; });
        const auto deadline = std::chrono::steady_clock::now() + 10s;
        while (turns < 3 && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(1ms);
        return turns == 3;
    });
    EXPECT_EQ(result, true);
}

TEST_F(WorkBesideWindowTest, TimersRunMeanwhile) {
    std::atomic<int> turns = 0;
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, &timer, [&] { ++turns; });
    timer.start(1);
    const auto result = workBesideWindow([&] {
        const auto deadline = std::chrono::steady_clock::now() + 10s;
        while (turns < 5 && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(1ms);
        return turns >= 5;
    });
    EXPECT_EQ(result, true);
}

class KeyWindow : public QWindow {
public:
    int keys = 0;

private:
    void keyPressEvent(QKeyEvent *) override { ++keys; }
};

// The closing of the window is an event of the user's too.
TEST_F(WorkBesideWindowTest, TheUserIsHeardMeanwhile) {
    KeyWindow window;
    window.show();
    test_support::runMainQueueFor(20ms);
    std::atomic<int> keysMeanwhile = -1;
    workBesideWindow([&] {
        platform::onMainQueue([&] {
            using Platform = QWindowSystemInterface;
            Platform::handleKeyEvent<Platform::AsynchronousDelivery>(
                &window, QEvent::KeyPress, Qt::Key_Space, Qt::NoModifier, QStringLiteral(" "), false, 1);
        });
        const auto deadline = std::chrono::steady_clock::now() + 10s;
        while (keysMeanwhile < 1 && std::chrono::steady_clock::now() < deadline) {
            platform::onMainQueue([&] { keysMeanwhile = window.keys; });
            std::this_thread::sleep_for(1ms);
        }
        return true;
    });
    EXPECT_EQ(keysMeanwhile, 1);
}

TEST_F(WorkBesideWindowTest, TheEndOfTheProgramEndsTheWaitPromptly) {
    std::atomic<bool> mayEnd = false;
    std::atomic<bool> hasEnded = false;
    std::optional<bool> result = true;
    std::chrono::steady_clock::duration waited{};
    platform::onMainQueue([&] {
        const auto start = std::chrono::steady_clock::now();
        result = workBesideWindow([&] {
            while (!mayEnd)
                std::this_thread::sleep_for(1ms);
            hasEnded = true;
            return true;
        });
        waited = std::chrono::steady_clock::now() - start;
    });
    platform::onMainQueueAfter(50ms, [] { QCoreApplication::quit(); });
    QCoreApplication::exec();
    EXPECT_EQ(result, std::nullopt);
    EXPECT_LT(waited, 1s);
    // The work goes on by itself, and its end finds nobody.
    EXPECT_FALSE(hasEnded);
    mayEnd = true;
    EXPECT_TRUE(test_support::runMainQueueUntil([&] { return hasEnded.load(); }));
    test_support::runMainQueueFor(20ms);
}

TEST_F(WorkBesideWindowTest, WorkWithinAWorksTurnHasItsOwnResult) {
    std::optional<bool> inner;
    std::atomic<bool> innerEnded = false;
    platform::onMainQueue([&] {
        inner = workBesideWindow([] { return false; });
        innerEnded = true;
    });
    const auto outer = workBesideWindow([&] {
        const auto deadline = std::chrono::steady_clock::now() + 10s;
        while (!innerEnded && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(1ms);
        return true;
    });
    EXPECT_EQ(inner, false);
    EXPECT_EQ(outer, true);
}

} // namespace
