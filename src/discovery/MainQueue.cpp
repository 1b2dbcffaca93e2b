#include "discovery/MainQueue.h"

#include <QCoreApplication>
#include <QTimer>
#include <deque>
#include <mutex>

namespace platform {

namespace {

// The work waits here, not in Qt's event queue, which carries only the call to come and look.
struct WaitingWork {
    std::mutex mutex;
    std::deque<std::function<void()>> queue;
    bool isClosed = false;
};

// Never destroyed: other threads may still hand over work while the process ends.
WaitingWork &waitingWork() {
    static auto *const waiting = new WaitingWork;
    return *waiting;
}

void runNext() {
    auto &waiting = waitingWork();
    std::function<void()> work;
    {
        const std::lock_guard lock(waiting.mutex);
        work = std::move(waiting.queue.front());
        waiting.queue.pop_front();
    }
    work();
}

} // namespace

void onMainQueue(std::function<void()> work) {
    auto &waiting = waitingWork();
    const std::lock_guard lock(waiting.mutex);
    if (waiting.isClosed)
        return;
    waiting.queue.push_back(std::move(work));
    QMetaObject::invokeMethod(QCoreApplication::instance(), runNext, Qt::QueuedConnection);
}

void onMainQueueAfter(std::chrono::milliseconds delay, std::function<void()> work) {
    QTimer::singleShot(delay, Qt::PreciseTimer, QCoreApplication::instance(), std::move(work));
}

void closeMainQueue() {
    auto &waiting = waitingWork();
    const std::lock_guard lock(waiting.mutex);
    waiting.isClosed = true;
}

} // namespace platform
