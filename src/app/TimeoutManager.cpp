#include "app/TimeoutManager.h"

#include "app/LumamonApp.h"
#include "logging/Logging.h"
#include "platform/posix/Fatal.h"

#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <stop_token>
#include <thread>

namespace {

void watch(const std::stop_token &stop, std::chrono::duration<double> timeout) {
    std::mutex mutex;
    std::condition_variable_any changed;
    std::unique_lock lock(mutex);
    changed.wait_for(lock, stop, timeout, [] { return false; });
    if (stop.stop_requested())
        return;
    // The log may be on the very disk that has stopped answering, so its last line does not hold up the end.
    LumamonApp::limitTheEnd(EXIT_FAILURE);
    Logger::logInfo(QStringLiteral("Task timed out."));
    platform::SystemLog::flush(std::chrono::seconds(1));
    platform::endProcess(EXIT_FAILURE);
}

} // namespace

void TimeoutManager::runWithTimeout(std::chrono::duration<double> timeout,
                                    const std::function<void()> &task) {
    const std::jthread watchdog([timeout](const std::stop_token &stop) { watch(stop, timeout); });
    task();
}
