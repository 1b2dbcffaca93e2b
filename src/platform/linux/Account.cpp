#include "platform/Account.h"

namespace platform {

namespace fs = std::filesystem;

namespace {

// A folder of the XDG base directory standard: its variable, or the default below the home folder. The
// standard says that a relative value is to be ignored.
std::vector<fs::path> baseFolder(const char *variable, const char *belowHome) {
    if (const auto value = environmentPath(variable))
        return {*value};
    if (const auto home = homeFolder())
        return {*home / belowHome};
    return {};
}

} // namespace

std::vector<fs::path> userLibraryFolders() {
    auto folders = baseFolder("XDG_DATA_HOME", ".local/share");
    for (auto &folder : folders)
        folder /= "Library";
    return folders;
}

std::vector<fs::path> userCachesFolders() {
    return baseFolder("XDG_CACHE_HOME", ".cache");
}

} // namespace platform
