// The operating system's log. Any thread.
#pragma once

#include <QString>
#include <chrono>

namespace platform {

/// The severities that the program uses, under the names that the system log has for them.
enum class OSLogType { debug, info, error };

class SystemLog {
public:
    /// Hands one line to the system log under this subsystem and category. Returns at once: a writer thread
    /// does the waiting, so that a system log that has stopped reading holds up nobody here. When
    /// `queueLimit` lines are waiting, further ones are dropped; the program's own file has them all.
    static void send(const QString &subsystem, const QString &category, OSLogType type, const QString &text);

    /// Waits until the lines sent so far are written, or `limit` has passed. True when they are.
    static bool flush(std::chrono::milliseconds limit);

    static constexpr std::size_t queueLimit = 16384;
};

} // namespace platform
