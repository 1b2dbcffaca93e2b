#include "platform/Account.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <pwd.h>
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
