// The watchdog of silent mode.
#pragma once

#include <chrono>
#include <functional>

class TimeoutManager {
public:
    static TimeoutManager &shared() {
        static TimeoutManager manager;
        return manager;
    }

    /// Runs `task` on the calling thread. When it has not returned after `timeout`, another thread logs "Task
    /// timed out." and ends the process with status 1, wherever the task is stuck; where the system has no
    /// thread to give, an alarm does, and the system log has no line. Child processes end with the process.
    /// Main thread.
    void runWithTimeout(std::chrono::duration<double> timeout, const std::function<void()> &task);

private:
    TimeoutManager() = default;
};
