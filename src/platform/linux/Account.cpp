#include "platform/Account.h"

#include <cerrno>
#include <cstdlib>
#include <pwd.h>
#include <string>
#include <unistd.h>

namespace platform {

namespace fs = std::filesystem;

namespace {

struct Account {
    std::string name;
    std::string home;
};

// The password database's entry; none when it does not know this process's user.
std::optional<Account> account() {
    std::vector<char> buffer(std::size_t{16} << 10);
    struct passwd entry {};
    struct passwd *found = nullptr;
    while (::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found) == ERANGE &&
           buffer.size() < (std::size_t{1} << 20))
        buffer.resize(buffer.size() * 2);
    if (found == nullptr)
        return std::nullopt;
    return Account{entry.pw_name, entry.pw_dir == nullptr ? "" : entry.pw_dir};
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
    const auto user = account();
    return user ? QString::fromStdString(user->name) : QString();
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
    const auto user = account();
    if (!user || !user->home.starts_with('/'))
        return std::nullopt;
    return fs::path(user->home);
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

} // namespace platform
