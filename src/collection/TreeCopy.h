// The copying itself: one item, whatever it is, with all its contents.
//
// Blocks; any thread. Links are copied as links. Copies are the user's alone and keep modification times.
#pragma once

#include <cstddef>
#include <filesystem>
#include <system_error>

struct TreeCopy {
    /// The first thing that went wrong; none when all was copied.
    std::error_code error;
    /// Pipes, sockets and devices within a folder: they hold nothing that could be copied.
    std::size_t skipped = 0;
    std::filesystem::path firstSkipped;
};

/// Copies `source` to `destination`, where nothing may stand. An entry of a folder that cannot be read is
/// passed over; a destination that cannot be written ends the copying. What was copied by then stays.
TreeCopy copyTree(const std::filesystem::path &source, const std::filesystem::path &destination);
