// The whole run: from the command line to the report.
#pragma once

#include "Sampler.h"

#include <filesystem>
#include <string>
#include <vector>

namespace spindump {

/// The command line: `spindump PID -file PATH`, and nothing else.
struct Arguments {
    pid_t processId = 0;
    std::filesystem::path outputPath;
};
/// Throws Failure, with status 2, unless there is exactly a decimal process id, "-file" and a path.
Arguments parseArguments(const std::vector<std::string> &words);

/// Does what the words after the program's name ask for, with progress and errors on standard error. Returns
/// the exit status: 0 when the report is in its place, 2 for a wrong command line, 1 for all else.
int run(const std::vector<std::string> &words, const Limits &limits);

} // namespace spindump
