// Writes to a descriptor that somebody else opened.
#pragma once

#include <QByteArray>
#include <system_error>

namespace system_profiler {

/// Writes all of `bytes` to `descriptor` and closes it, since some file systems tell only then that they are
/// full. Waits for a reader that is slow. The error of the system when not everything could be written.
std::error_code writeToEnd(int descriptor, const QByteArray &bytes);

} // namespace system_profiler
