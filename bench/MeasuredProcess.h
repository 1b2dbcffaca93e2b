// A program run to its end, and what it took.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

struct Measurement {
    int exitStatus = 0;
    std::chrono::duration<double> wall{};
    /// The largest resident set of the program itself.
    std::uint64_t peakBytes = 0;
    /// When the process was started.
    std::chrono::system_clock::time_point started;
};

/// The largest resident set of a running process so far, in bytes; 0 when there is no such process.
std::uint64_t highWaterMark(pid_t process);

/// Runs `command` with these variables set, its output discarded; looks at its memory this often.
Measurement runMeasured(const std::vector<std::string> &command,
                        const std::vector<std::pair<std::string, std::string>> &variables = {},
                        std::chrono::milliseconds interval = std::chrono::milliseconds(2));
