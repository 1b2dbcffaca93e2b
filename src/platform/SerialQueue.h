// A worker thread with a name, which runs the work that it is given one after the other, in the order given.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace platform {

class SerialQueue {
public:
    /// The name is that of the thread, which starts with the first work. At most 15 characters.
    explicit SerialQueue(std::string name);
    /// Waits for the work that runs; the rest is dropped.
    ~SerialQueue();
    SerialQueue(const SerialQueue &) = delete;
    SerialQueue &operator=(const SerialQueue &) = delete;

    /// Any thread; returns at once. Work that comes after `stop` is dropped.
    void submit(std::function<void()> work);

    /// Drops the work that waits, and waits for what runs, but no longer than `limit`. True when nothing runs
    /// any more. One thread, not the queue's own.
    bool stop(std::chrono::milliseconds limit);

private:
    void run();

    std::string m_name;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<std::function<void()>> m_waiting;
    bool m_isStopped = false;
    bool m_hasEnded = false;
    std::thread m_thread;
};

} // namespace platform
