#include "platform/PreferenceStore.h"

namespace platform {

PreferenceChange changePreferenceValue(const std::filesystem::path &file, QAnyStringView key,
                                       const ChangePreference &change) {
    return changePreferenceFile(file, [&](PropertyList &root) {
        PropertyList *value = root.value(key);
        return value != nullptr && change(*value);
    });
}

} // namespace platform
