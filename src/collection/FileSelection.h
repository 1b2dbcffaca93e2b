// The selection engine: the newest matching files of one folder, bounded by total size and by count.
//
// Any thread; one copies at a time.
#pragma once

#include <QStringList>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

/// A candidate for copying.
struct FileRecord {
    /// The entry's name inside the source folder.
    std::string name;
    /// The most distant past where the file system keeps no creation date.
    std::chrono::sys_time<std::chrono::nanoseconds> creationDate;
    std::uint64_t sizeBytes = 0;
};

/// Whether `name` contains one of `patterns`, ignoring case. An empty pattern matches nothing.
bool containsAnyName(const std::string &name, const QStringList &patterns);

/// What is taken of the candidates: newest first, those of one date in the order given, up to the first one
/// that would bring the sum of sizes over the limit.
struct Selection {
    std::vector<FileRecord> taken;
    std::uint64_t totalBytes = 0;
};
Selection selectNewest(std::vector<FileRecord> candidates, std::int64_t maxFileSizeBytes);

namespace UtilityFunctions {

/// Copies the newest files of `sourceURL` whose names contain one of `fileNames`: together at most
/// `maxFileSize` bytes, and no more after `maxFileCount` were copied (at least one is tried). False when a
/// failure stopped the operation, with one line in the log; files copied before that stay. A missing source
/// is no failure.
bool copyFilesContainingName(const std::optional<std::filesystem::path> &sourceURL,
                             const std::optional<std::filesystem::path> &destinationURL, int maxFileCount,
                             std::int64_t maxFileSize, const QStringList &fileNames);

} // namespace UtilityFunctions
