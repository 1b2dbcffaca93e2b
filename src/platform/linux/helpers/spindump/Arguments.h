// The command line: `spindump PID -file PATH`, and nothing else.
#pragma once

#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace spindump {

struct Arguments {
    pid_t processId = 0;
    std::string outputPath;
};

/// None, with what is wrong in `error`, unless there is exactly a decimal process id, "-file" and a path.
std::optional<Arguments> parseArguments(const std::vector<std::string> &words, std::string &error);

/// A decimal number without sign, blanks or leading zeros, at most `limit`.
std::optional<unsigned long> decimalNumber(const std::string &text, unsigned long limit);

} // namespace spindump
