// What a folder holds, in a form that can be compared: with it a test shows that nothing has changed.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace test_support {

/// Every entry below `folder`, by its path from there, with kind, permissions, owner, size, modification
/// time, and content (or a link's target). `except` and what is below it is left out.
std::map<std::string, std::string> treeOf(const std::filesystem::path &folder,
                                          const std::filesystem::path &except = {});

/// The entries in which two such trees differ, as they were before and as they are after.
std::vector<std::string> differences(const std::map<std::string, std::string> &before,
                                     const std::map<std::string, std::string> &after);

} // namespace test_support
