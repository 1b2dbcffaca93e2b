#include "app/AppDelegate.h"

#include "test_support/LoggedTest.h"

#include <QCoreApplication>
#include <thread>

// The launch sequence and the silent pipeline are tested with the shipped bundle.

namespace {

using KillApp = test_support::LoggedTest;

TEST_F(KillApp, ReturnsAtOnceFromAnyThreadAndEndsTheEventLoopAfterItsLine) {
    int count = 1;
    char name[] = "test";
    char *arguments[] = {name, nullptr};
    const QCoreApplication application(count, arguments);
    AppDelegate::KillApp(QStringLiteral("the reason"));
    EXPECT_FALSE(std::filesystem::exists(log));
    EXPECT_EQ(QCoreApplication::exec(), 0);
    std::thread([] { AppDelegate::KillApp(QStringLiteral("from elsewhere")); }).join();
    EXPECT_EQ(QCoreApplication::exec(), 0);
    EXPECT_THAT(said(), testing::ElementsAre("INFO: the reason", "INFO: from elsewhere"));
}

} // namespace
