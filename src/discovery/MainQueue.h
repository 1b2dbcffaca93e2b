// The main queue: work for the main thread, which runs it in order from Qt's event loop.
#pragma once

#include "platform/posix/Process.h"

#include <QCoreApplication>
#include <QPointer>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>

namespace mainqueue {

/// Held while work is handed over, so that the application is not destroyed in the middle.
inline std::mutex mutex;
inline bool isClosed = false;

} // namespace mainqueue

/// Runs `work` on the main thread, in a later turn of its event loop. Any thread may call it; work handed
/// over before the loop starts waits for it, work handed over after it has ended is never run.
inline void onMainQueue(std::function<void()> work) {
    const std::lock_guard lock(mainqueue::mutex);
    if (mainqueue::isClosed)
        return;
    auto run = [work = std::move(work)] {
        // The thread sanitizer does not see Qt's own lock, and takes this one's word for the order.
        mainqueue::mutex.lock();
        mainqueue::mutex.unlock();
        work();
    };
    QMetaObject::invokeMethod(QCoreApplication::instance(), std::move(run), Qt::QueuedConnection);
}

/// `work`, to be called on the main thread, where it does nothing once `object` is destroyed. Main thread.
template <typename Work>
auto whileAlive(QObject *object, Work work) {
    return [object = QPointer(object), work = std::move(work)](const auto &...results) {
        if (object)
            work(results...);
    };
}

/// Runs `work` on a new thread of this name, and then `done` with its result on the main thread. The main
/// thread goes on meanwhile, whatever `work` waits for; the process may end before it has, so `work` must own
/// or outlive what it uses. Where the system has no thread, `work` runs on the main thread, in a later turn.
/// Any thread.
template <typename Work, typename Done>
void besideMainQueue(const char *name, Work work, Done done) {
    const auto both = std::make_shared<const std::pair<Work, Done>>(std::move(work), std::move(done));
    const auto run = [both] { onMainQueue([both, result = both->first()] { both->second(result); }); };
    // Not a thread of a pool, since Qt waits for its pool before it ends the program.
    std::thread thread = platform::startThread(name, run);
    if (thread.joinable())
        thread.detach();
    else
        onMainQueue(run);
}

/// From now on work that is handed over is dropped. Main thread, before the application object is destroyed.
inline void closeMainQueue() {
    const std::lock_guard lock(mainqueue::mutex);
    mainqueue::isClosed = true;
}
