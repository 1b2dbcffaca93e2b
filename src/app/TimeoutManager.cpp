#include "app/TimeoutManager.h"

#include "logging/Logging.h"

#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <thread>

namespace {

// The log may lie on the very disk that has stopped answering, so the last line gets a moment and no more.
[[noreturn]] void endProcess() {
    static constexpr auto moment = std::chrono::seconds(2);
    std::thread([] {
        Logger::logInfo(QStringLiteral("Task timed out."));
        platform::SystemLog::flush(moment);
        std::_Exit(EXIT_FAILURE);
    }).detach();
    std::this_thread::sleep_for(2 * moment);
    std::_Exit(EXIT_FAILURE);
}

// Ends the process at its deadline, unless it is destroyed before.
class Watchdog {
public:
    explicit Watchdog(std::chrono::duration<double> timeout)
        : m_thread([this, timeout] { watch(timeout); }) {}

    ~Watchdog() {
        {
            const std::lock_guard lock(m_mutex);
            m_cancelled = true;
        }
        m_changed.notify_all();
        m_thread.join();
    }

private:
    void watch(std::chrono::duration<double> timeout) {
        std::unique_lock lock(m_mutex);
        if (!m_changed.wait_for(lock, timeout, [this] { return m_cancelled; }))
            endProcess();
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_cancelled = false;
    std::thread m_thread;
};

} // namespace

TimeoutManager &TimeoutManager::shared() {
    static TimeoutManager manager;
    return manager;
}

void TimeoutManager::runWithTimeout(std::chrono::duration<double> timeout,
                                    const std::function<void()> &task) {
    const Watchdog watchdog(timeout);
    task();
}
