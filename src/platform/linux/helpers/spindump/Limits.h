// Bounds on what a target can make the sampler use, and for how long.
#pragma once

#include <chrono>
#include <cstddef>

namespace spindump {

struct Limits {
    std::chrono::milliseconds duration{10'000};
    /// Between two samples; longer ones when a sample costs much.
    std::chrono::microseconds interval{10'000};
    /// For reading what was sampled, after that.
    std::chrono::seconds reading{90};

    /// Without any progress while the target is held, before all is given up.
    std::chrono::seconds stall{10};

    std::size_t threads = 1024;
    std::size_t stackBytes = std::size_t{1} << 20;
    std::size_t frames = 16'384;
    /// Snapshots that wait to be read; none is taken while there are more, so that the last one may go
    /// beyond.
    std::size_t backlogBytes = std::size_t{8} << 20;
    /// Of the reading child, above what it starts with.
    std::size_t readerMemoryBytes = std::size_t{768} << 20;
    /// Call-tree nodes of all threads together.
    std::size_t treeNodes = 200'000;
    std::size_t linesPerThread = 2'000;
    std::size_t libraries = 4'096;
};

} // namespace spindump
