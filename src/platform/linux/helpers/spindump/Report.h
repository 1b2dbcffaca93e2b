// The report as a support engineer reads it: what was sampled and how, the threads, the libraries.
#pragma once

#include "Sampler.h"

namespace spindump {

struct ReportInput {
    std::chrono::system_clock::time_point date;
    pid_t processId = 0;
    TargetFacts before;
    SamplingResult sampling = {};
    StopTimes stops = {};
    std::size_t threadsBeyondLimit = 0;
    std::optional<int> endStatus = std::nullopt;
    const std::map<pid_t, ThreadRecord> *threads = nullptr;
    ReadStacks stacks = {};
};

std::string reportText(const ReportInput &input);

/// The command line as it was typed, as far as that can be told: words that hold blanks or nothing are
/// quoted.
std::string commandLineText(const std::string &zeroSeparated);

/// A number of bytes, in the largest unit that keeps it above 1.
std::string bytesText(double bytes);

} // namespace spindump
