#include "platform/posix/TerminationSignals.h"

#include "platform/posix/Program.h"
#include "test_support/ChildProcess.h"
#include "test_support/ProgramRun.h"

#include <QCoreApplication>
#include <QTimer>
#include <csignal>
#include <gtest/gtest.h>
#include <thread>

namespace {

class TerminationSignals : public testing::TestWithParam<int> {
protected:
    // In a child process: an application that ends in the orderly way with status 3.
    static int runApplication(const std::function<void()> &work) {
        int count = 1;
        char name[] = "test";
        char *arguments[] = {name, nullptr};
        QCoreApplication application(count, arguments);
        platform::onTerminationRequest([] { QCoreApplication::exit(3); });
        QTimer::singleShot(0, &application, work);
        QTimer::singleShot(std::chrono::seconds(5), &application, [] { QCoreApplication::exit(4); });
        return QCoreApplication::exec();
    }
};

TEST_P(TerminationSignals, EndTheEventLoop) {
    EXPECT_EQ(test_support::statusInChild([] { return runApplication([] { ::raise(GetParam()); }); }), 3);
}

TEST_P(TerminationSignals, AreHeardOnAnyThread) {
    EXPECT_EQ(test_support::statusInChild(
                  [] { return runApplication([] { std::thread([] { ::raise(GetParam()); }).join(); }); }),
              3);
}

TEST_P(TerminationSignals, FreeAMainThreadThatWaitsForAProgram) {
    EXPECT_EQ(test_support::statusInChild([] {
                  return runApplication([] {
                      const pid_t self = ::getpid();
                      std::thread([self] {
                          test_support::waitUntil(
                              [] { return test_support::processesOf("sleep").size() == 1; });
                          ::kill(self, GetParam());
                      }).detach();
                      EXPECT_EQ(platform::runProgram({"/bin/sleep", {"100"}, {}, {}}), std::nullopt);
                  });
              }),
              3);
}

TEST_P(TerminationSignals, EndTheProcessTheSecondTime) {
    EXPECT_EQ(test_support::statusInChild([] {
                  return runApplication([] {
                      ::raise(SIGTERM);
                      ::raise(GetParam());
                  });
              }),
              128 + GetParam());
}

TEST_P(TerminationSignals, EndAProcessWhoseMainThreadHangs) {
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_EQ(test_support::statusInChild([] {
                  return runApplication([] {
                      ::raise(GetParam());
                      std::this_thread::sleep_for(std::chrono::seconds(30));
                  });
              }),
              128 + SIGALRM);
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(4));
}

TEST_P(TerminationSignals, StayIgnoredWhereTheyWere) {
    EXPECT_EQ(test_support::statusInChild([] {
                  std::signal(GetParam(), SIG_IGN);
                  return runApplication([] {
                      ::raise(GetParam());
                      QTimer::singleShot(50, QCoreApplication::instance(), [] { QCoreApplication::exit(5); });
                  });
              }),
              5);
}

TEST_P(TerminationSignals, HaveTheirDefaultActionUntilAskedFor) {
    EXPECT_EQ(test_support::statusInChild([] {
                  ::raise(GetParam());
                  return 0;
              }),
              128 + GetParam());
}

// A program that this one runs takes no part in it.
TEST_P(TerminationSignals, KeepTheirDefaultActionInPrograms) {
    EXPECT_EQ(test_support::statusInChild([] {
                  return runApplication([] {
                      const std::string line = "kill -" + std::to_string(GetParam()) + " $$; exit 7";
                      const auto outcome = platform::outcomeOf({"/bin/sh", {"-c", line}, {}, {}});
                      QCoreApplication::exit(outcome.signal == GetParam() ? 6 : 1);
                  });
              }),
              6);
}

INSTANTIATE_TEST_SUITE_P(Each, TerminationSignals, testing::Values(SIGTERM, SIGINT, SIGHUP));

} // namespace
