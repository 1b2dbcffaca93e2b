#include "collection/PListOperations.h"

#include "collection/CopyOperations.h"
#include "collection/RestoreRecord.h"
#include "discovery/Constants.h"
#include "discovery/RunState.h"
#include "logging/Logging.h"
#include "platform/PreferenceStore.h"
#include "platform/posix/Fatal.h"
#include "platform/posix/Text.h"

#include <mutex>

namespace PListOperations {

namespace {

using platform::PropertyList;

const QByteArray loggingKey = QByteArrayLiteral("LumaLogging");
const QByteArray enableKey = QByteArrayLiteral("EnableLumaLogging");
const QByteArray sustainKey = QByteArrayLiteral("SustainLumaLogging");

// Held while the switch is written or put back.
std::mutex switching;

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

// The value of one key of the switch in a track's dictionary.
std::optional<PropertyList> switchValue(const PropertyList &track, const QByteArray &key) {
    const auto logging = track.value(loggingKey);
    return logging ? logging->value(key) : std::nullopt;
}

// Keeps what puts the switch back, should this run not come to do it. Diagnosing goes before: without room
// for the record the switch is written all the same.
void keepRecord(const PropertyList &before, const PropertyList &written) {
    const auto of = [&](const QByteArray &key) {
        return RestoreRecord::Key{switchValue(before, key), switchValue(written, key)};
    };
    const RestoreRecord record{platform::displayText(plistURL->filename()), UtilityFunctions::flavour,
                               of(enableKey), of(sustainKey)};
    if (const auto error = record.write())
        Logger::logError(QStringLiteral("Failed to keep a record of the logging switch: ") +
                         platform::description(error));
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
    keepRecord(*current, updated);
    if (platform::setPreferenceValue(*plistURL, trackKey(), updated)) {
        Logger::logInfo(QStringLiteral("Changes synchronized to plist successfully."));
        plistUpdated = true;
    } else {
        RestoreRecord::remove();
        Logger::logError(QStringLiteral("Failed to synchronize plist changes."));
    }
}

void putBack(PropertyList &logging, const QByteArray &key, const PropertyList &existing) {
    if (existing.isEmptyArray())
        logging.remove(key);
    else
        logging.set(key, existing);
}

// What became of the two keys when an interrupted run was made good.
struct Restoration {
    QStringList putBack;
    QStringList changedSince;

    QString text() const {
        const QString comma = QStringLiteral(", ");
        QStringList parts;
        if (!putBack.isEmpty())
            parts.append(putBack.join(comma) + QStringLiteral(" put back"));
        if (!changedSince.isEmpty())
            parts.append(changedSince.join(comma) + QStringLiteral(" changed since and left"));
        return parts.isEmpty() ? QStringLiteral("nothing to put back") : parts.join(comma);
    }
};

// Puts one key back where it still is what the interrupted run wrote.
void restoreKey(PropertyList &logging, const QByteArray &name, const RestoreRecord::Key &key,
                Restoration &restoration) {
    const auto present = logging.value(name);
    if (present == key.before)
        return;
    if (!present || present != key.written) {
        restoration.changedSince.append(QString::fromLatin1(name));
        return;
    }
    if (key.before)
        logging.set(name, *key.before);
    else
        logging.remove(name);
    restoration.putBack.append(QString::fromLatin1(name));
}

// None when the file stands there and cannot be read or written now.
std::optional<Restoration> restoreFrom(const RestoreRecord &record, const std::filesystem::path &file) {
    std::error_code error;
    const bool isMissing = !std::filesystem::exists(file, error) && !error;
    auto root = isMissing ? PropertyList::dictionary() : PropertyList::load(file);
    if (!root)
        return std::nullopt;
    const QByteArray trackName = record.track.toUtf8();
    auto track = root->value(trackName).value_or(PropertyList::dictionary());
    auto logging = track.value(loggingKey).value_or(PropertyList::dictionary());
    Restoration restoration;
    restoreKey(logging, enableKey, record.enable, restoration);
    restoreKey(logging, sustainKey, record.sustain, restoration);
    if (restoration.putBack.isEmpty())
        return restoration;
    track.set(loggingKey, logging);
    root->set(trackName, track);
    return platform::writePreferences(file, *root) ? std::optional(restoration) : std::nullopt;
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
    const std::lock_guard lock(switching);
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
    const std::lock_guard lock(switching);
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
    if (platform::writePreferences(*plistURL, *root)) {
        plistUpdated = false;
        RestoreRecord::remove();
    } else {
        Logger::logError(QStringLiteral("%1 Failed to update plist. URL: %2")
                             .arg(QStringLiteral("RevertLumaLogPList"), platform::displayText(*plistURL)));
    }
}

void RestoreAfterInterruptedRun() {
    if (!UtilityFunctions::userLibraryPrefURL)
        return;
    bool isUnusable = false;
    const auto record = RestoreRecord::read(isUnusable);
    if (!record) {
        if (isUnusable) {
            RestoreRecord::remove();
            Logger::logWarning(QStringLiteral("Interrupted run: its record cannot be used and is removed."));
        }
        return;
    }
    const auto file = *UtilityFunctions::userLibraryPrefURL / platform::pathFromText(record->preferenceFile);
    const auto done = restoreFrom(*record, file);
    if (!done) {
        Logger::logError(QStringLiteral("Interrupted run: the logging switch cannot be put back in ") +
                         platform::displayText(file));
        return;
    }
    RestoreRecord::remove();
    Logger::logInfo(QStringLiteral("Interrupted run: ") + done->text() + QStringLiteral(" in ") +
                    platform::displayText(file));
}

} // namespace PListOperations
