#include "app/AppDelegate.h"

#include "app/CommandLineArguments.h"
#include "app/LumamonApp.h"
#include "app/TimeoutManager.h"
#include "app/WindowFrontEnd.h"
#include "collection/Collectors.h"
#include "collection/PListOperations.h"
#include "collection/PrintedList.h"
#include "discovery/DetailedInfo.h"
#include "discovery/MainQueue.h"
#include "discovery/ProductDiscovery.h"
#include "logging/Logging.h"
#include "packaging/FilesPathDirectory.h"
#include "packaging/UploadAPI.h"
#include "platform/Account.h"
#include "platform/Applications.h"
#include "platform/Bundle.h"
#include "platform/posix/Fatal.h"
#include "platform/posix/Text.h"

#include <algorithm>

namespace {

using namespace UtilityFunctions;

const QString applicationName = QStringLiteral("Brennic_Lumadoc_Diagnostics");

void logVersion() {
    const auto version = platform::Bundle::main()->shortVersion();
    if (!version)
        return;
    LumamonAppVersion = *version;
    Logger::logInfo(applicationName + QStringLiteral(" App Version: ") + LumamonAppVersion);
}

// Takes the installation that the command line names; false when it names none that is there.
bool chooseNamedProduct() {
    using namespace CommandLineArguments;
    const OptionalURL url = product && track ? IsFlavourValid(*product, *track) : std::nullopt;
    if (!url) {
        Logger::logError(QStringLiteral("Not Found Lumadoc form Commandline params."));
        return false;
    }
    Logger::logInfo(QStringLiteral("Found Lumadoc from Commandline params: ") + platform::displayText(*url));
    LumadocInstalledUrlUsed = url;
    return true;
}

void reportSilentUpload(const UploadResult &result) {
    const bool failed = std::holds_alternative<UploadError>(result);
    AppDelegate::KillApp(
        failed ? QStringLiteral("--------------Silent Upload failed, app terminated--------------")
               : QStringLiteral("--------------Silent Upload successful, app terminated--------------"));
}

} // namespace

bool AppDelegate::isOnlyCopy(const QStringList &arguments) {
    const auto &bundle = platform::Bundle::main();
    const auto identifier = bundle ? bundle->identifier() : std::nullopt;
    if (!identifier)
        platform::fatal("The main bundle has no identifier.");
    // Copies share what is in the Library folder. Without one there is no workspace, and nowhere to claim it.
    const auto libraries = platform::userLibraryFolders();
    if (platform::claimSingleInstance(*identifier,
                                      libraries.empty() ? "" : libraries.front() / "LumadocDiagnostics"))
        return true;
    const QString line = QStringLiteral(
        "-----------%1 running instanace detected. Terminating the new instance with %2.-----------");
    if (Logger::NewLogFileLocation())
        Logger::logInfo(line.arg(applicationName, printedList(arguments)));
    if (std::ranges::none_of(arguments, CommandLineArguments::asksForSilence)) {
        // The message bus may have stopped answering.
        LumamonApp::limitTheEnd(EXIT_SUCCESS);
        platform::activateOtherCopy(*identifier);
    }
    return false;
}

void AppDelegate::applicationDidFinishLaunching() {
    Logger::setupLogFile();
    Logger::log(QStringLiteral("----------------------------Application Started----------------------------"),
                platform::OSLogType::debug);
    logVersion();
    BeginRun();
    isOutputDirectoryCreated = true;
    PListOperations::RestoreAfterInterruptedRun();
    CommandLineArguments::parse(m_arguments);
    if (IsSilentMode) {
        constexpr auto timeout = std::chrono::seconds(300);
        TimeoutManager::shared().runWithTimeout(timeout, [this] { runWithoutUI(); });
    } else if (m_window) {
        platform::setPresence(platform::Presence::ordinary);
        m_window->open([] { LumamonApp::limitTheEnd(EXIT_SUCCESS); });
    }
}

void AppDelegate::KillApp(const QString &log) {
    onMainQueue([log] {
        Logger::logInfo(log);
        QCoreApplication::quit();
    });
}

void AppDelegate::runWithoutUI() {
    platform::setPresence(platform::Presence::hidden);
    Logger::logInfo(QStringLiteral("Running without UI based on command-line parameter."));
    if (!chooseNamedProduct()) {
        FindRunningEditions();
        SetLumadocRunningOrInstalledInstances(false);
    }
    SetLumadocOrPellix();
    SetUserFilesFolder();
    PListOperations::GetLumaLogs(true);
    GetCrashReports();
    FilesPathDirectory::pruneOutput();
    Logger::logInfo(QStringLiteral("Log file will be copied and compressed after this point."));
    CopyLumamonLogFile();
    saveDetailedInfo();
    // Without an archive there is nothing to send, and the program goes on running idle: the product that
    // started it finds it running and does not start it again.
    if (!FilesPathDirectory::packOutput())
        return;
    if (!FilesPathDirectory::isArchiveSizeValid())
        KillApp(QStringLiteral("Logs Size is large."));
    // Also for an archive that is too large: the end of the program is only scheduled then.
    SilentUpload(reportSilentUpload);
}
