#include "discovery/RunState.h"

#include "discovery/Workspace.h"
#include "logging/Logging.h"
#include "platform/Account.h"
#include "platform/posix/Fatal.h"
#include "platform/posix/Text.h"

#include <QDateTime>

namespace UtilityFunctions {

namespace {

namespace fs = std::filesystem;

// Makes a folder that is missing; `shownAs` is what the log calls it. False when it cannot be made.
bool makeIfMissing(const fs::path &folder, const QString &shownAs) {
    if (Workspace::holds(folder))
        return true;
    std::error_code error;
    if (!Workspace::make(folder, error))
        return false;
    Logger::logInfo(QStringLiteral("Directory created: %1").arg(shownAs));
    return true;
}

} // namespace

void BeginRun() {
    if (CreateOutputDirectories())
        Logger::changeLogFileLocation();
    else
        Logger::logError(QStringLiteral("Application terminated"));
}

bool CreateOutputDirectories() {
    const auto libraries = platform::userLibraryFolders();
    if (libraries.empty())
        return false;
    const QString runStamp = QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMddHHmmss"));
    userLibraryURL = libraries.front();
    userLibraryPrefURL = *userLibraryURL / "Preferences";
    tempDirURL = *userLibraryURL / "LumadocDiagnostics";
    Logger::logInfo(QStringLiteral("LumadocDiagnostics Directory: ") + platform::displayText(*tempDirURL));
    tempSystemURL = *tempDirURL / "System";
    tempTimeStampedURL = *tempDirURL / "Output" / platform::pathFromText(runStamp);
    tempOutputURL = tempTimeStampedURL;
    temptempURL = *tempDirURL / "temp";

    const bool made = makeIfMissing(*tempOutputURL, platform::displayText(*tempOutputURL)) &&
                      makeIfMissing(*tempDirURL, QStringLiteral("LumadocDiagnostics")) &&
                      makeIfMissing(*tempSystemURL, QStringLiteral("System")) &&
                      makeIfMissing(*temptempURL, QStringLiteral("temp"));
    if (!made)
        Logger::logError(QStringLiteral("Failed to create the initial directories."));
    return made;
}

void SetUserFilesFolder() {
    userFilesURL = below(tempOutputURL, "UserFiles");
}

QString diagnosedIdentifier() {
    return (LumadocRunningInstance + LumadocInstalledInstance).value(0);
}

OptionalURL below(const OptionalURL &folder, const fs::path &name) {
    return folder ? OptionalURL(*folder / name) : std::nullopt;
}

const fs::path &required(const OptionalURL &url, const char *otherwise) {
    if (!url)
        platform::fatal(otherwise);
    return *url;
}

} // namespace UtilityFunctions
