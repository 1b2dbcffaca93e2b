// What a zip archive says it holds, as far as that can be told without unpacking it.
//
// Any thread.
#pragma once

#include <QString>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

namespace archives {

struct PackedFile {
    /// The path in the archive, as `platform::displayText` gives it; a folder's ends in "/".
    QString name;
    /// Unpacked.
    std::uint64_t bytes = 0;
};

/// The directory of the archive `file`, in its order; none when the file cannot be read or its end is
/// missing, as when a copy was cut short, with `error` set to the system's reason if there is one.
std::optional<std::vector<PackedFile>> filesInArchive(const std::filesystem::path &file,
                                                      std::error_code &error);

} // namespace archives
