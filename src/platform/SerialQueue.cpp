#include "platform/SerialQueue.h"

#include "platform/posix/Process.h"

namespace platform {

SerialQueue::SerialQueue(std::string name)
    : m_name(std::move(name)) {}

SerialQueue::~SerialQueue() {
    stop(std::chrono::milliseconds(0));
    if (m_thread.joinable())
        m_thread.join();
}

void SerialQueue::submit(std::function<void()> work) {
    const std::lock_guard lock(m_mutex);
    if (m_isStopped)
        return;
    m_waiting.push_back(std::move(work));
    if (m_thread.joinable())
        m_changed.notify_all();
    else
        m_thread = std::thread(&SerialQueue::run, this);
}

bool SerialQueue::stop(std::chrono::milliseconds limit) {
    std::unique_lock lock(m_mutex);
    m_isStopped = true;
    m_waiting.clear();
    m_changed.notify_all();
    if (!m_thread.joinable())
        return true;
    if (!m_changed.wait_for(lock, limit, [this] { return m_hasEnded; }))
        return false;
    lock.unlock();
    m_thread.join();
    return true;
}

void SerialQueue::run() {
    nameThisThread(m_name.c_str());
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [this] { return m_isStopped || !m_waiting.empty(); });
        if (m_isStopped)
            break;
        {
            const auto work = std::move(m_waiting.front());
            m_waiting.pop_front();
            lock.unlock();
            work();
        }
        lock.lock();
    }
    m_hasEnded = true;
    m_changed.notify_all();
}

} // namespace platform
