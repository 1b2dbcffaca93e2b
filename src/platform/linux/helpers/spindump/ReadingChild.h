// What the child process does that reads stacks (see StackReader.h).
#pragma once

#include "Limits.h"
#include "Target.h"

namespace spindump {

struct ReadingChannels {
    /// Where messages come from, until there are no more.
    int pipe = -1;
    /// Where the results go: for each piece "kind number bytes\n" and so many bytes of text.
    int result = -1;
    pid_t parent = 0;
};

/// Reads until the pipe ends, leaves its results, and ends the process.
[[noreturn]] void runReadingChild(const ReadingChannels &channels, const Target &target,
                                  const Limits &limits);

} // namespace spindump
