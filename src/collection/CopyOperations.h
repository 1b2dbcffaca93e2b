// The two copy operations of the collectors. Each failure is one line of the log.
//
// Called by one thread at a time. Copies are the user's alone and keep modification times. In a folder links
// are copied as links, pipes, sockets and devices are left out with one line for all of them, and an entry
// that cannot be copied costs the result but not the rest.
#pragma once

#include <filesystem>
#include <optional>
#include <system_error>

namespace UtilityFunctions {

/// What is done with a source that is itself a link: it is copied as a link, or followed where the user or
/// the system made it.
enum class SourceLink { copied, followed };

/// Copies a file, or a folder with all its contents, making the destination's parent folders. Never replaces
/// anything: an existing destination is a failure. A pipe, socket or device by itself is a failure too.
bool copyItem(const std::optional<std::filesystem::path> &at, const std::optional<std::filesystem::path> &to,
              SourceLink link = SourceLink::copied);

/// Copies the file or folder `fileName` from one folder to another. Creates the destination folder; replaces
/// an existing file. Gives what went wrong.
std::error_code CopyFiles(const std::filesystem::path &sourceDirectory,
                          const std::filesystem::path &destinationDirectory,
                          const std::filesystem::path &fileName, SourceLink link = SourceLink::copied);

} // namespace UtilityFunctions
