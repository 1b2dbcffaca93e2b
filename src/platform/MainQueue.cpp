#include "platform/MainQueue.h"

#include <QCoreApplication>
#include <QTimer>
#include <deque>
#include <mutex>

namespace platform {

namespace {

// The work waits here, not in Qt's event queue, which carries only the call to come and look.
std::mutex mutex;
std::deque<std::function<void()>> waiting;

void runNext() {
    std::function<void()> work;
    {
        const std::lock_guard lock(mutex);
        work = std::move(waiting.front());
        waiting.pop_front();
    }
    work();
}

} // namespace

void onMainQueue(std::function<void()> work) {
    const std::lock_guard lock(mutex);
    waiting.push_back(std::move(work));
    QMetaObject::invokeMethod(QCoreApplication::instance(), runNext, Qt::QueuedConnection);
}

void onMainQueueAfter(std::chrono::milliseconds delay, std::function<void()> work) {
    QTimer::singleShot(delay, Qt::PreciseTimer, QCoreApplication::instance(), std::move(work));
}

} // namespace platform
