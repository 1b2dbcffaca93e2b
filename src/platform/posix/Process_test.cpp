#include "platform/posix/Process.h"

#include "platform/posix/Program.h"
#include "test_support/Isolation.h"
#include "test_support/ProgramRun.h"
#include "test_support/ScratchHome.h"

#include <QCoreApplication>
#include <QTimer>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

using platform::outcomeOf;
using test_support::statusInChild;

platform::Program shell(const std::string &script) {
    return {.path = "/bin/sh", .arguments = {"-c", script}};
}

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

TEST(PrepareProcess, OpensClosedStreamsOnTheNullDeviceAndLeavesTheOthersAlone) {
    // Each set of streams, as bits.
    for (int closed = 0; closed < 8; ++closed) {
        EXPECT_EQ(statusInChild([&] {
                      const int zero = ::open("/dev/zero", O_RDWR);
                      for (int stream = 0; stream <= 2; ++stream) {
                          ::dup2(zero, stream);
                          if ((closed >> stream & 1) != 0)
                              ::close(stream);
                      }
                      platform::prepareProcess();
                      int onNull = 0;
                      for (int stream = 0; stream <= 2; ++stream) {
                          std::error_code error;
                          const auto link = "/proc/self/fd/" + std::to_string(stream);
                          onNull |= fs::read_symlink(link, error) == "/dev/null" ? 1 << stream : 0;
                      }
                      return onNull;
                  }),
                  closed);
    }
}

TEST(PrepareProcess, LetsAClosedConnectionDoNoHarmToThisProcessAloneAndChildrenBeWaitedFor) {
    EXPECT_EQ(statusInChild([] {
                  std::signal(SIGPIPE, SIG_DFL);
                  // Whoever starts this process may have ignored it; then children leave no status.
                  std::signal(SIGCHLD, SIG_IGN);
                  platform::prepareProcess();
                  int ends[2];
                  if (::pipe(ends) != 0)
                      return 1;
                  ::close(ends[0]);
                  if (::write(ends[1], "x", 1) >= 0 || errno != EPIPE)
                      return 2;
                  return outcomeOf(shell("kill -PIPE $$; exit 7")).signal;
              }),
              SIGPIPE);
}

TEST(PrepareProcess, LetsWhatNobodyCatchesEndItWithALineAndWithoutACore) {
    const std::pair<std::function<void()>, const char *> cases[] = {
        {[] { throw std::bad_alloc(); }, "There is not enough memory."},
        {[] { throw std::runtime_error("what is wrong"); }, "what is wrong"},
        {[] { throw 1; }, "The program cannot go on."},
        {[] { const std::thread unended([] { ::pause(); }); }, "The program cannot go on."}};
    for (const auto &[work, reason] : cases) {
        const test_support::ScratchFolder folder;
        EXPECT_EQ(statusInChild([&work = work, &folder]() noexcept {
                      ::dup2(::creat((folder.path() / "errors").c_str(), 0600), STDERR_FILENO);
                      platform::prepareProcess();
                      work();
                      return 0;
                  }),
                  EXIT_FAILURE);
        EXPECT_EQ(test_support::readFile(folder.path() / "errors"),
                  QByteArray("Brennic_Lumadoc_Diagnostics: ") + reason + '\n');
    }
}

TEST(StartThread, NamesItOrGivesNoneWhereThereIsNone) {
    QByteArray name;
    platform::startThread("fifteen letters", [&] {
        name = test_support::readFile("/proc/self/task/" + std::to_string(::gettid()) + "/comm");
    }).join();
    EXPECT_EQ(name, "fifteen letters\n");
    if (!test_support::canEnter(test_support::enterNoThreads))
        GTEST_SKIP() << "this user cannot run programs as somebody else";
    EXPECT_EQ(statusInChild([] {
                  test_support::enterNoThreads();
                  return platform::startThread("none", [] {}).joinable() ? 1 : 0;
              }),
              0);
}

TEST(ExecutablePath, IsTheFirstArgumentWhenThatIsAbsoluteAndTheRealPathOtherwise) {
    EXPECT_EQ(platform::executablePath({QStringLiteral("/some/where"), QStringLiteral("/else")}),
              "/some/where");
    const auto real = fs::read_symlink("/proc/self/exe");
    for (const QStringList &arguments : {QStringList(), {QString()}, {QStringLiteral("./program")}})
        EXPECT_EQ(platform::executablePath(arguments), real);
}

class TerminationRequest : public testing::TestWithParam<int> {
protected:
    // Whoever started this process may have left the signal ignored.
    TerminationRequest() { std::signal(GetParam(), SIG_DFL); }

    // In a child process: an application that ends in the orderly way with status 3, and without it 5 seconds
    // after its work. How long it may take to end is left open, since machines may be slow.
    static int statusOfApplication(const std::function<void()> &work) {
        return statusInChild([&] {
            std::signal(SIGALRM, SIG_IGN);
            int count = 1;
            char name[] = "test";
            char *arguments[] = {name, nullptr};
            QCoreApplication application(count, arguments);
            platform::onTerminationRequest([] { QCoreApplication::exit(3); });
            QTimer::singleShot(0, &application, [&] {
                work();
                QTimer::singleShot(std::chrono::seconds(5), &application, [] { QCoreApplication::exit(4); });
            });
            return QCoreApplication::exec();
        });
    }
    static int raised() { return ::raise(GetParam()); }
};

TEST_P(TerminationRequest, EndsTheEventLoopWhateverThreadItComesTo) {
    EXPECT_EQ(statusOfApplication(raised), 3);
    EXPECT_EQ(statusOfApplication([] { std::thread(raised).join(); }), 3);
}

TEST_P(TerminationRequest, FreesAMainThreadThatWaitsForAProgram) {
    const auto sender = shell("kill -" + std::to_string(GetParam()) + " $PPID; exec sleep 100");
    EXPECT_EQ(statusOfApplication([&] {
                  // gcc's thread sanitizer loses a signal that comes while a thread begins its first wait.
                  EXPECT_EQ(platform::runProgram({.path = "/bin/true"}), 0);
                  EXPECT_EQ(platform::runProgram(sender), std::nullopt);
              }),
              3);
}

TEST_P(TerminationRequest, EndsTheProcessTheSecondTime) {
    EXPECT_EQ(statusOfApplication([] {
                  ::raise(SIGTERM);
                  raised();
              }),
              128 + GetParam());
}

TEST_P(TerminationRequest, EndsAProcessWhoseMainThreadHangsFor2Seconds) {
    EXPECT_EQ(statusOfApplication([] {
                  std::signal(SIGALRM, SIG_DFL);
                  raised();
                  // The system rounds what is left.
                  const unsigned secondsLeft = ::alarm(1);
                  if (secondsLeft == 1 || secondsLeft == 2)
                      std::this_thread::sleep_for(std::chrono::seconds(30));
              }),
              128 + SIGALRM);
}

TEST_P(TerminationRequest, HasItsDefaultActionUntilAskedForAndInPrograms) {
    EXPECT_EQ(statusInChild(raised), 128 + GetParam());
    EXPECT_EQ(statusOfApplication([] {
                  const auto outcome =
                      outcomeOf(shell("kill -" + std::to_string(GetParam()) + " $$; exit 7"));
                  QCoreApplication::exit(outcome.signal == GetParam() ? 6 : 1);
              }),
              6);
}

TEST_P(TerminationRequest, StaysIgnoredWhereItWas) {
    std::signal(GetParam(), SIG_IGN);
    EXPECT_EQ(statusOfApplication([] {
                  raised();
                  QTimer::singleShot(50, QCoreApplication::instance(), [] { QCoreApplication::exit(5); });
              }),
              5);
}

INSTANTIATE_TEST_SUITE_P(Each, TerminationRequest, testing::Values(SIGTERM, SIGINT, SIGHUP));

} // namespace
