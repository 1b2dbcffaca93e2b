#include "collection/RestoreRecord.h"

#include "discovery/RunState.h"
#include "platform/posix/FileSystem.h"

#include <algorithm>

namespace {

using platform::PropertyList;

const QByteArray fileKey = QByteArrayLiteral("PreferenceFile");
const QByteArray trackKey = QByteArrayLiteral("Track");
const QByteArray enableKey = QByteArrayLiteral("EnableLumaLogging");
const QByteArray sustainKey = QByteArrayLiteral("SustainLumaLogging");
const QByteArray beforeKey = QByteArrayLiteral("Before");
const QByteArray writtenKey = QByteArrayLiteral("Written");

PropertyList encoded(const RestoreRecord::Key &key) {
    PropertyList result = PropertyList::dictionary();
    if (key.before)
        result.set(beforeKey, *key.before);
    if (key.written)
        result.set(writtenKey, *key.written);
    return result;
}

RestoreRecord::Key decoded(const PropertyList &value) {
    return {value.value(beforeKey), value.value(writtenKey)};
}

// Whoever wrote the record, no other file than the product's preferences is touched on its word.
bool isPreferenceFile(const QString &name) {
    const auto isOf = [&](const QString &identifier) {
        return name == identifier + QStringLiteral(".plist");
    };
    const QStringList &identifiers = UtilityFunctions::LumadocBundleIndentifiers;
    return std::any_of(identifiers.begin(), identifiers.end(), isOf);
}

std::optional<RestoreRecord> parsed(const QByteArray &bytes) {
    const auto root = PropertyList::parse(bytes);
    if (!root)
        return std::nullopt;
    const auto file = root->value(fileKey);
    const auto track = root->value(trackKey);
    const auto enable = root->value(enableKey);
    const auto sustain = root->value(sustainKey);
    const bool isComplete = file && file->text() && isPreferenceFile(*file->text()) && track &&
                            track->text() && enable && enable->isDictionary() && sustain &&
                            sustain->isDictionary();
    if (!isComplete)
        return std::nullopt;
    return RestoreRecord{*file->text(), *track->text(), decoded(*enable), decoded(*sustain)};
}

} // namespace

std::optional<std::filesystem::path> RestoreRecord::location() {
    using UtilityFunctions::tempSystemURL;
    return tempSystemURL ? std::optional(*tempSystemURL / "LoggingSwitch.plist") : std::nullopt;
}

std::error_code RestoreRecord::write() const {
    const auto place = location();
    if (!place)
        return {};
    PropertyList root = PropertyList::dictionary();
    root.set(fileKey, PropertyList::string(preferenceFile));
    root.set(trackKey, PropertyList::string(track));
    root.set(enableKey, encoded(enable));
    root.set(sustainKey, encoded(sustain));
    const QByteArray bytes = root.serialized(platform::PropertyListFormat::binary);
    if (bytes.isEmpty() || static_cast<std::size_t>(bytes.size()) > limitBytes)
        return std::make_error_code(std::errc::file_too_large);
    std::error_code error;
    platform::writeFileAtomically(*place, bytes, platform::Replacement::privateFile, error);
    return error;
}

std::optional<RestoreRecord> RestoreRecord::read(bool &isUnusable) {
    isUnusable = false;
    const auto place = location();
    std::error_code error;
    const auto attributes = place ? platform::fileAttributes(*place, error) : std::nullopt;
    if (!attributes)
        return std::nullopt;
    std::optional<RestoreRecord> record;
    if (attributes->kind == platform::FileKind::regular) {
        if (const auto bytes = platform::readFile(*place, limitBytes, error))
            record = parsed(*bytes);
    }
    isUnusable = !record;
    return record;
}

void RestoreRecord::remove() {
    std::error_code error;
    if (const auto place = location())
        std::filesystem::remove(*place, error);
}
