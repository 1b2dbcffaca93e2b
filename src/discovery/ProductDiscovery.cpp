#include "discovery/ProductDiscovery.h"

#include "discovery/Constants.h"
#include "discovery/MainQueue.h"
#include "discovery/Workspace.h"
#include "logging/Logging.h"
#include "platform/Applications.h"
#include "platform/Bundle.h"
#include "platform/posix/Process.h"
#include "platform/posix/Text.h"

#include <algorithm>

namespace UtilityFunctions {

namespace {

using platform::displayText;

const QString lumadocWord = QStringLiteral("Lumadoc");
const QString pellixWord = QStringLiteral("Pellix");

// Where the product keeps this program inside itself, by track.
const QString embeddedAppPath = QStringLiteral(
    "/Library/Application Support/Brennic/Lumadoc/%1/SupportFiles/Helpers/Brennic_Lumadoc_Diagnostics.app");

// The track that a version text stands for, by the first character of its last piece.
std::optional<QString> flavourOfVersion(const QString &version) {
    static const QStringList tracks{QStringLiteral("Trunk"), QStringLiteral("Beta"), QStringLiteral("QZ")};
    bool isDigit = false;
    const int digit = version.section(u'.', -1).left(1).toInt(&isDigit);
    return isDigit && digit < tracks.size() ? std::optional(tracks[digit]) : std::nullopt;
}

bool isSame(const QString &text, const QString &other) {
    return text.compare(other, Qt::CaseInsensitive) == 0;
}

void logFlavour(const QString &version, const QString &track) {
    Logger::logInfo(QStringLiteral("FlavourFromAppVersion:%1 flavour: %2").arg(version, track));
}

void addInstalledPaths(const QString &bundleIdentifier, std::vector<std::filesystem::path> &urls) {
    for (const auto &url : platform::installedApplications(bundleIdentifier)) {
        Logger::logInfo(QStringLiteral("App url for bundle: ") + bundleIdentifier + QStringLiteral(" is: ") +
                        displayText(url));
        urls.push_back(url);
    }
}

// Takes the first installed copy of an edition; false when there is none.
bool takeInstalled(const QString &bundleIdentifier, const QString &word,
                   const std::vector<std::filesystem::path> &urls) {
    if (urls.empty())
        return false;
    Logger::logInfo(word + QStringLiteral(" installation found."));
    LumadocInstalledInstance.append(bundleIdentifier);
    FlavourFromAppVersion(urls.front());
    return true;
}

// The oldest running application of which this holds.
template <typename Condition>
std::optional<platform::RunningApplication> firstRunning(Condition condition) {
    const auto running = platform::runningApplications();
    const auto found = std::ranges::find_if(running, condition);
    return found == running.end() ? std::nullopt : std::optional(*found);
}

} // namespace

std::optional<AppVersion> GetFlavourFromAppVersion(const std::filesystem::path &url) {
    const auto bundle = platform::Bundle::at(url);
    const auto version = bundle ? bundle->shortVersion() : std::nullopt;
    if (!version)
        return std::nullopt;
    return AppVersion{*version, flavourOfVersion(*version)};
}

void FlavourFromAppVersion(const std::filesystem::path &url) {
    const auto found = GetFlavourFromAppVersion(url);
    if (!found)
        return;
    flavour = found->flavour.value_or(QStringLiteral("Trunk"));
    LumadocVersion = found->version;
    LumadocInstalledUrlUsed = url;
    logFlavour(LumadocVersion, flavour);
}

OptionalURL IsFlavourValid(const QString &product, const QString &track) {
    const bool isLumadoc = isSame(product, lumadocWord);
    if (!isLumadoc && !isSame(product, pellixWord))
        return std::nullopt;
    const QString &identifier = isLumadoc ? LumadocBundleIdentifier : PellixBundleIdentifier;
    for (const auto &url : platform::installedApplications(identifier)) {
        const auto found = GetFlavourFromAppVersion(url);
        if (!found || !found->flavour || !isSame(*found->flavour, track))
            continue;
        logFlavour(found->version, *found->flavour);
        LumadocVersion = found->version;
        flavour = *found->flavour;
        (isLumadoc ? lumadocInstalledUrls : pellixInstalledUrls) = {url};
        LumadocInstalledInstance = {identifier};
        return url;
    }
    return std::nullopt;
}

void setLumadocInstalledPath() {
    addInstalledPaths(LumadocBundleIdentifier, lumadocInstalledUrls);
}

void setPellixInstalledPath() {
    addInstalledPaths(PellixBundleIdentifier, pellixInstalledUrls);
}

bool IsApplicationRunning(const QString &bundleIdentifier) {
    const auto application =
        firstRunning([&](const auto &running) { return running.bundleIdentifier == bundleIdentifier; });
    if (!application) {
        Logger::logWarning(QStringLiteral("Lumadoc running instance not found for BundleIdentifier: ") +
                           bundleIdentifier);
        return false;
    }
    ProcessId = QString::number(application->processIdentifier);
    Logger::logInfo(QStringLiteral("Lumadoc running instance found for BundleIdentifier: ") +
                    bundleIdentifier);
    if (!application->bundlePath.empty())
        FlavourFromAppVersion(application->bundlePath);
    return true;
}

void FindRunningEditions() {
    LumadocRunningInstance.clear();
    for (const QString &identifier : LumadocBundleIndentifiers) {
        if (IsApplicationRunning(identifier))
            LumadocRunningInstance.append(identifier);
    }
}

void SetLumadocRunningOrInstalledInstances(bool displayAlert) {
    if (!LumadocRunningInstance.isEmpty())
        return;
    Logger::logInfo(QStringLiteral("LumadocRunningInstance.isEmpty"));
    setLumadocInstalledPath();
    if (takeInstalled(LumadocBundleIdentifier, lumadocWord, lumadocInstalledUrls))
        return;
    Logger::logInfo(QStringLiteral("lumadocInstalledUrls.isEmpty"));
    setPellixInstalledPath();
    if (takeInstalled(PellixBundleIdentifier, pellixWord, pellixInstalledUrls))
        return;
    Logger::logInfo(QStringLiteral("pellixInstalledUrls.isEmpty"));
    if (displayAlert)
        UtilityFunctions::displayAlert(QStringLiteral("No Lumadoc installation detected"),
                                       QStringLiteral("No Lumadoc installation found on this device. Please "
                                                      "install Lumadoc and then start troubeshooting."),
                                       QStringLiteral("OK"));
}

void SetLumadocOrPellix() {
    const bool isLumadoc = LumadocRunningInstance.value(0) == LumadocBundleIdentifier ||
                           LumadocInstalledInstance.value(0) == LumadocBundleIdentifier;
    lumadocOrPellix = isLumadoc ? lumadocWord : pellixWord;
    tempOutputURL = required(tempOutputURL, "The output folder is not known when the edition is chosen.") /
                    platform::pathFromText(*lumadocOrPellix);
    std::error_code error;
    Workspace::make(*tempOutputURL, error);
    const auto log = error ? Logger::logError : Logger::logInfo;
    log(QStringLiteral("Directory created: ") + displayText(*tempOutputURL));
}

bool IsMultipleInstance() {
    if (LumadocRunningInstance.size() < 2)
        return false;
    displayAlert(QStringLiteral("Multiple instances of Lumadoc detected"),
                 LabelConstants::MultipleLumadocRunningDesc, QStringLiteral("OK"));
    return true;
}

void VerifyApplicationProcess() {
    const auto application = firstRunning(
        [](const auto &running) { return LumadocBundleIndentifiers.contains(running.bundleIdentifier); });
    if (!application) {
        Logger::logWarning(QStringLiteral("Lumadoc running instance not Verified. OldProcessId: ") +
                           ProcessId);
        return;
    }
    ProcessId = QString::number(application->processIdentifier);
    Logger::logInfo(QStringLiteral("Lumadoc running instance verified. NewProcessId: ") + ProcessId);
}

bool IsProcessRunning(const QString &processId) {
    const bool isRunning = firstRunning([&](const auto &running) {
                               return QString::number(running.processIdentifier) == processId;
                           }).has_value();
    if (isRunning)
        Logger::logInfo(QStringLiteral("Lumadoc process is running. ProcessId: ") + processId);
    else
        Logger::logWarning(QStringLiteral("Lumadoc process is not running. ProcessId: ") + processId);
    return isRunning;
}

bool IsLumadocRestartRequired() {
    if (LumadocRunningInstance.isEmpty() || flavour == QStringLiteral("Trunk") ||
        flavour == QStringLiteral("Beta"))
        return false;
    const QString self = displayText(platform::executablePath(QCoreApplication::arguments()));
    if (!LumadocInstalledUrlUsed || self.contains(displayText(*LumadocInstalledUrlUsed)) ||
        self.contains(embeddedAppPath.arg(flavour))) {
        Logger::logInfo(QStringLiteral("Dont show restart alert: invocation within consumer."));
        return false;
    }
    Logger::logInfo(QStringLiteral("Show Restart Alert: standalone consumer detected."));
    return true;
}

void displayAlert(const QString &title, const QString &message, const QString &buttonTitle) {
    onMainQueue([=] {
        if (alertPresenter)
            alertPresenter(title, message, buttonTitle);
    });
}

} // namespace UtilityFunctions
