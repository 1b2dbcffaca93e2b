// The place in the source that sent a line is of no use to a reader of the journal.
#define SD_JOURNAL_SUPPRESS_LOCATION

#include "platform/SystemLog.h"

#include "platform/linux/Systemd.h"
#include "platform/posix/Process.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <iterator>
#include <mutex>
#include <sys/syslog.h>
#include <sys/uio.h>
#include <systemd/sd-journal.h>

namespace platform {

namespace {

struct Line {
    QString subsystem;
    QString category;
    OSLogType type;
    QString text;
};

// By type.
constexpr int priorities[] = {LOG_DEBUG, LOG_INFO, LOG_ERR};

void write(const Line &line) {
    const QByteArray fields[] = {
        "MESSAGE=" + line.text.toUtf8(), "PRIORITY=" + QByteArray::number(priorities[std::size_t(line.type)]),
        "SUBSYSTEM=" + line.subsystem.toUtf8(), "CATEGORY=" + line.category.toUtf8()};
    struct iovec pieces[std::size(fields)];
    std::transform(std::begin(fields), std::end(fields), std::begin(pieces), [](const QByteArray &field) {
        return iovec{const_cast<char *>(field.constData()), static_cast<std::size_t>(field.size())};
    });
    static const auto send = LUMAMON_SYSTEMD(sd_journal_sendv);
    if (send)
        send(pieces, std::size(pieces));
}

// Lines on their way to the journal. Never destroyed: its thread may be stuck in the journal when the process
// ends, and must neither be waited for nor find its state gone.
class Writer {
public:
    static Writer &shared() {
        static Writer *const writer = new Writer;
        return *writer;
    }

    void add(Line line) {
        const std::lock_guard lock(m_mutex);
        if (!m_hasThread || m_lines.size() >= SystemLog::queueLimit)
            return;
        m_lines.push_back(std::move(line));
        if (m_lines.size() == 1)
            m_changed.notify_all();
    }

    bool flush(std::chrono::milliseconds limit) {
        std::unique_lock lock(m_mutex);
        if (!m_hasThread)
            return false;
        ++m_flushes;
        m_changed.notify_all();
        const bool flushed = m_changed.wait_for(lock, limit, [this] { return m_lines.empty() && m_idle; });
        --m_flushes;
        return flushed;
    }

private:
    // When the system has no thread to give, lines are dropped.
    Writer() {
        std::thread thread = startThread("SystemLog", [this] { run(); });
        m_hasThread = thread.joinable();
        if (m_hasThread)
            thread.detach();
    }

    void run() {
        std::unique_lock lock(m_mutex);
        while (true) {
            m_idle = true;
            m_changed.notify_all();
            m_changed.wait(lock, [this] { return !m_lines.empty(); });
            // Lines come in bursts. Waking for each line would cost more time than writing it.
            m_changed.wait_for(lock, std::chrono::milliseconds(20), [this] { return m_flushes > 0; });
            m_idle = false;
            std::deque<Line> lines;
            lines.swap(m_lines);
            lock.unlock();
            for (const Line &line : lines)
                write(line);
            lock.lock();
        }
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Line> m_lines;
    bool m_hasThread = false;
    bool m_idle = false;
    /// How many callers wait for the lines so far.
    int m_flushes = 0;
};

} // namespace

void SystemLog::send(const QString &subsystem, const QString &category, OSLogType type, const QString &text) {
    Writer::shared().add({subsystem, category, type, text});
}

bool SystemLog::flush(std::chrono::milliseconds limit) {
    return Writer::shared().flush(limit);
}

} // namespace platform
