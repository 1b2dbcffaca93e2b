// The one thing this program asks of a desktop entry: which program it starts.
//
// Format: the Desktop Entry Specification of freedesktop.org, group "Desktop Entry", key "Exec".
#pragma once

#include <QByteArray>
#include <filesystem>
#include <optional>

namespace platform {

/// The program that the entry in these bytes starts, found through PATH when its name is not absolute; none
/// when the entry is hidden, names none, or names one that PATH does not lead to.
std::optional<std::filesystem::path> desktopEntryProgram(const QByteArray &entry);

} // namespace platform
