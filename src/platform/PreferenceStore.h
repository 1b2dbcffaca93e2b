// The store that holds an application's preferences: the property-list file itself, or where the system has a
// service for it, that.
//
// Main thread, or one thread at a time. Each change reads the file once and writes it once. A write to the
// file keeps its format, owner, mode, access list, extended attributes and every other value, and replaces
// the file atomically; a link stays, and the file it leads to is replaced.
#pragma once

#include "platform/posix/PropertyList.h"

#include <filesystem>
#include <functional>

namespace platform {

enum class PreferenceChange {
    /// The file is missing, unreadable or no property list, or `change` wanted nothing written.
    none,
    /// On disk.
    written,
    /// The file is as it was.
    failed,
};

/// Shows a copy of a value to `change` and writes it back if that returns true, whether it differs or not.
using ChangePreference = std::function<bool(PropertyList &value)>;

/// Changes the value of `key` in the preferences that `file` holds, through the system's service where there
/// is one; `change` is not called without such a value.
PreferenceChange changePreferenceValue(const std::filesystem::path &file, QAnyStringView key,
                                       const ChangePreference &change);

/// Changes the whole content of the file itself.
PreferenceChange changePreferenceFile(const std::filesystem::path &file, const ChangePreference &change);

} // namespace platform
