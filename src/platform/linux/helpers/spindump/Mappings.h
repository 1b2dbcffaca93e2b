// The mappings of a process, as its `maps` file lists them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace spindump {

struct Mapping {
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
    bool executable = false;
    std::uint64_t fileOffset = 0;
    std::string device;
    std::uint64_t inode = 0;
    /// As the kernel writes it: with a newline as \012, and " (deleted)" behind a removed file's.
    std::string path;
};

/// The well-formed lines of `text`, up to `limit` of them.
std::vector<Mapping> parseMappings(std::string_view text, std::size_t limit = 65'536);

/// The mappings that the open `maps` file lists; empty when the process has ended.
std::vector<Mapping> readMappings(int mapsFile);

} // namespace spindump
