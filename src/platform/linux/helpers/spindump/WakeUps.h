// What the sampler waits for besides time: its children and traced threads, a request to end, room in a pipe.
//
// The signals for these are blocked for as long as this process lives, and read here.
#pragma once

#include "platform/posix/FileDescriptor.h"

#include <chrono>

namespace spindump {

class WakeUps {
public:
    WakeUps();

    /// Returns at `until`, or as soon as a child or thread has news, somebody asks to end, or, unless it is
    /// -1, `pipe` takes more bytes.
    void wait(std::chrono::steady_clock::time_point until, int pipe);
    /// Whether this process was asked to end by a signal.
    bool isAskedToEnd() const { return m_askedToEnd; }

private:
    void readSignals();

    platform::FileDescriptor m_signals;
    bool m_askedToEnd = false;
};

} // namespace spindump
