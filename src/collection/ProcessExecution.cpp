#include "collection/ProcessExecution.h"

#include "collection/Collectors.h"
#include "collection/PListOperations.h"
#include "discovery/DetailedInfo.h"
#include "discovery/MainQueue.h"
#include "discovery/ProductDiscovery.h"
#include "discovery/Workspace.h"
#include "logging/Logging.h"
#include "platform/Bundle.h"
#include "platform/posix/Process.h"
#include "platform/posix/Program.h"
#include "platform/posix/Text.h"

#include <atomic>
#include <condition_variable>
#include <mutex>

namespace ProcessExecution {

namespace {

using namespace UtilityFunctions;

std::atomic<bool> stopRequested = false;

// Scripts are stopped first when the program ends, a little before the capture is.
bool isStopping() {
    return stopRequested || platform::programsAreStopped();
}

// Captures run one after the other, in the order in which they were asked for. Never destroyed: a step that
// hangs may still run when the process ends.
struct MonitoringQueue {
    std::mutex mutex;
    std::condition_variable changed;
    unsigned turnsTaken = 0;
    unsigned turn = 0;

    static MonitoringQueue &shared() {
        static MonitoringQueue &queue = *new MonitoringQueue;
        return queue;
    }

    unsigned takeTurn() {
        const std::lock_guard lock(mutex);
        return turnsTaken++;
    }

    void run(const std::vector<std::function<void()>> &steps, unsigned ownTurn) {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return turn == ownTurn; });
        lock.unlock();
        for (auto step = steps.begin(); step != steps.end() && !isStopping(); ++step)
            (*step)();
        lock.lock();
        ++turn;
        changed.notify_all();
    }
};

using Progress = std::optional<TextBinding>;

void show(const Progress &progress, const char *text) {
    if (progress)
        progress->set(QString::fromLatin1(text));
}

std::filesystem::path helper(const char *name) {
    const auto &bundle = platform::Bundle::main();
    return (bundle ? bundle->path() : std::filesystem::path("/")) / "Contents" / "Helpers" / name;
}

// A file of the output, in which a link may have taken a folder's place meanwhile; at the root when there is
// no output folder.
std::filesystem::path outputFile(const char *name) {
    std::error_code error;
    if (tempOutputURL)
        Workspace::make(*tempOutputURL, error);
    return tempOutputURL.value_or(std::filesystem::path()).native() + "/" + name;
}

void sampleProcess(bool getSpinDump, const Progress &progress) {
    VerifyApplicationProcess();
    isSampleMissing = getSpinDump;
    if (!getSpinDump || !IsProcessRunning(ProcessId))
        return;
    show(progress, "Capturing Lumadoc data dump. Please wait for a few minutes.");
    const auto error = runSpinDump();
    isSampleMissing = error.has_value();
    Logger::logInfo(error ? error->printedDescription() : QStringLiteral("No SpinResult debug description"));
}

void listInstalledApplications(const Progress &progress) {
    show(progress, "Capturing system configuration and settings.");
    const auto error = runSystemProfiler();
    Logger::logInfo(error ? QStringLiteral("Optional(") + error->printedDescription() + u')'
                          : QStringLiteral("nil"));
}

} // namespace

void runTasksConcurrently(bool getInstalledApps, bool getSpinDump, bool isLumaloggingEnabled,
                          std::function<void()> completion) {
    Logger::logInfo(QStringLiteral("Monitoring Queue initiated."));
    const Progress progress = labelTextBinding;
    std::vector<std::function<void()>> steps{[=] { sampleProcess(getSpinDump, progress); }};
    if (getInstalledApps && getSpinDump)
        steps.emplace_back([=] { listInstalledApplications(progress); });
    steps.insert(steps.end(),
                 {[=] { show(progress, "Capturing Lumadoc settings and logs."); },
                  [=] { PListOperations::GetLumaLogs(isLumaloggingEnabled); }, [] { GetPropertyList(); },
                  [] { GetLicensingLogs(); }, [] { GetInstallLogs(); }, GetCrashReports, GetXelLogs,
                  saveDetailedInfo, [=] { PListOperations::RevertLumaLogPList(isLumaloggingEnabled); }});
    runSteps(std::move(steps), std::move(completion));
}

void runSteps(std::vector<std::function<void()>> steps, std::function<void()> completion) {
    steps.emplace_back([done = std::move(completion)] { onMainQueue(done); });
    auto &queue = MonitoringQueue::shared();
    const auto run = [&queue, steps = std::move(steps), turn = queue.takeTurn()] { queue.run(steps, turn); };
    std::thread thread = platform::startThread("MonitoringQueue", run);
    if (thread.joinable())
        thread.detach();
    else
        // The window stands still meanwhile; that is better than a run that never goes on.
        onMainQueue(run);
}

std::optional<platform::ScriptError> runSpinDump() {
    const auto report = outputFile("spinReport.txt");
    const QString text = QStringLiteral("do shell script \"spindump ") + ProcessId +
                         QStringLiteral(" -file '") + platform::displayText(report) +
                         QStringLiteral("'\" with administrator privileges with prompt \"") +
                         QStringLiteral("Capturing Lumadoc data dump.") + u'"';
    Logger::logInfo(QStringLiteral("Spindump shell script: ") + text);
    return platform::runScript({.text = text,
                                .command = helper("spindump"),
                                .arguments = {ProcessId.toStdString(), "-file", report.native()},
                                .standardOutput = {},
                                .rights = platform::Script::Rights::administrator});
}

std::optional<platform::ScriptError> runSystemProfiler() {
    const auto report = outputFile("sysinfo.txt");
    return platform::runScript(
        {.text = QStringLiteral(
                     "do shell script \"system_profiler -detailLevel full SPApplicationsDataType > '") +
                 platform::displayText(report) + QStringLiteral("'\""),
         .command = helper("system_profiler"),
         .arguments = {"-detailLevel", "full", "SPApplicationsDataType"},
         .standardOutput = report});
}

bool stop() {
    constexpr auto moment = std::chrono::milliseconds(500);
    stopRequested = true;
    auto &queue = MonitoringQueue::shared();
    std::unique_lock lock(queue.mutex);
    return queue.changed.wait_for(lock, moment, [&] { return queue.turn == queue.turnsTaken; });
}

} // namespace ProcessExecution
