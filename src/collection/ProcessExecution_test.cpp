#include "collection/ProcessExecution.h"

#include "collection/PListOperations.h"
#include "discovery/RunState.h"
#include "platform/Bundle.h"
#include "platform/posix/Program.h"
#include "test_support/ChildProcess.h"
#include "test_support/Isolation.h"
#include "test_support/LogReader.h"
#include "test_support/Mounts.h"
#include "test_support/ProgramRun.h"
#include "test_support/ScratchHome.h"
#include "test_support/TestBundle.h"

#include <QCoreApplication>
#include <QTimer>
#include <atomic>
#include <gtest/gtest.h>
#include <memory>
#include <thread>

namespace {

namespace fs = std::filesystem;
using namespace UtilityFunctions;
using test_support::readFile;
using test_support::waitUntil;
using test_support::writeFile;

const QString spindumpText = QStringLiteral("Capturing Lumadoc data dump. Please wait for a few minutes.");
const QString profilerText = QStringLiteral("Capturing system configuration and settings.");
const QString settingsText = QStringLiteral("Capturing Lumadoc settings and logs.");

// What the third task says when no source is there.
const QStringList nothingToCollect{
    QStringLiteral("ERROR: Error copying LumaLog: No such file or directory"),
    QStringLiteral("ERROR: Error while copying file: No such file or directory"),
    QStringLiteral("ERROR: Error while copying file: No such file or directory"),
    QStringLiteral("ERROR: Error copying lumaKWDLog.txt: No such file or directory"),
    QStringLiteral("ERROR: Error copying distKWDLog.txt: No such file or directory"),
    QStringLiteral("ERROR: Error copying KWD: No such file or directory"),
    QStringLiteral("ERROR: Error copying lumacef_low: No such file or directory"),
    QStringLiteral("ERROR: Error copying Lumadoc Update Helper QZ.log: No such file or directory"),
    QStringLiteral("ERROR: Error copying Lumadoc Updater QZ.log: No such file or directory"),
    QStringLiteral("ERROR: Error copying lumaUpdaterTools.log: No such file or directory"),
    QStringLiteral("ERROR: Error copying Trellis-ProMessages.lic: No such file or directory"),
    QStringLiteral("INFO: File created and content written successfully.")};

class ProcessExecutionTest : public testing::Test {
protected:
    void SetUp() override {
        if (!test_support::hasOwnNamespaces())
            GTEST_SKIP() << "this machine gives a test no namespaces of its own";
        // The commands stand in the bundle of the test programs, which tests share.
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

    void makeCommand(const char *name, const QByteArray &script) {
        writeFile(commands / name, "#!/bin/sh\n" + script);
        fs::permissions(commands / name, fs::perms::owner_all);
    }
    QString missing(const char *name) const {
        const fs::path command = platform::Bundle::main()->path() / "Contents/Helpers" / name;
        return QStringLiteral("[\"NSAppleScriptErrorMessage\": \"") +
               QString::fromStdString(command.native()) +
               QStringLiteral(": command not found\", \"NSAppleScriptErrorNumber\": 127]");
    }

    void startProduct() {
        const auto program = test_support::makeBundle(home.path() / "Lumadoc.app", "com.brennic.LumadocPE");
        product = std::make_unique<test_support::ProgramRun>(
            test_support::ProgramOptions{.program = program, .arguments = {"1000"}});
        ASSERT_TRUE(waitUntil([] { return test_support::processesOf("Program").size() == 1; }));
    }
    QString productId() const { return QString::number(product->processId()); }

    // Runs the capture in an event loop that goes on for a while behind the completion.
    void capture(bool getInstalledApps, bool getSpinDump, bool isLumaloggingEnabled = true) {
        ProcessExecution::runTasksConcurrently(getInstalledApps, getSpinDump, isLumaloggingEnabled, [this] {
            ++completions;
            completionThread = std::this_thread::get_id();
            linesAtCompletion = lines();
            QTimer::singleShot(50, &application, &QCoreApplication::quit);
        });
        QTimer::singleShot(std::chrono::seconds(60), &application, &QCoreApplication::quit);
        QCoreApplication::exec();
        EXPECT_EQ(completions, 1);
        EXPECT_EQ(completionThread, std::this_thread::get_id());
        EXPECT_EQ(linesAtCompletion, lines());
    }

    void note(const QString &text) {
        progress.append(text);
        progressThreads.push_back(std::this_thread::get_id());
        if (onProgress)
            onProgress(text);
    }
    void expectProgress(const QStringList &texts) const {
        EXPECT_EQ(progress, texts);
        for (const auto thread : progressThreads) {
            EXPECT_NE(thread, std::this_thread::get_id());
            EXPECT_EQ(thread, progressThreads.front());
        }
    }

    QStringList lines() const { return test_support::logLines(log); }
    static QString initiated() { return QStringLiteral("INFO: Monitoring Queue initiated."); }
    static QString notVerified(const QString &id) {
        return QStringLiteral("WARNING: Lumadoc running instance not Verified. OldProcessId: ") + id;
    }
    QStringList verifiedAndRunning() const {
        return {QStringLiteral("INFO: Lumadoc running instance verified. NewProcessId: ") + productId(),
                QStringLiteral("INFO: Lumadoc process is running. ProcessId: ") + productId()};
    }
    QString spindumpLine(const fs::path &report) const {
        return QStringLiteral("INFO: Spindump shell script: do shell script \"spindump ") + ProcessId +
               QStringLiteral(" -file '") + QString::fromStdString(report.native()) +
               QStringLiteral(
                   "'\" with administrator privileges with prompt \"Capturing Lumadoc data dump.\"");
    }

    test_support::ScratchHome home;
    fs::path commands = home.path() / "commands";
    fs::path log = test_support::startLog();
    int count = 1;
    char programName[5] = "test";
    char *arguments[2] = {programName, nullptr};
    QCoreApplication application{count, arguments};
    std::unique_ptr<test_support::ProgramRun> product;

    QStringList progress;
    std::vector<std::thread::id> progressThreads;
    std::function<void(const QString &)> onProgress;
    int completions = 0;
    std::thread::id completionThread;
    QStringList linesAtCompletion;

private:
    std::unique_ptr<test_support::Mount> m_helpers;
};

TEST_F(ProcessExecutionTest, RunsNoScriptWithoutAdvancedLogs) {
    makeCommand("spindump", "touch \"$0.ran\"");
    makeCommand("system_profiler", "touch \"$0.ran\"");
    startProduct();
    capture(false, false);
    EXPECT_EQ(lines(), QStringList() << initiated() << verifiedAndRunning().first() << nothingToCollect);
    expectProgress({settingsText});
    EXPECT_FALSE(fs::exists(commands / "spindump.ran"));
    EXPECT_FALSE(fs::exists(commands / "system_profiler.ran"));
}

TEST_F(ProcessExecutionTest, SamplesTheProductListsApplicationsAndCollectsInThisOrder) {
    makeCommand("spindump", "printf '<%s>' \"$@\" > \"$3\"; date +%s%N > \"$0.at\"");
    makeCommand("system_profiler", "printf '<%s>' \"$@\"; date +%s%N > \"$0.at\"");
    writeFile(home.library() / "Application Support/Brennic/Lumadoc/Trunk/Lumadoc/LumaLog/a.log", "log");
    startProduct();
    capture(true, true);
    const fs::path report = *tempOutputURL / "spinReport.txt";
    EXPECT_EQ(lines(), QStringList() << initiated() << verifiedAndRunning() << spindumpLine(report)
                                     << QStringLiteral("INFO: No SpinResult debug description")
                                     << QStringLiteral("INFO: nil") << nothingToCollect.mid(1));
    expectProgress({spindumpText, profilerText, settingsText});
    EXPECT_EQ(readFile(report),
              "<" + productId().toUtf8() + "><-file><" + QByteArray::fromStdString(report.native()) + ">");
    EXPECT_EQ(readFile(*tempOutputURL / "sysinfo.txt"), "<-detailLevel><full><SPApplicationsDataType>");
    EXPECT_EQ(readFile(*tempOutputURL / "LumaLog/a.log"), "log");
    EXPECT_LT(readFile(commands / "spindump.at").toLongLong(),
              readFile(commands / "system_profiler.at").toLongLong());
    EXPECT_GT(fs::last_write_time(*tempOutputURL / "DetailedInfo.json"),
              fs::last_write_time(*tempOutputURL / "sysinfo.txt"));
}

TEST_F(ProcessExecutionTest, SamplesNoProductThatHasEndedAndListsApplicationsAllTheSame) {
    makeCommand("spindump", "touch \"$0.ran\"");
    makeCommand("system_profiler", "echo list");
    ProcessId = QStringLiteral("999999");
    capture(true, true);
    EXPECT_EQ(lines(),
              QStringList() << initiated() << notVerified(ProcessId)
                            << QStringLiteral("WARNING: Lumadoc process is not running. ProcessId: 999999")
                            << QStringLiteral("INFO: nil") << nothingToCollect);
    expectProgress({profilerText, settingsText});
    EXPECT_FALSE(fs::exists(commands / "spindump.ran"));
    EXPECT_EQ(readFile(*tempOutputURL / "sysinfo.txt"), "list\n");
}

TEST_F(ProcessExecutionTest, ListsApplicationsOnlyTogetherWithASample) {
    makeCommand("spindump", "exit 0");
    makeCommand("system_profiler", "touch \"$0.ran\"");
    startProduct();
    capture(false, true);
    EXPECT_EQ(progress, (QStringList{spindumpText, settingsText}));
    progress.clear();
    completions = 0;
    capture(true, false);
    EXPECT_EQ(progress, QStringList{settingsText});
    EXPECT_FALSE(fs::exists(commands / "system_profiler.ran"));
}

TEST_F(ProcessExecutionTest, GoesOnBehindScriptsThatFail) {
    makeCommand("spindump", "echo 'no \"sample\"' >&2; exit 3");
    makeCommand("system_profiler", "echo part; kill -KILL $$");
    startProduct();
    capture(true, true);
    EXPECT_EQ(lines(),
              QStringList() << initiated() << verifiedAndRunning()
                            << spindumpLine(*tempOutputURL / "spinReport.txt")
                            << QStringLiteral("INFO: [\"NSAppleScriptErrorMessage\": \"no \\\"sample\\\"\", "
                                              "\"NSAppleScriptErrorNumber\": 3]")
                            << QStringLiteral(
                                   "INFO: Optional([\"NSAppleScriptErrorMessage\": \"The command was killed "
                                   "by signal 9.\", \"NSAppleScriptErrorNumber\": 137])")
                            << nothingToCollect);
    expectProgress({spindumpText, profilerText, settingsText});
    EXPECT_EQ(readFile(*tempOutputURL / "sysinfo.txt"), "part\n");
}

TEST_F(ProcessExecutionTest, GoesOnWithoutTheCommands) {
    startProduct();
    capture(true, true);
    EXPECT_EQ(lines(), QStringList() << initiated() << verifiedAndRunning()
                                     << spindumpLine(*tempOutputURL / "spinReport.txt")
                                     << QStringLiteral("INFO: ") + missing("spindump")
                                     << QStringLiteral("INFO: Optional(") + missing("system_profiler") + u')'
                                     << nothingToCollect);
}

TEST_F(ProcessExecutionTest, DoesTheSameWithoutAnybodyToShowProgressTo) {
    ProcessExecution::labelTextBinding.reset();
    makeCommand("spindump", "exit 0");
    makeCommand("system_profiler", "exit 0");
    startProduct();
    capture(true, true);
    EXPECT_EQ(lines(), QStringList() << initiated() << verifiedAndRunning()
                                     << spindumpLine(*tempOutputURL / "spinReport.txt")
                                     << QStringLiteral("INFO: No SpinResult debug description")
                                     << QStringLiteral("INFO: nil") << nothingToCollect);
}

TEST_F(ProcessExecutionTest, WritesToTheRootWithoutAnOutputFolder) {
    makeCommand("spindump", "printf '<%s>' \"$@\" > \"$0.arguments\"");
    tempOutputURL.reset();
    ProcessId = QStringLiteral("12");
    EXPECT_EQ(ProcessExecution::runSpinDump(), std::nullopt);
    EXPECT_EQ(readFile(commands / "spindump.arguments"), "<12><-file></spinReport.txt>");
    EXPECT_EQ(lines(), QStringList{spindumpLine("/spinReport.txt")});

    if (!test_support::canRunAs(65534))
        GTEST_SKIP() << "the root folder is the machine's";
    // As somebody who may not write there.
    const int status = test_support::statusInChild([] {
        if (::setresuid(65534, 65534, 65534) != 0)
            return 1;
        const auto error = ProcessExecution::runSystemProfiler();
        return error == platform::ScriptError{1, QStringLiteral("/sysinfo.txt: Permission denied")} ? 0 : 2;
    });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(lines().size(), 1);
}

TEST_F(ProcessExecutionTest, CollectsNoProductLogsAndPutsNothingBackWithTheFlagFalse) {
    PListOperations::plistUpdated = true;
    capture(false, false, false);
    EXPECT_EQ(lines(), QStringList() << initiated() << notVerified(QString()) << nothingToCollect.mid(1));
    EXPECT_TRUE(PListOperations::plistUpdated);
}

TEST_F(ProcessExecutionTest, PutsTheLoggingBackAsItsLastStep) {
    const QByteArray before = "<plist version=\"1.0\"><dict><key>Trunk</key><dict/></dict></plist>";
    const fs::path file = *userLibraryPrefURL / "com.brennic.LumadocPE.plist";
    writeFile(file, before);
    PListOperations::EnableLumaLogging(true);
    ASSERT_TRUE(PListOperations::plistUpdated);
    capture(false, false);
    EXPECT_FALSE(PListOperations::plistUpdated);
    EXPECT_EQ(platform::PropertyList::load(file),
              platform::PropertyList::parse("<plist version=\"1.0\"><dict><key>Trunk</key><dict>"
                                            "<key>LumaLogging</key><dict/></dict></dict></plist>"));
    // The file was collected as the product had it in the meantime.
    EXPECT_TRUE(
        readFile(*tempOutputURL / "PropertyList/com.brennic.LumadocPE.plist").contains("EnableLumaLogging"));
}

TEST_F(ProcessExecutionTest, ReturnsBeforeTheTasksHaveRun) {
    std::atomic<bool> mayGoOn = false;
    std::atomic<bool> hasReturned = false;
    onProgress = [&](const QString &) {
        EXPECT_TRUE(waitUntil([&] { return mayGoOn.load(); }));
        EXPECT_TRUE(hasReturned);
    };
    QTimer::singleShot(0, &application, [&] {
        hasReturned = true;
        mayGoOn = true;
    });
    capture(false, false);
}

TEST_F(ProcessExecutionTest, StopsInMidScript) {
    makeCommand("spindump", "touch \"$0.ran\"; exec sleep 1000");
    makeCommand("system_profiler", "touch \"$0.ran\"");
    startProduct();
    ProcessExecution::runTasksConcurrently(true, true, true, [this] { ++completions; });
    ASSERT_TRUE(waitUntil([this] { return fs::exists(commands / "spindump.ran"); }));
    const auto before = std::chrono::steady_clock::now();
    platform::stopPrograms();
    // What was stopped is not followed by anything, however late the capture is told.
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_TRUE(ProcessExecution::stop());
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(1));
    QTimer::singleShot(50, &application, &QCoreApplication::quit);
    QCoreApplication::exec();
    EXPECT_EQ(completions, 0);
    EXPECT_TRUE(waitUntil([] { return test_support::processesOf("sleep").empty(); }));
    EXPECT_FALSE(fs::exists(commands / "system_profiler.ran"));
    EXPECT_FALSE(fs::exists(*tempOutputURL / "DetailedInfo.json"));
    EXPECT_EQ(lines(),
              QStringList() << initiated() << verifiedAndRunning()
                            << spindumpLine(*tempOutputURL / "spinReport.txt")
                            << QStringLiteral("INFO: [\"NSAppleScriptErrorMessage\": \"The command was "
                                              "stopped because the program is ending.\", "
                                              "\"NSAppleScriptErrorNumber\": -128]"));
}

TEST_F(ProcessExecutionTest, StopsBetweenTheStepsOfATask) {
    std::atomic<bool> isThere = false;
    std::atomic<bool> mayGoOn = false;
    onProgress = [&](const QString &) {
        isThere = true;
        EXPECT_TRUE(waitUntil([&] { return mayGoOn.load(); }));
    };
    ProcessExecution::runTasksConcurrently(false, false, true, [this] { ++completions; });
    ASSERT_TRUE(waitUntil([&] { return isThere.load(); }));
    const auto before = std::chrono::steady_clock::now();
    EXPECT_FALSE(ProcessExecution::stop());
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(2));
    mayGoOn = true;
    EXPECT_TRUE(ProcessExecution::stop());
    EXPECT_EQ(lines(), (QStringList{initiated(), notVerified(QString())}));
    EXPECT_EQ(completions, 0);
}

TEST_F(ProcessExecutionTest, StopsWithoutACapture) {
    EXPECT_TRUE(ProcessExecution::stop());
    EXPECT_EQ(lines(), QStringList());
}

} // namespace
