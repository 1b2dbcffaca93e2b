// Reads a whole zip archive into memory: every item is unpacked and its checksum compared.
//
// Reads what zip writes, up to 4 GiB and 65,534 items (not the "zip64" form), without a comment. Any thread.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <sys/stat.h>

namespace test_support {

struct ArchivedItem {
    /// Kind and permissions, as Unix has them.
    mode_t mode = 0;
    /// A file's bytes, or the target of a link.
    std::string content;

    bool isFolder() const { return S_ISDIR(mode); }
    bool isLink() const { return S_ISLNK(mode); }
};

/// The items by name; folders end in "/". Throws std::runtime_error when the archive is damaged, or has two
/// items of one name.
std::map<std::string, ArchivedItem> readArchive(const std::filesystem::path &archive);

} // namespace test_support
