#include "platform/PreferenceStore.h"

#include "platform/posix/FileSystem.h"

#include <system_error>

namespace platform {

namespace {

namespace fs = std::filesystem;

// What a preference file holds; no bytes when there is no file yet.
struct Present {
    QByteArray bytes;
    PropertyList root = PropertyList::dictionary();
};

// None when there is a file but no way to replace it without loss.
std::optional<Present> readReplaceable(const fs::path &file) {
    std::error_code error;
    const auto bytes = readFile(file, PropertyList::limitBytes - 1, error);
    if (error == std::errc::no_such_file_or_directory)
        return Present{};
    if (!bytes)
        return std::nullopt;
    auto root = PropertyList::parse(*bytes);
    if (!root || !PropertyList::survivesRewriting(*bytes))
        return std::nullopt;
    return Present{*bytes, std::move(*root)};
}

bool replace(const fs::path &file, const QByteArray &present, const PropertyList &root) {
    const QByteArray bytes = root.serialized(PropertyList::format(present).value_or(PropertyListFormat::xml));
    std::error_code error;
    // A link stays a link: what it leads to is replaced.
    const bool isLink = fs::is_symlink(fs::symlink_status(file, error));
    const fs::path target = isLink ? fs::canonical(file, error) : file;
    return !bytes.isEmpty() && !target.empty() &&
           writeFileAtomically(target, bytes, Replacement::keepOwnerAndMode, error);
}

} // namespace

std::optional<PropertyList> copyPreferenceValue(const fs::path &file, const QByteArray &key) {
    const auto root = PropertyList::load(file);
    return root ? root->value(key) : std::nullopt;
}

bool setPreferenceValue(const fs::path &file, const QByteArray &key, const PropertyList &value) {
    auto present = readReplaceable(file);
    if (!present || !present->root.isDictionary())
        return false;
    present->root.set(key, value);
    return replace(file, present->bytes, present->root);
}

bool writePreferences(const fs::path &file, const PropertyList &root) {
    const auto present = readReplaceable(file);
    return present && replace(file, present->bytes, root);
}

} // namespace platform
