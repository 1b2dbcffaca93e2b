#include "platform/Account.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <pwd.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {

namespace fs = std::filesystem;

namespace {

// A text of the password database's entry; empty when it has none for this process's user.
std::string accountText(char *passwd::*text) {
    constexpr std::size_t limitBytes = std::size_t{1} << 20;
    const auto buffer = std::make_unique_for_overwrite<char[]>(limitBytes);
    struct passwd entry {};
    struct passwd *found = nullptr;
    ::getpwuid_r(::geteuid(), &entry, buffer.get(), limitBytes, &found);
    return found != nullptr && found->*text != nullptr ? found->*text : "";
}

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

QString userName() {
    return QString::fromStdString(accountText(&passwd::pw_name));
}

std::optional<fs::path> environmentPath(const char *variable) {
    const char *value = std::getenv(variable);
    if (value == nullptr || value[0] != '/')
        return std::nullopt;
    return fs::path(value);
}

std::optional<fs::path> homeFolder() {
    if (auto home = environmentPath("HOME"))
        return home;
    const fs::path home = accountText(&passwd::pw_dir);
    return home.is_absolute() ? std::optional(home) : std::nullopt;
}

std::vector<fs::path> userLibraryFolders() {
    auto folders = baseFolder("XDG_DATA_HOME", ".local/share");
    for (auto &folder : folders)
        folder /= "Library";
    return folders;
}

std::vector<fs::path> userCachesFolders() {
    return baseFolder("XDG_CACHE_HOME", ".cache");
}

bool isRootInAnotherHome() {
    if (::geteuid() != 0)
        return false;
    std::vector<fs::path> folders = userLibraryFolders();
    for (const auto &more : {userCachesFolders(), {homeFolder().value_or("/")}})
        folders.insert(folders.end(), more.begin(), more.end());
    return std::ranges::any_of(folders, [](fs::path folder) {
        struct stat status {};
        while (::stat(folder.c_str(), &status) != 0 && folder.has_relative_path())
            folder = folder.parent_path();
        return status.st_uid != 0;
    });
}

} // namespace platform
