// The whole run: from the command line to the report.
#pragma once

#include "Limits.h"

#include <string>
#include <vector>

namespace spindump {

/// Does what the words behind the program's name ask for, with progress and errors on standard error. Gives
/// the exit status: 0 when the report stands in its place, 2 for a wrong command line, 1 for all else.
int run(const std::vector<std::string> &words, const Limits &limits);

} // namespace spindump
