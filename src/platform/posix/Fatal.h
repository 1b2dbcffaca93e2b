// The end of the process for what must exist and does not.
#pragma once

namespace platform {

/// Writes `reason` as one line to standard error and ends the process with status 1, from any thread,
/// without running destructors. No core is dumped: it would hold the user's data.
[[noreturn]] void fatal(const char *reason);

} // namespace platform
