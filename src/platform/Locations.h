// The folders of the user that the system names.
#pragma once

#include <filesystem>
#include <vector>

namespace platform {

/// The user's Library folders, the first being the one to use; empty when the user has no home folder.
std::vector<std::filesystem::path> userLibraryFolders();

/// The user's folders for what can be made again; empty when the user has no home folder.
std::vector<std::filesystem::path> userCachesFolders();

} // namespace platform
