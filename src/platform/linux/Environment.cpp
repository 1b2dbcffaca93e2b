#include "platform/Environment.h"

#include <cstdlib>
#include <pwd.h>
#include <unistd.h>

namespace platform {

std::optional<std::filesystem::path> environmentPath(const char *variable) {
    const char *value = std::getenv(variable);
    if (value == nullptr || value[0] != '/')
        return std::nullopt;
    return std::filesystem::path(value);
}

std::optional<std::filesystem::path> homeFolder() {
    if (const auto home = environmentPath("HOME"))
        return home;
    const struct passwd *account = ::getpwuid(::geteuid());
    if (account == nullptr || account->pw_dir == nullptr || account->pw_dir[0] != '/')
        return std::nullopt;
    return std::filesystem::path(account->pw_dir);
}

} // namespace platform
