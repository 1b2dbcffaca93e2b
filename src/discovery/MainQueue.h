// The main queue: work handed to the main thread, which runs it in order from its event loop.
#pragma once

#include <chrono>
#include <functional>

namespace platform {

/// Runs `work` on the main thread, in a later turn of its event loop. Any thread may call it; work handed
/// over before the loop starts waits for it, work handed over after it has ended is never run.
void onMainQueue(std::function<void()> work);

/// The same after `delay`. Main thread only.
void onMainQueueAfter(std::chrono::milliseconds delay, std::function<void()> work);

/// From now on work that is handed over is dropped. Main thread, before the application object is destroyed.
void closeMainQueue();

} // namespace platform
