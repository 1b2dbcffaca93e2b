// The user: the account that this process runs as, and the folders that the system gives it.
//
// Read from the environment and the account database at every call; any thread may call these.
#pragma once

#include <QString>
#include <filesystem>
#include <optional>
#include <vector>

namespace platform {

/// The login name; empty when the account has none.
QString userName();

/// The home folder: HOME, or the account's entry in the password database when HOME is not an absolute path.
std::optional<std::filesystem::path> homeFolder();

/// The user's Library folders, the first being the one to use; empty when the user has no home folder.
std::vector<std::filesystem::path> userLibraryFolders();

/// The user's folders for data that can be made again; empty when the user has no home folder.
std::vector<std::filesystem::path> userCachesFolders();

/// Whether this is root in the home folder of somebody else, as with `sudo -E`: a folder that is used here,
/// or the one that it would be made in, has another owner.
bool isRootInAnotherHome();

/// The value of an environment variable when it is an absolute path.
std::optional<std::filesystem::path> environmentPath(const char *variable);

} // namespace platform
