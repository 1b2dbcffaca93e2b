// Folders that the environment and the account name.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace platform {

/// The value of an environment variable when it is an absolute path.
std::optional<std::filesystem::path> environmentPath(const char *variable);

/// The user's home folder: HOME, or the account's entry in the password database when HOME is unset.
std::optional<std::filesystem::path> homeFolder();

/// What the password database says of the user this process runs as; none when it has no such user.
struct Account {
    std::string name;
    std::string home;
};
std::optional<Account> account();

} // namespace platform
