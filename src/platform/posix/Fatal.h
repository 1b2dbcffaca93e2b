// The end of the process: nothing else ends it, other than a return from `main`.
//
// Any thread. No destructor runs, since threads that hang may still use what would be destroyed, and no core
// is dumped, since it would hold the user's data.
#pragma once

#include <atomic>
#include <cstdio>
#include <cstdlib>

namespace platform {

/// Ends the process with `status`.
[[noreturn]] inline void endProcess(int status) {
    std::_Exit(status);
}

/// Called by `fatal` before the process ends, on the same thread. May neither wait for long nor need memory.
inline std::atomic<void (*)()> beforeFatalEnd = nullptr;

/// For what must exist and does not: ends the process with status 1 and `reason` as one line on standard
/// error.
[[noreturn]] inline void fatal(const char *reason) {
    std::fprintf(stderr, "Brennic_Lumadoc_Diagnostics: %s\n", reason);
    if (const auto last = beforeFatalEnd.load())
        last();
    endProcess(EXIT_FAILURE);
}

} // namespace platform
