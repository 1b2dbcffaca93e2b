#include "platform/PreferenceStore.h"

#include "platform/posix/FileSystem.h"

#include <system_error>

namespace platform {

PreferenceChange changePreferenceFile(const std::filesystem::path &file, const ChangePreference &change) {
    std::error_code error;
    const auto present = readFile(file, PropertyList::limitBytes - 1, error);
    auto root = present ? PropertyList::parse(*present) : std::nullopt;
    if (!root || !change(*root))
        return PreferenceChange::none;
    const QByteArray changed = root->serialized(PropertyList::format(*present));
    const std::filesystem::path target = std::filesystem::canonical(file, error);
    const bool isWritten = !changed.isEmpty() && !error &&
                           writeFileAtomically(target, changed, Replacement::keepOwnerAndMode, error);
    return isWritten ? PreferenceChange::written : PreferenceChange::failed;
}

} // namespace platform
