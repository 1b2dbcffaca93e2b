#include "collection/ProcessExecution.h"

#include "collection/PListOperations.h"
#include "discovery/RunState.h"
#include "platform/Bundle.h"
#include "platform/posix/Program.h"
#include "test_support/EventLoop.h"
#include "test_support/Isolation.h"
#include "test_support/LoggedTest.h"
#include "test_support/ProgramRun.h"
#include "test_support/TestMachine.h"

#include <QCoreApplication>
#include <atomic>
#include <memory>
#include <thread>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace UtilityFunctions;
using namespace std::chrono_literals;
using test_support::readFile;
using test_support::runMainQueueFor;
using test_support::waitUntil;
using test_support::writeFile;
using testing::ElementsAre;

// The status line's texts.
const std::string spindumpText = "Capturing Lumadoc data dump. Please wait for a few minutes.";
const std::string profilerText = "Capturing system configuration and settings.";
const std::string settingsText = "Capturing Lumadoc settings and logs.";

// Lines of the log.
const std::string initiated = "INFO: Monitoring Queue initiated.\n";
const std::string noLumaLog = "ERROR: Error copying LumaLog: No such file or directory\n";
// What the collectors say after that when no source is there.
const std::string nothingElse = [] {
    const std::string missing = ": No such file or directory\n";
    std::string lines;
    for (const char *what : {"while copying file", "while copying file", "copying lumaKWDLog.txt",
                             "copying distKWDLog.txt", "copying KWD", "copying lumacef_low",
                             "copying Lumadoc Update Helper QZ.log", "copying Lumadoc Updater QZ.log",
                             "copying lumaUpdaterTools.log", "copying Trellis-ProMessages.lic"})
        lines += "ERROR: Error " + (what + missing);
    return lines + "INFO: File created and content written successfully.\n";
}();

std::string notVerified(const std::string &id) {
    return "WARNING: Lumadoc running instance not Verified. OldProcessId: " + id + '\n';
}

std::string script(const std::string &id, const fs::path &report) {
    return "INFO: Spindump shell script: do shell script \"spindump " + id + " -file '" + report.native() +
           "'\" with administrator privileges with prompt \"Capturing Lumadoc data dump.\"\n";
}

std::string scriptError(const std::string &message, int number) {
    return "[\"NSAppleScriptErrorMessage\": \"" + message +
           "\", \"NSAppleScriptErrorNumber\": " + std::to_string(number) + "]";
}

class Capture : public test_support::LoggedTest {
protected:
    void SetUp() override {
        if (!test_support::hasOwnNamespaces())
            GTEST_SKIP() << "this machine gives a test no namespaces of its own";
        // The commands are in the bundle of the test programs, which tests share.
        fs::create_directories(helpers);
        fs::create_directories(commands);
        m_helpers.reset(new test_support::Mount(test_support::Mount::over(commands, helpers)));

        userLibraryURL = home.library();
        userLibraryPrefURL = home.library() / "Preferences";
        tempTimeStampedURL = tempOutputURL = output;
        LumadocInstalledInstance = {LumadocBundleIdentifier};
        lumadocOrPellix = QStringLiteral("Lumadoc");
        fs::create_directories(*userLibraryPrefURL);
        fs::create_directories(output);
        ProcessExecution::labelTextBinding =
            TextBinding{.get = [] { return QString(); }, .set = [this](const QString &text) { note(text); }};
    }

    void makeCommand(const char *name, const QByteArray &text = "touch \"$0.ran\"") const {
        test_support::writeProgram(commands / name, "#!/bin/sh\n" + text);
    }
    bool hasRun(const std::string &name) const { return fs::exists(commands / (name + ".ran")); }

    void startProduct() {
        const auto program = test_support::makeBundle(home.path() / "Lumadoc.app", "com.brennic.LumadocPE");
        product = std::make_unique<test_support::ProgramRun>(
            test_support::ProgramOptions{.program = program, .arguments = {"1000"}});
        ASSERT_TRUE(waitUntil([] { return test_support::processesOf("Program").size() == 1; }));
    }
    std::string productId() const { return std::to_string(product->processId()); }

    // Runs the capture in an event loop that goes on for a while after the completion, with a new log.
    void capture(bool getInstalledApps, bool getSpinDump, bool isLumaloggingEnabled = true) {
        int completions = 0;
        std::string atCompletion;
        fs::remove(log);
        progress.clear();
        ProcessExecution::runTasksConcurrently(getInstalledApps, getSpinDump, isLumaloggingEnabled, [&] {
            ++completions;
            EXPECT_EQ(std::this_thread::get_id(), mainThread);
            atCompletion = logText();
        });
        EXPECT_TRUE(test_support::runMainQueueUntil([&] { return completions > 0; }, 60s));
        runMainQueueFor(50ms);
        EXPECT_EQ(completions, 1);
        EXPECT_EQ(atCompletion, logText());
    }

    static void startWithoutCompletion(bool isAdvanced) {
        ProcessExecution::runTasksConcurrently(isAdvanced, isAdvanced, true,
                                               [] { ADD_FAILURE() << "not completed"; });
    }

    void note(const QString &text) {
        progress.push_back(text.toStdString());
        EXPECT_EQ(readFile("/proc/self/task/" + std::to_string(::gettid()) + "/comm"), "MonitoringQueue\n");
        if (onProgress)
            onProgress();
    }

    std::string logText() const {
        std::string text;
        for (const std::string &line : said())
            text += line + '\n';
        return text;
    }
    std::string verified() const {
        return "INFO: Lumadoc running instance verified. NewProcessId: " + productId() + '\n';
    }
    // The lines before a sample of the running product.
    std::string sampling() const {
        return initiated + verified() + "INFO: Lumadoc process is running. ProcessId: " + productId() + '\n' +
               script(productId(), output / "spinReport.txt");
    }

    const fs::path helpers = platform::Bundle::main()->path() / "Contents/Helpers";
    const fs::path commands = home.path() / "commands";
    const fs::path output = home.path() / "Output";
    int count = 0;
    QCoreApplication application{count, nullptr};
    std::thread::id mainThread = std::this_thread::get_id();
    std::unique_ptr<test_support::ProgramRun> product;

    std::vector<std::string> progress;
    std::function<void()> onProgress;

private:
    std::unique_ptr<test_support::Mount> m_helpers;
};

TEST_F(Capture, RunsNoScriptWithoutAdvancedLogsAndSamplesNoProductThatHasEnded) {
    makeCommand("spindump");
    makeCommand("system_profiler", "echo list");
    ProcessId = QStringLiteral("999999");
    capture(true, true);
    EXPECT_EQ(logText(), initiated + notVerified("999999") +
                             "WARNING: Lumadoc process is not running. ProcessId: 999999\nINFO: nil\n" +
                             noLumaLog + nothingElse);
    EXPECT_THAT(progress, ElementsAre(profilerText, settingsText));
    EXPECT_TRUE(ProcessExecution::isSampleMissing);
    EXPECT_EQ(readFile(output / "sysinfo.txt"), "list\n");

    startProduct();
    capture(false, false);
    EXPECT_EQ(logText(), initiated + verified() + noLumaLog + nothingElse);
    EXPECT_THAT(progress, ElementsAre(settingsText));
    EXPECT_FALSE(ProcessExecution::isSampleMissing);
    capture(true, false);
    EXPECT_THAT(progress, ElementsAre(settingsText)) << "applications are listed only together with a sample";
    EXPECT_FALSE(hasRun("spindump"));
    capture(false, true);
    EXPECT_THAT(progress, ElementsAre(spindumpText, settingsText));
    EXPECT_TRUE(hasRun("spindump"));
}

TEST_F(Capture, SamplesTheProductListsApplicationsAndCollectsInThisOrder) {
    makeCommand("spindump", "printf '<%s>' \"$@\" > \"$3\"");
    makeCommand("system_profiler", "printf '<%s>' \"$@\"");
    writeFile(home.library() / "Application Support/Brennic/Lumadoc/Trunk/Lumadoc/LumaLog/a.log", "log");
    startProduct();
    const std::string expected =
        sampling() + "INFO: No SpinResult debug description\nINFO: nil\n" + nothingElse;
    capture(true, true);
    EXPECT_EQ(logText(), expected);
    EXPECT_THAT(progress, ElementsAre(spindumpText, profilerText, settingsText));
    EXPECT_FALSE(ProcessExecution::isSampleMissing);
    const fs::path report = output / "spinReport.txt";
    EXPECT_EQ(readFile(report).toStdString(), "<" + productId() + "><-file><" + report.native() + ">");
    EXPECT_EQ(readFile(output / "sysinfo.txt"), "<-detailLevel><full><SPApplicationsDataType>");
    EXPECT_EQ(readFile(output / "LumaLog/a.log"), "log");

    fs::remove_all(output / "LumaLog");
    ProcessExecution::labelTextBinding.reset();
    capture(true, true);
    EXPECT_EQ(logText(), expected) << "with nobody to show progress to";

    // It goes on after scripts that fail.
    fs::remove_all(output / "LumaLog");
    fs::remove_all(home.library() / "Application Support");
    makeCommand("spindump", "echo 'no \"sample\"' >&2; exit 3");
    makeCommand("system_profiler", "echo part; kill -KILL $$");
    capture(true, true);
    EXPECT_EQ(logText(), sampling() + "INFO: " + scriptError("no \\\"sample\\\"", 3) + "\nINFO: Optional(" +
                             scriptError("The command was killed by signal 9.", 137) + ")\n" + noLumaLog +
                             nothingElse);
    EXPECT_EQ(readFile(output / "sysinfo.txt"), "part\n");
    EXPECT_TRUE(ProcessExecution::isSampleMissing);

    // It writes nothing through a link that has taken the output's place.
    const fs::path outside = home.path() / "outside";
    fs::create_directories(outside);
    tempDirURL = home.path();
    fs::remove_all(output);
    fs::create_directory_symlink(outside, output);
    ProcessExecution::runSystemProfiler();
    EXPECT_TRUE(fs::is_empty(outside));
    EXPECT_FALSE(fs::is_symlink(output));

    // Without an output folder the report goes to the root.
    fs::remove(log);
    tempOutputURL.reset();
    EXPECT_NE(ProcessExecution::runSpinDump(), std::nullopt);
    EXPECT_EQ(logText(), script(productId(), "/spinReport.txt"));
}

TEST_F(Capture, TakesProductLogsAndPutsTheLoggingBackLastWithTheFlagAlone) {
    PListOperations::plistUpdated = true;
    capture(false, false, false);
    EXPECT_EQ(logText(), initiated + notVerified("") + nothingElse);
    EXPECT_TRUE(PListOperations::plistUpdated);
    PListOperations::plistUpdated = false;

    const fs::path name = "com.brennic.LumadocPE.plist";
    const fs::path file = *userLibraryPrefURL / name;
    writeFile(file, "<plist version=\"1.0\"><dict><key>Trunk</key><dict/></dict></plist>");
    PListOperations::EnableLumaLogging(true);
    capture(false, false);
    EXPECT_FALSE(PListOperations::plistUpdated);
    EXPECT_FALSE(readFile(file).contains("EnableLumaLogging"));
    // The file was collected as the product had it in the meantime.
    EXPECT_TRUE(readFile(output / "PropertyList" / name).contains("EnableLumaLogging"));
}

TEST_F(Capture, RunsOnTheMainThreadWhereThereIsNoOther) {
    if (!test_support::canEnter(test_support::enterNoThreads))
        GTEST_SKIP() << "this user cannot run programs as somebody else";
    writeFile(home.library() / "Application Support/Brennic/Lumadoc/Trunk/Lumadoc/LumaLog/a.log", "log");
    test_support::giveToUserWithoutThreads(home.path());
    ProcessExecution::labelTextBinding.reset();
    EXPECT_EQ(test_support::statusInChild([] {
                  test_support::enterNoThreads();
                  bool isComplete = false;
                  ProcessExecution::runTasksConcurrently(true, true, true, [&] { isComplete = true; });
                  return test_support::runMainQueueUntil([&] { return isComplete; }, 60s) ? 0 : 1;
              }),
              0);
    EXPECT_EQ(readFile(output / "LumaLog/a.log"), "log");
    EXPECT_TRUE(fs::exists(output / "DetailedInfo.json"));
}

TEST_F(Capture, StopsInMidScriptAndFollowsItWithNothing) {
    makeCommand("spindump", "touch \"$0.ran\"; exec sleep 1000");
    makeCommand("system_profiler");
    startProduct();
    startWithoutCompletion(true);
    ASSERT_TRUE(waitUntil([this] { return hasRun("spindump"); }));
    const std::string stopped =
        sampling() + "INFO: " + scriptError("The command was stopped because the program is ending.", -128) +
        '\n';
    platform::stopPrograms();
    EXPECT_TRUE(waitUntil([&] { return logText() == stopped; }, 1s));
    // However late the capture itself is stopped.
    runMainQueueFor(50ms);
    EXPECT_TRUE(ProcessExecution::stop());
    EXPECT_TRUE(test_support::processesOf("sleep").empty());
    EXPECT_FALSE(hasRun("system_profiler") || fs::exists(output / "DetailedInfo.json"));
    EXPECT_EQ(logText(), stopped);
}

// Starting returns while the first step is still running.
TEST_F(Capture, StopsBetweenItsStepsAndWaitsForOneOnlyAMoment) {
    std::atomic<bool> isThere = false;
    std::atomic<bool> mayGoOn = false;
    onProgress = [&] {
        isThere = true;
        EXPECT_TRUE(waitUntil([&] { return mayGoOn.load(); }));
        isThere = false;
    };
    startWithoutCompletion(false);
    ASSERT_TRUE(waitUntil([&] { return isThere.load(); }));
    EXPECT_FALSE(ProcessExecution::stop());
    mayGoOn = true;
    EXPECT_TRUE(ProcessExecution::stop());
    EXPECT_FALSE(isThere);
    startWithoutCompletion(false);
    EXPECT_TRUE(ProcessExecution::stop());
    runMainQueueFor(50ms);
    EXPECT_EQ(logText(), initiated + notVerified("") + initiated) << "a later capture is dropped";
}

} // namespace
