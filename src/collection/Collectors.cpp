#include "collection/Collectors.h"

#include "collection/CopyOperations.h"
#include "collection/FileSelection.h"
#include "discovery/Constants.h"
#include "discovery/RunState.h"
#include "discovery/Workspace.h"
#include "logging/Logging.h"
#include "platform/posix/Fatal.h"
#include "platform/posix/Text.h"

namespace UtilityFunctions {

namespace {

namespace fs = std::filesystem;

constexpr char CrashReporterPlistName[] = "com.brennic.crashreporter.plist";

const fs::path &outputFolder() {
    return required(tempOutputURL, "The output folder is not known when logs are collected.");
}

// Copies items of a folder of the user's Library to a folder of the output, and returns that. When it cannot
// be made that is one line; the copies into it are tried all the same.
fs::path copyLogs(const fs::path &from, const char *to, std::initializer_list<const char *> names) {
    fs::path destination = outputFolder() / to;
    std::error_code error;
    Workspace::make(destination, error);
    if (error)
        Logger::logError(QStringLiteral("Error: ") + platform::description(error));
    for (const char *name : names)
        copyItem(below(userLibraryURL, from / name), destination / name, SourceLink::followed);
    return destination;
}

} // namespace

void GetCrashReports() {
    constexpr int maxFileCount = 100;
    constexpr std::int64_t maxFileSizeBytes = 1'048'576;
    copyFilesContainingName(below(userLibraryURL, "Logs/DiagnosticReports"),
                            below(tempOutputURL, "DiagnosticReports"), maxFileCount, maxFileSizeBytes,
                            {QStringLiteral("lumacef")});
}

void CopyLumamonLogFile() {
    if (lumamonLogFileURL && tempOutputURL)
        copyItem(lumamonLogFileURL, *tempOutputURL / lumamonLogFileURL->filename());
    else
        Logger::logInfo(LogConstants::LumamonLogNotFound);
}

bool GetPropertyList() {
    const QString identifier = diagnosedIdentifier();
    if (identifier.isEmpty())
        return false;
    const fs::path &source =
        required(userLibraryPrefURL, "The preferences folder is not known when preferences are collected.");
    const fs::path destination = outputFolder() / "PropertyList";
    for (const fs::path &file :
         {platform::pathFromText(identifier + QStringLiteral(".plist")), fs::path(CrashReporterPlistName)})
        CopyFiles(source, destination, file, SourceLink::followed);
    return true;
}

bool GetLicensingLogs() {
    copyLogs("Logs", "LicensingLogs", {"lumaKWDLog.txt", "distKWDLog.txt", "KWD", "lumacef_low"});
    return true;
}

bool GetInstallLogs() {
    const fs::path destination =
        copyLogs("Logs/Brennic", "InstallLogs", {"Lumadoc Update Helper QZ.log", "Lumadoc Updater QZ.log"});
    copyItem(fs::path("/var/log/lumaUpdaterTools.log"), destination / "lumaUpdaterTools.log",
             SourceLink::followed);
    return true;
}

void GetXelLogs() {
    if (!lumadocOrPellix)
        platform::fatal("The edition is not known when messaging logs are collected.");
    const QString message = *lumadocOrPellix == QStringLiteral("Lumadoc")
                                ? QStringLiteral("Trellis-ProMessages")
                                : QStringLiteral("PellixMessages");
    const QString source = QStringLiteral("Application Support/Brennic/Lumadoc/%1/%2").arg(flavour, message);
    // The folder goes by the name of a licence file, as the support side expects it.
    copyItem(below(userLibraryURL, platform::pathFromText(source)),
             below(tempOutputURL,
                   platform::pathFromText(QStringLiteral("XelLogs/") + message + QStringLiteral(".lic"))),
             SourceLink::followed);
}

} // namespace UtilityFunctions
