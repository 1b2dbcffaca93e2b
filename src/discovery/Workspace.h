// The workspace: the tree below `UtilityFunctions::tempDirURL`, in which everything is made, moved and
// removed by descriptor. The folder itself may be a link, to a larger disk for example. Nothing below it is
// reached through a link: whatever a link leads to is left alone.
//
// Any thread that may read `tempDirURL`. Paths outside the workspace are taken as the system takes them. What
// fails gives nothing or false, with `error` set to the system's reason.
#pragma once

#include "platform/posix/FolderTree.h"

#include <filesystem>
#include <system_error>

namespace Workspace {

/// Opens a folder.
platform::FileDescriptor open(const std::filesystem::path &folder, std::error_code &error);

/// Opens a folder and creates it first, with the folders above it, when it is missing. A link in the place of
/// one is removed, with a line in the log.
platform::FileDescriptor make(const std::filesystem::path &folder, std::error_code &error);

/// Whether there is something else than a link at `path`.
bool holds(const std::filesystem::path &path);

/// Removes whatever is at `path`, with all that is in it. False without an error when nothing is there.
bool remove(const std::filesystem::path &path, std::error_code &error);

/// Moves a file, replacing a file of that name, to a folder that `make` makes.
bool move(const std::filesystem::path &from, const std::filesystem::path &to, std::error_code &error);

} // namespace Workspace
