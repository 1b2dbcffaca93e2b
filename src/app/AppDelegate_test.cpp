#include "app/AppDelegate.h"

#include "test_support/LogReader.h"
#include "test_support/ScratchHome.h"

#include <QCoreApplication>
#include <gtest/gtest.h>
#include <thread>

// The launch sequence and the silent pipeline are tested with the shipped bundle.

namespace {

using test_support::logLines;

class KillAppTest : public testing::Test {
protected:
    test_support::ScratchHome home;
    std::filesystem::path log = test_support::startLog();
    int count = 1;
    char name[5] = "test";
    char *arguments[2] = {name, nullptr};
    QCoreApplication application{count, arguments};
};

TEST_F(KillAppTest, ReturnsAtOnceAndEndsTheEventLoopBehindItsLine) {
    AppDelegate::KillApp(QStringLiteral("the reason"));
    EXPECT_FALSE(std::filesystem::exists(log));
    EXPECT_EQ(QCoreApplication::exec(), 0);
    EXPECT_EQ(logLines(log), QStringList{QStringLiteral("INFO: the reason")});
}

TEST_F(KillAppTest, MayBeCalledFromAnyThread) {
    std::thread([] { AppDelegate::KillApp(QStringLiteral("from elsewhere")); }).join();
    EXPECT_EQ(QCoreApplication::exec(), 0);
    EXPECT_EQ(logLines(log), QStringList{QStringLiteral("INFO: from elsewhere")});
}

} // namespace
