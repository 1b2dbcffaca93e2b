#include "collection/ProcessExecution.h"

#include "collection/Collectors.h"
#include "collection/PListOperations.h"
#include "discovery/DetailedInfo.h"
#include "discovery/MainQueue.h"
#include "discovery/ProductDiscovery.h"
#include "logging/Logging.h"
#include "platform/Bundle.h"
#include "platform/SerialQueue.h"
#include "platform/posix/Program.h"
#include "platform/posix/Text.h"

#include <atomic>

namespace ProcessExecution {

namespace {

using namespace UtilityFunctions;

std::atomic<bool> stopRequested = false;

// A script that was stopped is the beginning of the program's end, which may reach this worker a little
// later.
bool isStopping() {
    return stopRequested || platform::programsAreStopped();
}

// Never destroyed: a step that hangs may still run when the process ends.
platform::SerialQueue &monitoringQueue() {
    static auto *const queue = new platform::SerialQueue("MonitoringQueue");
    return *queue;
}

void submit(std::function<void()> task) {
    monitoringQueue().submit([task = std::move(task)] {
        if (!isStopping())
            task();
    });
}

using Progress = std::optional<TextBinding>;

void setProgressText(const Progress &progress, const QString &text) {
    if (progress)
        progress->set(text);
}

std::filesystem::path helper(const char *name) {
    const auto &bundle = platform::Bundle::main();
    return (bundle ? bundle->path() : std::filesystem::path("/")) / "Contents" / "Helpers" / name;
}

// A file of the output; at the root when there is no output folder.
std::filesystem::path outputFile(const char *name) {
    return tempOutputURL.value_or(std::filesystem::path()).native() + "/" + name;
}

void sampleProcess(bool getSpinDump, const Progress &progress) {
    VerifyApplicationProcess();
    if (!getSpinDump || !IsProcessRunning(ProcessId))
        return;
    setProgressText(progress, QStringLiteral("Capturing Lumadoc data dump. Please wait for a few minutes."));
    const auto error = runSpinDump();
    Logger::logInfo(error ? error->printedDescription() : QStringLiteral("No SpinResult debug description"));
}

void listInstalledApplications(const Progress &progress) {
    setProgressText(progress, QStringLiteral("Capturing system configuration and settings."));
    const auto error = runSystemProfiler();
    Logger::logInfo(error ? QStringLiteral("Optional(") + error->printedDescription() + u')'
                          : QStringLiteral("nil"));
}

void collectSettingsAndLogs(bool isLumaloggingEnabled, const Progress &progress) {
    setProgressText(progress, QStringLiteral("Capturing Lumadoc settings and logs."));
    const std::function<void()> steps[] = {
        [=] { PListOperations::GetLumaLogs(isLumaloggingEnabled); },
        [] { GetPropertyList(); },
        [] { GetLicensingLogs(); },
        [] { GetInstallLogs(); },
        GetCrashReports,
        GetXelLogs,
        saveDetailedInfo,
        [=] { PListOperations::RevertLumaLogPList(isLumaloggingEnabled); },
    };
    for (const auto &step : steps) {
        if (isStopping())
            return;
        step();
    }
}

} // namespace

void runTasksConcurrently(bool getInstalledApps, bool getSpinDump, bool isLumaloggingEnabled,
                          std::function<void()> completion) {
    Logger::logInfo(QStringLiteral("Monitoring Queue initiated."));
    submit([=, progress = labelTextBinding] { sampleProcess(getSpinDump, progress); });
    submit([=, progress = labelTextBinding] {
        if (getInstalledApps && getSpinDump)
            listInstalledApplications(progress);
    });
    submit([=, progress = labelTextBinding] { collectSettingsAndLogs(isLumaloggingEnabled, progress); });
    submit([done = std::move(completion)] { platform::onMainQueue(done); });
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
    return monitoringQueue().stop(moment);
}

} // namespace ProcessExecution
