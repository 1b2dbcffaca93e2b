// What is known of one sampled thread, from the files that the kernel keeps for it.
//
// Its files stay open, so a look costs one read and a later thread with the same id is never taken for it.
#pragma once

#include "ProcFile.h"

namespace spindump {

class ThreadRecord {
public:
    /// `threadsFolder` is the process's folder "task".
    ThreadRecord(int threadsFolder, pid_t id);

    pid_t id() const { return m_id; }
    const std::string &name() const { return m_name; }
    char state() const { return m_state; }
    const std::string &waitChannel() const { return m_waitChannel; }
    /// Processor time since this record was made, as far as it was looked at.
    std::chrono::nanoseconds processorTime() const { return m_lastTime - m_firstTime; }

    /// To be called when the thread has ended: keeps what is known, closes the files.
    void end();
    bool hasEnded() const { return m_hasEnded; }

    /// Reads name, state, wait channel and processor time again.
    void look();

    /// Where the thread waits in the kernel: system call, its arguments, stack pointer and program counter.
    /// Empty while it runs and when the kernel does not tell.
    std::string place() const;

    std::uint64_t samples = 0;
    /// For the report, when there are none.
    const char *whyNoSample = "the system did not let the thread stop";
    /// Samples asked for and not yet taken; the thread stops as soon as it gets a processor.
    std::uint32_t pending = 0;
    /// Samples for which the thread was found where the last snapshot shows it.
    std::uint32_t repeats = 0;
    /// Where it was at the last snapshot, when that is sure.
    std::string sampledPlace;
    /// Where it was when that snapshot was asked for.
    std::string askedPlace;

private:
    std::chrono::nanoseconds readProcessorTime(const ProcStat &stat) const;

    pid_t m_id;
    bool m_hasEnded = false;
    std::string m_name;
    char m_state = '?';
    std::string m_waitChannel;
    std::chrono::nanoseconds m_firstTime{};
    std::chrono::nanoseconds m_lastTime{};
    platform::FileDescriptor m_folder;
    platform::FileDescriptor m_syscall;
    platform::FileDescriptor m_schedule;
    platform::FileDescriptor m_stat;
};

} // namespace spindump
