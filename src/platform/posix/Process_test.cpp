#include "platform/posix/Process.h"

#include "platform/posix/Program.h"
#include "test_support/ChildProcess.h"
#include "test_support/ProgramRun.h"
#include "test_support/ScratchHome.h"

#include <QCoreApplication>
#include <QTimer>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <numeric>
#include <sys/stat.h>
#include <thread>

namespace fs = std::filesystem;

namespace {

using platform::runProgram;
using test_support::statusInChild;

TEST(PrepareProcess, MakesFilesTheUsersAlone) {
    const test_support::ScratchFolder folder;
    EXPECT_EQ(statusInChild([&] {
                  ::umask(0);
                  platform::prepareProcess();
                  test_support::writeFile(folder.path() / "made/file", "x");
                  return 0;
              }),
              0);
    EXPECT_EQ(fs::status(folder.path() / "made").permissions(), fs::perms::owner_all);
    EXPECT_EQ(fs::status(folder.path() / "made/file").permissions(), fs::perms(0600));
}

// Of the three streams in turn, which are closed?
class ClosedStreams : public testing::TestWithParam<std::vector<int>> {};

TEST_P(ClosedStreams, AreOpenedOnTheNullDeviceAndTheOthersLeftAlone) {
    const auto isNull = [](int stream) {
        std::error_code error;
        return fs::read_symlink("/proc/self/fd/" + std::to_string(stream), error) == "/dev/null";
    };
    EXPECT_EQ(statusInChild([&] {
                  const int zero = ::open("/dev/zero", O_RDWR);
                  for (int stream = 0; stream <= 2; ++stream)
                      ::dup2(zero, stream);
                  for (const int stream : GetParam())
                      ::close(stream);
                  platform::prepareProcess();
                  int nulls = 0;
                  for (int stream = 0; stream <= 2; ++stream)
                      nulls += isNull(stream) ? 1 << stream : 0;
                  return nulls;
              }),
              std::accumulate(GetParam().begin(), GetParam().end(), 0,
                              [](int sum, int stream) { return sum + (1 << stream); }));
}

INSTANTIATE_TEST_SUITE_P(PrepareProcess, ClosedStreams,
                         testing::Values(std::vector<int>{}, std::vector<int>{0}, std::vector<int>{1},
                                         std::vector<int>{2}, std::vector<int>{0, 2}, std::vector<int>{1, 2},
                                         std::vector<int>{0, 1, 2}));

TEST(PrepareProcess, LetsAClosedConnectionDoNoHarm) {
    EXPECT_EQ(statusInChild([] {
                  std::signal(SIGPIPE, SIG_DFL);
                  platform::prepareProcess();
                  int ends[2];
                  if (::pipe(ends) != 0)
                      return 1;
                  ::close(ends[0]);
                  return ::write(ends[1], "x", 1) < 0 && errno == EPIPE ? 0 : 2;
              }),
              0);
}

TEST(PrepareProcess, LeavesThatToThisProcessAlone) {
    EXPECT_EQ(statusInChild([] {
                  platform::prepareProcess();
                  return runProgram({"/bin/sh", {"-c", "kill -PIPE $$; exit 7"}, "/", {}}) ? 1 : 0;
              }),
              0);
}

TEST(PrepareProcess, LetsChildrenBeWaitedForWhoeverStartedIt) {
    EXPECT_EQ(statusInChild([] {
                  std::signal(SIGCHLD, SIG_IGN);
                  platform::prepareProcess();
                  return runProgram({"/bin/sh", {"-c", "exit 7"}, "/", {}}).value_or(1);
              }),
              7);
}

TEST(ExecutablePath, IsTheFirstArgumentWhenThatIsAbsolute) {
    EXPECT_EQ(platform::executablePath({QStringLiteral("/some/where"), QStringLiteral("/else")}),
              "/some/where");
}

TEST(ExecutablePath, IsTheRealPathOtherwise) {
    const auto real = fs::read_symlink("/proc/self/exe");
    EXPECT_EQ(platform::executablePath({QStringLiteral("./program")}), real);
    EXPECT_EQ(platform::executablePath({QString()}), real);
    EXPECT_EQ(platform::executablePath({}), real);
}

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
