// Folders that the environment and the account name.
#pragma once

#include <filesystem>
#include <optional>

namespace platform {

/// The value of an environment variable when it is an absolute path.
std::optional<std::filesystem::path> environmentPath(const char *variable);

/// The user's home folder: HOME, or the account's entry in the password database when HOME is unset.
std::optional<std::filesystem::path> homeFolder();

} // namespace platform
