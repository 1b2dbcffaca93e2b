#include "collection/PListOperations.h"

#include "collection/CopyOperations.h"
#include "discovery/Constants.h"
#include "discovery/RunState.h"
#include "logging/Logging.h"
#include "platform/Fatal.h"
#include "platform/PreferenceStore.h"
#include "platform/Text.h"

namespace PListOperations {

namespace {

using platform::PropertyList;

const QByteArray loggingKey = QByteArrayLiteral("LumaLogging");
const QByteArray enableKey = QByteArrayLiteral("EnableLumaLogging");
const QByteArray sustainKey = QByteArrayLiteral("SustainLumaLogging");

PropertyList enableValue() {
    return PropertyList::array({PropertyList::integer(10), PropertyList::integer(7)});
}

PropertyList sustainValue() {
    return PropertyList::array({PropertyList::integer(0), PropertyList::boolean(true)});
}

QByteArray trackKey() {
    return UtilityFunctions::flavour.toUtf8();
}

// Switches one key on in a logging dictionary, keeping the array that it had. True when it was not on before.
bool switchOn(PropertyList &logging, const QByteArray &key, const PropertyList &wanted,
              PropertyList &existing) {
    const auto present = logging.value(key);
    if (present && *present == wanted)
        return false;
    if (present && present->isArray())
        existing = *present;
    logging.set(key, wanted);
    return true;
}

// Switches an existing logging dictionary on. The dictionary belongs to the value as it was read and not to
// the copy that will be written: the file keeps the two arrays that it has.
bool switchExistingOn(PropertyList logging) {
    const bool enableChanged =
        switchOn(logging, enableKey, enableValue(), UtilityFunctions::existingEnableLumaLogging);
    const bool sustainChanged =
        switchOn(logging, sustainKey, sustainValue(), UtilityFunctions::existingSustainLumaLogging);
    return enableChanged || sustainChanged;
}

PropertyList newLogging() {
    PropertyList logging = PropertyList::dictionary();
    logging.set(enableKey, enableValue());
    logging.set(sustainKey, sustainValue());
    return logging;
}

void addToPlist() {
    if (!plistURL)
        return;
    const auto current = platform::copyPreferenceValue(*plistURL, trackKey());
    if (!current || !current->isDictionary())
        return;
    PropertyList updated = *current;
    auto logging = current->value(loggingKey);
    if (logging && logging->isDictionary()) {
        if (!switchExistingOn(std::move(*logging)))
            return;
    } else {
        updated.set(loggingKey, newLogging());
        Logger::logInfo(QStringLiteral("Lumalogging dictionary created"));
    }
    if (platform::setPreferenceValue(*plistURL, trackKey(), updated)) {
        Logger::logInfo(QStringLiteral("Changes synchronized to plist successfully."));
        plistUpdated = true;
    } else {
        Logger::logError(QStringLiteral("Failed to synchronize plist changes."));
    }
}

void putBack(PropertyList &logging, const QByteArray &key, const PropertyList &existing) {
    if (existing.isEmptyArray())
        logging.remove(key);
    else
        logging.set(key, existing);
}

} // namespace

void EnableLumaLogging(bool isLumaloggingEnabled) {
    using namespace UtilityFunctions;
    if (!isLumaloggingEnabled || (LumadocRunningInstance.isEmpty() && LumadocInstalledInstance.isEmpty()))
        return;
    const QString identifier =
        LumadocRunningInstance.isEmpty() ? LumadocInstalledInstance.first() : LumadocRunningInstance.first();
    if (!userLibraryPrefURL)
        return;
    const auto file = *userLibraryPrefURL / platform::pathFromText(identifier + QStringLiteral(".plist"));
    Logger::logInfo(
        QStringLiteral("%1 URL: %2").arg(QStringLiteral("PropertyList"), platform::displayText(file)));
    plistURL = file;
    addToPlist();
}

void GetLumaLogs(bool isLumaloggingEnabled) {
    using namespace UtilityFunctions;
    if (!isLumaloggingEnabled)
        return;
    if (!lumadocOrPellix)
        platform::fatal("The product's edition is not known.");
    const QString below = ConstantsFolder::LumalogPath.arg(flavour, *lumadocOrPellix);
    OptionalURL source;
    if (userLibraryURL)
        source = *userLibraryURL / platform::pathFromText(below);
    OptionalURL destination;
    if (tempOutputURL)
        destination = *tempOutputURL / "LumaLog";
    copyItem(source, destination);
}

void RevertLumaLogPList(bool isLumaloggingEnabled) {
    if (!isLumaloggingEnabled || !plistUpdated)
        return;
    if (!plistURL)
        platform::fatal("The product's preference file is not known.");
    auto root = PropertyList::load(*plistURL);
    auto track = root ? root->value(trackKey()) : std::nullopt;
    if (!track || !track->isDictionary())
        return;
    auto logging = track->value(loggingKey);
    if (!logging || !logging->isDictionary())
        logging = PropertyList::dictionary();
    putBack(*logging, enableKey, UtilityFunctions::existingEnableLumaLogging);
    putBack(*logging, sustainKey, UtilityFunctions::existingSustainLumaLogging);
    track->set(loggingKey, *logging);
    root->set(trackKey(), *track);
    if (platform::writePreferences(*plistURL, *root))
        plistUpdated = false;
    else
        Logger::logError(QStringLiteral("%1 Failed to update plist. URL: %2")
                             .arg(QStringLiteral("RevertLumaLogPList"), platform::displayText(*plistURL)));
}

} // namespace PListOperations
