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

using Lines = std::vector<std::string>;

Lines operator+(Lines lines, const Lines &more) {
    lines.insert(lines.end(), more.begin(), more.end());
    return lines;
}

const std::string spindumpText = "Capturing Lumadoc data dump. Please wait for a few minutes.";
const std::string profilerText = "Capturing system configuration and settings.";
const std::string settingsText = "Capturing Lumadoc settings and logs.";

const std::string missingFile = ": No such file or directory";
const Lines noLumaLog{"ERROR: Error copying LumaLog" + missingFile};
// What the collectors say after that when no source is there.
const Lines nothingElse = [] {
    Lines lines(2, "ERROR: Error while copying file" + missingFile);
    for (const char *name :
         {"lumaKWDLog.txt", "distKWDLog.txt", "KWD", "lumacef_low", "Lumadoc Update Helper QZ.log",
          "Lumadoc Updater QZ.log", "lumaUpdaterTools.log", "Trellis-ProMessages.lic"})
        lines.push_back("ERROR: Error copying " + (name + missingFile));
    lines.emplace_back("INFO: File created and content written successfully.");
    return lines;
}();
const Lines initiated{"INFO: Monitoring Queue initiated."};

class Capture : public test_support::LoggedTest {
protected:
    void SetUp() override {
        if (!test_support::hasOwnNamespaces())
            GTEST_SKIP() << "this machine gives a test no namespaces of its own";
        // The commands are in the bundle of the test programs, which tests share.
        const fs::path helpers = platform::Bundle::main()->path() / "Contents/Helpers";
        fs::create_directories(helpers);
        fs::create_directories(commands);
        m_helpers.reset(new test_support::Mount(test_support::Mount::over(commands, helpers)));

        userLibraryURL = home.library();
        userLibraryPrefURL = home.library() / "Preferences";
        tempTimeStampedURL = tempOutputURL = home.path() / "Output";
        LumadocInstalledInstance = {LumadocBundleIdentifier};
        lumadocOrPellix = QStringLiteral("Lumadoc");
        fs::create_directories(*userLibraryPrefURL);
        fs::create_directories(*tempOutputURL);
        ProcessExecution::labelTextBinding =
            TextBinding{.get = [] { return QString(); }, .set = [this](const QString &text) { note(text); }};
    }

    void makeCommand(const char *name, const QByteArray &script = "touch \"$0.ran\"") {
        writeFile(commands / name, "#!/bin/sh\n" + script);
        fs::permissions(commands / name, fs::perms::owner_all);
    }
    bool hasRun(const std::string &name) const { return fs::exists(commands / (name + ".ran")); }

    void startProduct() {
        const auto program = test_support::makeBundle(home.path() / "Lumadoc.app", "com.brennic.LumadocPE");
        product = std::make_unique<test_support::ProgramRun>(
            test_support::ProgramOptions{.program = program, .arguments = {"1000"}});
        ASSERT_TRUE(waitUntil([] { return test_support::processesOf("Program").size() == 1; }));
    }
    std::string productId() const { return std::to_string(product->processId()); }

    // Runs the capture in an event loop that goes on for a while after the completion.
    void capture(bool getInstalledApps, bool getSpinDump, bool isLumaloggingEnabled = true) {
        int completions = 0;
        Lines linesAtCompletion;
        progress.clear();
        ProcessExecution::runTasksConcurrently(getInstalledApps, getSpinDump, isLumaloggingEnabled, [&] {
            ++completions;
            EXPECT_EQ(std::this_thread::get_id(), mainThread);
            linesAtCompletion = said();
        });
        EXPECT_TRUE(test_support::runMainQueueUntil([&] { return completions > 0; }, 60s));
        runMainQueueFor(50ms);
        EXPECT_EQ(completions, 1);
        EXPECT_EQ(linesAtCompletion, said());
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

    Lines verified() const {
        return {"INFO: Lumadoc running instance verified. NewProcessId: " + productId()};
    }
    static Lines notVerified(const std::string &id) {
        return {"WARNING: Lumadoc running instance not Verified. OldProcessId: " + id};
    }
    // The lines before a sample of the running product.
    Lines sampling() const {
        return initiated + verified() + Lines{"INFO: Lumadoc process is running. ProcessId: " + productId()} +
               script(productId(), *tempOutputURL / "spinReport.txt");
    }
    static Lines script(const std::string &id, const fs::path &report) {
        return {"INFO: Spindump shell script: do shell script \"spindump " + id + " -file '" +
                report.native() +
                "'\" with administrator privileges with prompt \"Capturing Lumadoc data dump.\""};
    }
    static std::string scriptError(const std::string &message, int number) {
        return "[\"NSAppleScriptErrorMessage\": \"" + message +
               "\", \"NSAppleScriptErrorNumber\": " + std::to_string(number) + "]";
    }

    fs::path commands = home.path() / "commands";
    int count = 1;
    char programName[5] = "test";
    char *arguments[2] = {programName, nullptr};
    QCoreApplication application{count, arguments};
    std::thread::id mainThread = std::this_thread::get_id();
    std::unique_ptr<test_support::ProgramRun> product;

    Lines progress;
    std::function<void()> onProgress;

private:
    std::unique_ptr<test_support::Mount> m_helpers;
};

TEST_F(Capture, RunsNoScriptWithoutAdvancedLogsAndSamplesNoProductThatHasEnded) {
    makeCommand("spindump");
    makeCommand("system_profiler", "echo list");
    ProcessId = QStringLiteral("999999");
    capture(true, true);
    const Lines noSample{"WARNING: Lumadoc process is not running. ProcessId: 999999", "INFO: nil"};
    EXPECT_EQ(said(), initiated + notVerified("999999") + noSample + noLumaLog + nothingElse);
    EXPECT_THAT(progress, ElementsAre(profilerText, settingsText));
    EXPECT_EQ(readFile(*tempOutputURL / "sysinfo.txt"), "list\n");

    fs::remove(log);
    startProduct();
    capture(false, false);
    EXPECT_EQ(said(), initiated + verified() + noLumaLog + nothingElse);
    EXPECT_THAT(progress, ElementsAre(settingsText));
    capture(true, false);
    EXPECT_THAT(progress, ElementsAre(settingsText)) << "applications are listed only together with a sample";
    EXPECT_FALSE(hasRun("spindump"));
    capture(false, true);
    EXPECT_THAT(progress, ElementsAre(spindumpText, settingsText));
    EXPECT_TRUE(hasRun("spindump"));
}

TEST_F(Capture, SamplesTheProductListsApplicationsAndCollectsInThisOrder) {
    makeCommand("spindump", "printf '<%s>' \"$@\" > \"$3\"; date +%s%N > \"$0.at\"");
    makeCommand("system_profiler", "printf '<%s>' \"$@\"; date +%s%N > \"$0.at\"");
    writeFile(home.library() / "Application Support/Brennic/Lumadoc/Trunk/Lumadoc/LumaLog/a.log", "log");
    startProduct();
    capture(true, true);
    const fs::path report = *tempOutputURL / "spinReport.txt";
    const Lines expected =
        sampling() + Lines{"INFO: No SpinResult debug description", "INFO: nil"} + nothingElse;
    EXPECT_EQ(said(), expected);
    EXPECT_THAT(progress, ElementsAre(spindumpText, profilerText, settingsText));
    EXPECT_EQ(readFile(report).toStdString(), "<" + productId() + "><-file><" + report.native() + ">");
    EXPECT_EQ(readFile(*tempOutputURL / "sysinfo.txt"), "<-detailLevel><full><SPApplicationsDataType>");
    EXPECT_EQ(readFile(*tempOutputURL / "LumaLog/a.log"), "log");
    EXPECT_LT(readFile(commands / "spindump.at").toLongLong(),
              readFile(commands / "system_profiler.at").toLongLong());
    EXPECT_GT(fs::last_write_time(*tempOutputURL / "DetailedInfo.json"),
              fs::last_write_time(*tempOutputURL / "sysinfo.txt"));

    fs::remove_all(*tempOutputURL / "LumaLog");
    fs::remove(log);
    ProcessExecution::labelTextBinding.reset();
    capture(true, true);
    EXPECT_EQ(said(), expected) << "with nobody to show progress to";
}

TEST_F(Capture, GoesOnAfterScriptsThatFailOrAreMissing) {
    startProduct();
    const auto missing = [&](const char *name) {
        const fs::path command = platform::Bundle::main()->path() / "Contents/Helpers" / name;
        return scriptError(command.native() + ": command not found", 127);
    };
    capture(true, true);
    const Lines notFound{"INFO: " + missing("spindump"),
                         "INFO: Optional(" + missing("system_profiler") + ")"};
    EXPECT_EQ(said(), sampling() + notFound + noLumaLog + nothingElse);

    makeCommand("spindump", "echo 'no \"sample\"' >&2; exit 3");
    makeCommand("system_profiler", "echo part; kill -KILL $$");
    fs::remove(log);
    capture(true, true);
    const Lines errors{"INFO: " + scriptError("no \\\"sample\\\"", 3),
                       "INFO: Optional(" + scriptError("The command was killed by signal 9.", 137) + ")"};
    EXPECT_EQ(said(), sampling() + errors + noLumaLog + nothingElse);
    EXPECT_THAT(progress, ElementsAre(spindumpText, profilerText, settingsText));
    EXPECT_EQ(readFile(*tempOutputURL / "sysinfo.txt"), "part\n");
}

TEST_F(Capture, WritesToTheRootWithoutAnOutputFolder) {
    makeCommand("spindump", "printf '<%s>' \"$@\" > \"$0.arguments\"");
    tempOutputURL.reset();
    ProcessId = QStringLiteral("12");
    EXPECT_EQ(ProcessExecution::runSpinDump(), std::nullopt);
    EXPECT_EQ(readFile(commands / "spindump.arguments"), "<12><-file></spinReport.txt>");
    EXPECT_EQ(said(), script("12", "/spinReport.txt"));
}

TEST_F(Capture, TakesProductLogsAndPutsTheLoggingBackLastWithTheFlagAlone) {
    PListOperations::plistUpdated = true;
    capture(false, false, false);
    EXPECT_EQ(said(), initiated + notVerified("") + nothingElse);
    EXPECT_TRUE(PListOperations::plistUpdated);
    PListOperations::plistUpdated = false;

    const fs::path file = *userLibraryPrefURL / "com.brennic.LumadocPE.plist";
    writeFile(file, "<plist version=\"1.0\"><dict><key>Trunk</key><dict/></dict></plist>");
    PListOperations::EnableLumaLogging(true);
    capture(false, false);
    EXPECT_FALSE(PListOperations::plistUpdated);
    EXPECT_FALSE(readFile(file).contains("EnableLumaLogging"));
    // The file was collected as the product had it in the meantime.
    EXPECT_TRUE(
        readFile(*tempOutputURL / "PropertyList/com.brennic.LumadocPE.plist").contains("EnableLumaLogging"));
}

TEST_F(Capture, StopsInMidScriptAndFollowsItWithNothing) {
    makeCommand("spindump", "touch \"$0.ran\"; exec sleep 1000");
    makeCommand("system_profiler");
    startProduct();
    startWithoutCompletion(true);
    ASSERT_TRUE(waitUntil([this] { return hasRun("spindump"); }));
    const Lines stopped =
        sampling() +
        Lines{"INFO: " + scriptError("The command was stopped because the program is ending.", -128)};
    platform::stopPrograms();
    EXPECT_TRUE(waitUntil([&] { return said() == stopped; }, 1s));
    // However late the capture itself is stopped.
    runMainQueueFor(50ms);
    EXPECT_TRUE(ProcessExecution::stop());
    EXPECT_TRUE(test_support::processesOf("sleep").empty());
    EXPECT_FALSE(hasRun("system_profiler") || fs::exists(*tempOutputURL / "DetailedInfo.json"));
    EXPECT_EQ(said(), stopped);
}

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
    EXPECT_EQ(said(), initiated + notVerified("") + initiated) << "a later capture is dropped";
}

} // namespace
