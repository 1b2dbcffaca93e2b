#include "ThreadRecord.h"

#include <charconv>
#include <fcntl.h>

namespace spindump {

ThreadRecord::ThreadRecord(int threadsFolder, pid_t id)
    : m_id(id)
    , m_folder(openIn(threadsFolder, std::to_string(id), O_RDONLY | O_DIRECTORY))
    , m_syscall(openIn(m_folder.get(), "syscall", O_RDONLY))
    , m_schedule(openIn(m_folder.get(), "schedstat", O_RDONLY))
    , m_stat(openIn(m_folder.get(), "stat", O_RDONLY)) {
    look();
    m_firstTime = m_lastTime;
}

void ThreadRecord::end() {
    m_hasEnded = true;
    for (platform::FileDescriptor *file : {&m_folder, &m_syscall, &m_schedule, &m_stat})
        *file = platform::FileDescriptor();
}

// To the nanosecond where the kernel keeps that, else in its clock ticks.
std::chrono::nanoseconds ThreadRecord::readProcessorTime(const ProcStat &stat) const {
    const auto schedule = contentOf(m_schedule.get(), 256);
    long long nanoseconds = 0;
    if (schedule.value &&
        std::from_chars(schedule.value->data(), schedule.value->data() + schedule.value->size(), nanoseconds)
                .ec == std::errc())
        return std::chrono::nanoseconds(nanoseconds);
    return std::chrono::duration_cast<std::chrono::nanoseconds>(ticks(stat.userTicks + stat.systemTicks));
}

void ThreadRecord::look() {
    const auto text = contentOf(m_stat.get(), 4096);
    const auto stat = text.value ? parseStat(*text.value) : std::nullopt;
    if (!stat)
        return;
    m_name = stat->name;
    m_lastTime = readProcessorTime(*stat);
    // About to stop for a sample, it would seem to stand still.
    if (pending > 0 && m_state != '?')
        return;
    m_state = stat->state;
    const auto channel = contentIn(m_folder.get(), "wchan", 256);
    m_waitChannel = channel.value ? *channel.value : channel.failure;
}

std::string ThreadRecord::place() const {
    const auto text = contentOf(m_syscall.get(), 256);
    return !text.value || text.value->starts_with("running") ? std::string() : *text.value;
}

} // namespace spindump
