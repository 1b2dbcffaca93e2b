#include "platform/posix/Environment.h"

#include <cerrno>
#include <cstdlib>
#include <pwd.h>
#include <unistd.h>
#include <vector>

namespace platform {

std::optional<std::filesystem::path> environmentPath(const char *variable) {
    const char *value = std::getenv(variable);
    if (value == nullptr || value[0] != '/')
        return std::nullopt;
    return std::filesystem::path(value);
}

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

std::optional<std::filesystem::path> homeFolder() {
    if (const auto home = environmentPath("HOME"))
        return home;
    const auto user = account();
    if (!user || !user->home.starts_with('/'))
        return std::nullopt;
    return std::filesystem::path(user->home);
}

} // namespace platform
