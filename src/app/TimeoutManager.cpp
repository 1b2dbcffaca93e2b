#include "app/TimeoutManager.h"

#include "app/LumamonApp.h"
#include "discovery/RunState.h"
#include "logging/Logging.h"
#include "platform/posix/Fatal.h"
#include "platform/posix/Process.h"

#include <QDateTime>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <stop_token>

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

// The line as it will be when the time is up: the handler of a signal may not make it.
void watchByAlarm(std::chrono::duration<double> timeout) {
    const auto time = std::chrono::duration_cast<std::chrono::milliseconds>(timeout);
    const auto end = QDateTime::currentDateTimeUtc().addMSecs(time.count());
    const QString line = QStringLiteral("INFO: %1 +0000: Task timed out.\n")
                             .arg(end.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")));
    platform::endProcessOnAlarm(time, EXIT_FAILURE, line.toUtf8(),
                                UtilityFunctions::lumamonLogFileURL.value_or(std::filesystem::path()));
}

} // namespace

void TimeoutManager::runWithTimeout(std::chrono::duration<double> timeout,
                                    const std::function<void()> &task) {
    std::stop_source stop;
    std::thread watchdog =
        platform::startThread("Watchdog", [token = stop.get_token(), timeout] { watch(token, timeout); });
    if (!watchdog.joinable())
        watchByAlarm(timeout);
    task();
    if (watchdog.joinable()) {
        stop.request_stop();
        watchdog.join();
    } else {
        platform::endProcessOnAlarm(std::chrono::milliseconds(0), EXIT_FAILURE);
    }
}
