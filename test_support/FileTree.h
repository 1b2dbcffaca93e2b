// What a folder holds, in a form that can be compared: with it a test shows that nothing has changed.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string>

namespace test_support {

/// Entries by their paths, each with its kind and permissions, owner, size, and times of the last change of
/// its content and of anything else (seconds and nanoseconds).
using FileTree = std::map<std::string, std::array<std::int64_t, 7>>;

/// All entries below `folder`. `except` and what is below it is left out.
FileTree treeOf(const std::filesystem::path &folder, const std::filesystem::path &except = {});

} // namespace test_support
