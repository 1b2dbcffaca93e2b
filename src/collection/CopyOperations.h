// The two copy operations of the collectors. Each failure is one line of the log.
//
// Called by one thread at a time. Links are copied as links and never followed; copies are the user's alone
// and keep modification times. In a folder, pipes, sockets and devices are left out with one line for all of
// them, and an entry that cannot be read costs the result but not the rest.
#pragma once

#include <filesystem>
#include <optional>

namespace UtilityFunctions {

/// Copies a file, or a folder with all its contents, making the destination's parent folders. Never replaces
/// anything: an existing destination is a failure. A pipe, socket or device by itself is a failure too.
bool copyItem(const std::optional<std::filesystem::path> &at, const std::optional<std::filesystem::path> &to);

/// Copies the file or folder `fileName` from one folder to another. Creates the destination folder; replaces
/// an existing file.
void CopyFiles(const std::filesystem::path &sourceDirectory,
               const std::filesystem::path &destinationDirectory, const std::filesystem::path &fileName);

} // namespace UtilityFunctions
