// Reads a whole zip archive into memory, as a test compares it.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <sys/types.h>

namespace test_support {

struct ArchivedItem {
    /// As Unix has it: kind and permissions.
    mode_t mode = 0;
    /// A file's bytes, or what a link points at.
    std::string content;

    bool isFolder() const;
    bool isLink() const;
};

/// By name; folders end in "/". Throws std::runtime_error when the archive is damaged in any way: each item
/// is unpacked and its checksum compared.
std::map<std::string, ArchivedItem> readArchive(const std::filesystem::path &archive);

} // namespace test_support
