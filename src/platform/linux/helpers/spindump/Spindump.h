// The whole run: from the command line to the report.
#pragma once

#include "Sampler.h"

#include <string>
#include <vector>

namespace spindump {

/// Does what the words after the program's name ask for, `PID -file PATH` and nothing else, with progress and
/// errors on standard error. Returns the exit status: 0 when the report is in its place, 2 for a wrong
/// command line, 1 for all else.
int run(const std::vector<std::string> &words, const Limits &limits);

} // namespace spindump
