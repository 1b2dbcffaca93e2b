#include "app/LumamonApp.h"

#include "collection/PListOperations.h"
#include "collection/ProcessExecution.h"
#include "discovery/RunState.h"
#include "packaging/UploadAPI.h"
#include "platform/posix/Program.h"
#include "test_support/Isolation.h"
#include "test_support/LoggedTest.h"
#include "test_support/ProgramRun.h"
#include "test_support/PropertyLists.h"
#include "test_support/SlowDisk.h"

#include <QCoreApplication>
#include <algorithm>
#include <thread>

namespace {

namespace fs = std::filesystem;
using namespace UtilityFunctions;
using test_support::readFile;
using test_support::waitUntil;
using test_support::writeFile;

// Each is the end of another process, which switches the product's logging on. The end has 1.8 seconds,
// and putting the logging back waits for the disk: on one that other work keeps busy, where a file takes
// longer to be written than that, it is cut off, as it is to be. So these files are in memory.
class Ending : public test_support::LoggedTest {
protected:
    Ending() {
        fs::create_directories(home.library());
        if (test_support::hasOwnNamespaces())
            memory.reset(new test_support::Mount(test_support::Mount::memory(home.library(), 1 << 20)));
        userLibraryURL = home.library();
        userLibraryPrefURL = home.library() / "Preferences";
        tempSystemURL = tempOutputURL = home.library() / "Output";
        fs::create_directories(*tempSystemURL);
        LumadocInstalledInstance = {LumadocBundleIdentifier};
        lumadocOrPellix = QStringLiteral("Lumadoc");
        writeFile(file, test_support::xmlList("<dict><key>Trunk</key><dict/></dict>"));
    }

    // The status of a process that did this and came to its end, which took less than the limit.
    int statusOfEnd(const std::function<void()> &work) {
        const pid_t child = test_support::startInChild([&] {
            int count = 1;
            char name[] = "test";
            char *arguments[] = {name, nullptr};
            QCoreApplication application(count, arguments);
            if (isSwitchedBefore)
                PListOperations::EnableLumaLogging(true);
            work();
            writeFile(home.path() / "ending", "");
            LumamonApp::endRun(5);
            if (afterwards)
                afterwards();
            return 6;
        });
        const auto hasEnded = [child] {
            siginfo_t end{};
            ::waitid(P_PID, static_cast<id_t>(child), &end, WEXITED | WNOHANG | WNOWAIT);
            return end.si_pid == child;
        };
        EXPECT_TRUE(waitUntil([this] { return fs::exists(home.path() / "ending"); }));
        EXPECT_TRUE(test_support::soon(hasEnded, std::chrono::seconds(2)));
        ::kill(child, SIGKILL);
        return test_support::statusOf(child);
    }
    bool isOn() const { return readFile(file).contains("EnableLumaLogging"); }
    bool hasRecord() const { return fs::exists(*tempSystemURL / "LoggingSwitch.plist"); }

    bool isSwitchedBefore = true;
    std::function<void()> afterwards;
    std::unique_ptr<test_support::Mount> memory;
    fs::path file = home.library() / "Preferences/com.brennic.LumadocPE.plist";
};

TEST_F(Ending, ComesEvenWhenAnEarlierStepHangsAndWithoutAThread) {
    for (const bool hasThreads : {true, !test_support::canEnter(test_support::enterNoThreads)}) {
        EXPECT_EQ(statusOfEnd([&] {
                      writeFile(home.path() / "ending", "");
                      if (!hasThreads)
                          test_support::enterNoThreads();
                      LumamonApp::limitTheEnd(7);
                      std::this_thread::sleep_for(std::chrono::seconds(30));
                  }),
                  7);
        fs::remove(home.path() / "ending");
    }
}

TEST_F(Ending, PutsTheLoggingBackAndStopsProgramsThatOtherThreadsRun) {
    afterwards = [this] { waitUntil([this] { return fs::exists(home.path() / "off"); }); };
    EXPECT_EQ(statusOfEnd([this] {
                  std::thread([this] {
                      platform::runProgram(
                          {"/bin/sh", {"-c", "touch \"$0\"; exec sleep 1000", home.path() / "on"}, {}, {}});
                      writeFile(home.path() / "off", "");
                      std::this_thread::sleep_for(std::chrono::seconds(100));
                  }).detach();
                  waitUntil([this] { return fs::exists(home.path() / "on"); });
              }),
              6);
    EXPECT_TRUE(fs::exists(home.path() / "off"));
    EXPECT_FALSE(isOn() || hasRecord());
}

TEST_F(Ending, WaitsForTheSwitchThatIsUnderWayAndPutsItBack) {
    isSwitchedBefore = false;
    EXPECT_EQ(statusOfEnd([this] {
                  const auto begun = home.path() / "begun";
                  ProcessExecution::runSteps({[=] {
                                                 writeFile(begun, "");
                                                 std::this_thread::sleep_for(std::chrono::milliseconds(200));
                                                 PListOperations::EnableLumaLogging(true);
                                             }},
                                             [] {});
                  waitUntil([&] { return fs::exists(begun); });
              }),
              6);
    EXPECT_THAT(said(), testing::Contains("INFO: Changes synchronized to plist successfully."));
    EXPECT_FALSE(isOn() || hasRecord());
}

TEST_F(Ending, PutsTheLoggingBackEvenWhenACaptureHangs) {
    EXPECT_EQ(statusOfEnd([] {
                  static std::atomic<bool> isThere = false;
                  const auto hang = [](const QString &) {
                      isThere = true;
                      std::this_thread::sleep_for(std::chrono::seconds(100));
                  };
                  ProcessExecution::labelTextBinding =
                      TextBinding{.get = [] { return QString(); }, .set = hang};
                  ProcessExecution::runTasksConcurrently(false, false, true, [] {});
                  waitUntil([] { return isThere.load(); });
              }),
              5);
    EXPECT_FALSE(isOn() || hasRecord());
}

TEST_F(Ending, LeavesTheLoggingToTheNextStartWhenAnUploadHangs) {
    REQUIRE_SLOW_DISK();
    writeFile(home.path() / "disk/archive.zip", "content");
    const test_support::SlowDisk disk(home.path() / "disk");
    EXPECT_EQ(statusOfEnd([&] {
                  UploadRequest request = UploadAPI::multipartRequest(home.path() / "disk/archive.zip");
                  request.url = "https://127.0.0.1:1/";
                  disk.stopAnswering();
                  UploadAPI::uploadTask = std::make_unique<UploadTask>(
                      std::move(request), [](auto...) {}, [](const UploadResponse &) {});
                  UploadAPI::uploadTask->resume();
              }),
              5);
    EXPECT_TRUE(isOn() && hasRecord());
    fs::remove(log);
    PListOperations::RestoreAfterInterruptedRun();
    EXPECT_FALSE(isOn() || hasRecord());
    EXPECT_EQ(said().size(), 1U);
}

} // namespace
