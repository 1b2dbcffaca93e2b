// Folder listings whose size and order do not depend on what somebody put there.
#pragma once

#include "platform/linux/helpers/system_profiler/NotRead.h"

#include <filesystem>
#include <vector>

namespace system_profiler {

/// The most entries of one folder that are looked at.
constexpr std::size_t folderLimit = 100'000;

/// The entries of a folder in the order of their names' bytes; none when there is no such folder, which is no
/// error. A folder that cannot be read, or that holds more than `limit` entries, is noted.
std::vector<std::filesystem::path> entriesOf(const std::filesystem::path &folder, NotRead &notRead,
                                             std::size_t limit = folderLimit);

/// Whether this error only says that nothing is there.
bool isAbsence(const std::error_code &error);

/// The path with all links followed; the path itself when that fails.
std::filesystem::path resolved(const std::filesystem::path &path);

} // namespace system_profiler
