#include "collection/PListOperations.h"

#include "collection/CopyOperations.h"
#include "discovery/Constants.h"
#include "discovery/RunState.h"
#include "discovery/Workspace.h"
#include "logging/Logging.h"
#include "platform/PreferenceStore.h"
#include "platform/posix/Fatal.h"
#include "platform/posix/FileSystem.h"
#include "platform/posix/Text.h"

#include <array>
#include <mutex>

namespace PListOperations {

namespace {

namespace fs = std::filesystem;
using namespace UtilityFunctions;
using platform::PropertyList;

constexpr const char *loggingKey = "LumaLogging";
constexpr const char *recordFileKey = "PreferenceFile";
constexpr const char *recordTrackKey = "Track";
constexpr const char *recordMadeKey = "MadeKeys";

// Held while the switch is written or put back.
std::mutex switching;

// One key of the switch: its value while the switch is on, and where the product's own is kept meanwhile.
struct Key {
    const char *name;
    PropertyList on;
    PropertyList &existing;
};

std::array<Key, 2> keys() {
    const auto integer = PropertyList::integer;
    return {{{"EnableLumaLogging", PropertyList::array({integer(10), integer(7)}), existingEnableLumaLogging},
             {"SustainLumaLogging", PropertyList::array({integer(0), PropertyList::boolean(true)}),
              existingSustainLumaLogging}}};
}

// Without a workspace there is no record.
OptionalURL recordFile() {
    return below(tempSystemURL, "LoggingSwitch.plist");
}

// A failed record must not stop the diagnosis: without room for it the switch is written all the same.
void keepRecord(bool madeKeys) {
    const auto file = recordFile();
    if (!file)
        return;
    PropertyList record = PropertyList::dictionary();
    record.set(recordFileKey, PropertyList::string(platform::displayText(plistURL->filename())));
    record.set(recordTrackKey, PropertyList::string(flavour));
    record.set(recordMadeKey, PropertyList::boolean(madeKeys));
    std::error_code error;
    platform::writeFileAtomically(*file, record.serialized(platform::PropertyListFormat::xml),
                                  platform::Replacement::privateFile, error);
    if (error)
        Logger::logError(QStringLiteral("Failed to keep a record of the logging switch: ") +
                         platform::description(error));
}

void removeRecord() {
    std::error_code error;
    if (const auto file = recordFile())
        Workspace::remove(*file, error);
}

// Whoever wrote the record, only the product's preference files are changed because of it.
bool isPreferenceFile(const QString &name) {
    const QString extension = QStringLiteral(".plist");
    return name.endsWith(extension) && LumadocBundleIndentifiers.contains(name.chopped(extension.size()));
}

struct Record {
    QString preferenceFile;
    QString track;
    /// Whether the run made the two keys; otherwise it left those in the file as they are.
    bool madeKeys;
};

// None when the file is no record of this program: damaged, too large, a link, or about a file that is none
// of the product's preferences; and with an error when it cannot be read now.
std::optional<Record> readRecord(const fs::path &file, std::error_code &error) {
    static constexpr std::size_t limitBytes = std::size_t{1} << 20;
    const bool isFile = fs::is_regular_file(fs::symlink_status(file, error));
    const auto bytes = isFile ? platform::readFile(file, limitBytes, error) : std::nullopt;
    if (error == std::errc::file_too_large)
        error.clear();
    const auto root = bytes ? PropertyList::parse(*bytes) : std::nullopt;
    const auto value = [&](const char *key) { return root ? root->value(key) : nullptr; };
    const PropertyList *name = value(recordFileKey);
    const PropertyList *track = value(recordTrackKey);
    const PropertyList *madeKeys = value(recordMadeKey);
    const bool isRecord = name != nullptr && isPreferenceFile(name->text().value_or(QString())) &&
                          track != nullptr && track->text() && madeKeys != nullptr && madeKeys->flag();
    return isRecord ? std::optional(Record{*name->text(), *track->text(), *madeKeys->flag()}) : std::nullopt;
}

// Saves the array that a key of an existing switch has. True when the key is not on.
bool saveExisting(const PropertyList &logging, const Key &key) {
    const PropertyList *present = logging.value(key.name);
    if (present != nullptr && *present == key.on)
        return false;
    if (present != nullptr && present->isArray())
        key.existing = *present;
    return true;
}

// An existing logging dictionary is written as it is: its two arrays are saved, and put back at the end.
bool switchOn(PropertyList &track) {
    if (!track.isDictionary())
        return false;
    const PropertyList *logging = track.value(loggingKey);
    const bool isMade = logging == nullptr || !logging->isDictionary();
    bool isOff = isMade;
    if (isMade) {
        PropertyList made = PropertyList::dictionary();
        for (const Key &key : keys())
            made.set(key.name, key.on);
        track.set(loggingKey, std::move(made));
        Logger::logInfo(QStringLiteral("Lumalogging dictionary created"));
    } else {
        for (const Key &key : keys())
            isOff = saveExisting(*logging, key) || isOff;
    }
    if (isOff)
        keepRecord(isMade);
    return isOff;
}

bool putBackAll(PropertyList &root) {
    PropertyList *track = root.value(flavour);
    if (track == nullptr || !track->isDictionary())
        return false;
    const PropertyList *present = track->value(loggingKey);
    PropertyList logging =
        present != nullptr && present->isDictionary() ? *present : PropertyList::dictionary();
    for (const Key &key : keys()) {
        if (key.existing.isEmptyArray())
            logging.remove(key.name);
        else
            logging.set(key.name, key.existing);
    }
    track->set(loggingKey, std::move(logging));
    return true;
}

// What became of the two keys of an interrupted run.
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

// Removes each key that the interrupted run made where it still is what that run wrote.
Restoration restore(PropertyList &root, const Record &record) {
    Restoration restoration;
    PropertyList *track = root.value(record.track);
    PropertyList *logging = track != nullptr ? track->value(loggingKey) : nullptr;
    if (!record.madeKeys || logging == nullptr)
        return restoration;
    for (const Key &key : keys()) {
        const PropertyList *present = logging->value(key.name);
        if (present == nullptr)
            continue;
        const bool isUnchanged = *present == key.on;
        (isUnchanged ? restoration.putBack : restoration.changedSince).append(QString::fromLatin1(key.name));
        if (isUnchanged)
            logging->remove(key.name);
    }
    return restoration;
}

// None when the file is there and cannot be read or written now.
std::optional<Restoration> restoreFile(const fs::path &file, const Record &record) {
    std::error_code error;
    if (!fs::exists(file, error) && !error)
        return Restoration();
    std::optional<Restoration> result;
    const auto change = platform::changePreferenceFile(file, [&](PropertyList &root) {
        result = restore(root, record);
        return !result->putBack.isEmpty();
    });
    return change == platform::PreferenceChange::failed ? std::nullopt : result;
}

} // namespace

void EnableLumaLogging(bool isLumaloggingEnabled) {
    const QString identifier = diagnosedIdentifier();
    if (!isLumaloggingEnabled || identifier.isEmpty() || !userLibraryPrefURL)
        return;
    const auto file = *userLibraryPrefURL / platform::pathFromText(identifier + QStringLiteral(".plist"));
    Logger::logInfo(QStringLiteral("PropertyList URL: ") + platform::displayText(file));
    const std::lock_guard lock(switching);
    plistURL = file;
    const auto change = platform::changePreferenceValue(file, flavour, switchOn);
    if (change == platform::PreferenceChange::written) {
        Logger::logInfo(QStringLiteral("Changes synchronized to plist successfully."));
        plistUpdated = true;
    } else if (change == platform::PreferenceChange::failed) {
        removeRecord();
        Logger::logError(QStringLiteral("Failed to synchronize plist changes."));
    }
}

void GetLumaLogs(bool isLumaloggingEnabled) {
    if (!isLumaloggingEnabled)
        return;
    if (!lumadocOrPellix)
        platform::fatal("The product's edition is not known.");
    const QString source = ConstantsFolder::LumalogPath.arg(flavour, *lumadocOrPellix);
    copyItem(below(userLibraryURL, platform::pathFromText(source)), below(tempOutputURL, "LumaLog"),
             SourceLink::followed);
}

void RevertLumaLogPList(bool isLumaloggingEnabled) {
    const std::lock_guard lock(switching);
    if (!isLumaloggingEnabled || !plistUpdated)
        return;
    if (!plistURL)
        platform::fatal("The product's preference file is not known.");
    const auto change = platform::changePreferenceFile(*plistURL, putBackAll);
    if (change == platform::PreferenceChange::written) {
        plistUpdated = false;
        removeRecord();
    } else if (change == platform::PreferenceChange::failed) {
        Logger::logError(QStringLiteral("RevertLumaLogPList Failed to update plist. URL: ") +
                         platform::displayText(*plistURL));
    }
}

void RestoreAfterInterruptedRun() {
    const auto place = recordFile();
    std::error_code error;
    if (!userLibraryPrefURL || !place || !fs::exists(fs::symlink_status(*place, error)))
        return;
    const auto record = readRecord(*place, error);
    if (error) {
        Logger::logError(QStringLiteral("Interrupted run: its record cannot be read: ") +
                         platform::description(error));
        return;
    }
    if (!record) {
        removeRecord();
        Logger::logWarning(QStringLiteral("Interrupted run: its record cannot be used and is removed."));
        return;
    }
    const auto file = *userLibraryPrefURL / platform::pathFromText(record->preferenceFile);
    const auto done = restoreFile(file, *record);
    if (!done) {
        Logger::logError(QStringLiteral("Interrupted run: the logging switch cannot be put back in ") +
                         platform::displayText(file));
        return;
    }
    removeRecord();
    Logger::logInfo(QStringLiteral("Interrupted run: ") + done->text() + QStringLiteral(" in ") +
                    platform::displayText(file));
}

} // namespace PListOperations
