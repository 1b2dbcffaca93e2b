// Ends this process when it hangs while it holds a target.
//
// Reading the memory of another process can wait for whoever provides that memory: a file system in user
// space, or the target itself, which stands still. The system lets the target go when this process ends.
#pragma once

#include <chrono>
#include <ctime>

namespace spindump {

class StallGuard {
public:
    /// The process is killed when `renew` is not called for that long, from now until `end`.
    explicit StallGuard(std::chrono::seconds limit);
    ~StallGuard() { end(); }
    StallGuard(const StallGuard &) = delete;
    StallGuard &operator=(const StallGuard &) = delete;

    void renew();
    void end();

private:
    std::chrono::seconds m_limit;
    timer_t m_timer{};
    bool m_exists = false;
};

} // namespace spindump
