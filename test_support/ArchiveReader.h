// Reads a whole zip archive into memory: every item is unpacked and its checksum compared.
//
// Throws std::runtime_error when the archive is damaged in any way. Reads archives of up to 4 GiB and 65,534
// items (not the "zip64" form). Any thread.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <sys/stat.h>
#include <utility>
#include <vector>

namespace test_support {

struct ArchivedItem {
    /// Kind and permissions, as Unix has them.
    mode_t mode = 0;
    /// A file's bytes, or the target of a link.
    std::string content;

    bool isFolder() const { return S_ISDIR(mode); }
    bool isLink() const { return S_ISLNK(mode); }
};

/// The items with their names, in the archive's order; folders end in "/".
std::vector<std::pair<std::string, ArchivedItem>> listArchive(const std::filesystem::path &archive);
/// The same by name. No name may occur twice.
std::map<std::string, ArchivedItem> readArchive(const std::filesystem::path &archive);

} // namespace test_support
