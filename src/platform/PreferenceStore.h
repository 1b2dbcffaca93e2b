// The store that holds an application's preferences: here, the property-list file itself.
//
// Main thread, or one thread at a time. Writes keep the file's format, owner, mode and every other key, and
// replace it atomically; a link stays, and what it leads to is replaced. Where writing the file anew would
// change any value in it, or it cannot be read whole, it is not written at all.
#pragma once

#include "platform/posix/PropertyList.h"

#include <filesystem>
#include <optional>

namespace platform {

/// The value of `key` in the preferences that `file` holds; none when there is none or the file is missing,
/// unreadable, malformed or `PropertyList::limitBytes` and over.
std::optional<PropertyList> copyPreferenceValue(const std::filesystem::path &file, const QByteArray &key);

/// Sets `key` and waits until the file is on disk. False, with the file as it was, on any failure.
bool setPreferenceValue(const std::filesystem::path &file, const QByteArray &key, const PropertyList &value);

/// Replaces the whole content of `file` by `root`, in the format that the file has (XML when it has none).
/// False, with the file as it was, on any failure.
bool writePreferences(const std::filesystem::path &file, const PropertyList &root);

} // namespace platform
