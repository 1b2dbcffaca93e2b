// What a zip archive says it holds, read from its central directory; nothing is unpacked.
//
// For archives from anywhere: a damaged or hostile one gives a message, never a wrong read. Archives beyond
// 4 GiB or 65,534 entries (the "zip64" form) are not read. Any thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace support_service {

struct ArchiveEntry {
    std::string name;
    std::uint64_t sizeBytes = 0;
    bool isFolder = false;
    bool isLink = false;
};

/// The entries in the archive's order; none, with `problem` set, when it cannot be read as an archive.
std::optional<std::vector<ArchiveEntry>> listArchive(const std::filesystem::path &archive,
                                                     std::string &problem);

} // namespace support_service
