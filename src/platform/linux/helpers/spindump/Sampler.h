// Samples a traced process: stops all its threads at even intervals and reads their stacks.
//
// A thread that still waits where its last sample shows it is not stopped again. The interval grows when
// samples cost more than a twentieth of one processor. However many threads with however deep stacks there
// are, all go on within about half a second.
#pragma once

#include "Stacks.h"
#include "Tracer.h"

namespace spindump {

/// Bounds on what a target can make the sampler use, and for how long.
struct Limits {
    std::chrono::milliseconds duration{10'000};
    /// For reading stacks at once, while their threads are stopped.
    std::chrono::milliseconds stop{250};
    /// For finding names and source lines, after that.
    std::chrono::seconds reading{90};
    /// Without any progress while the target is held, before all is given up.
    std::chrono::seconds stall{10};
    std::size_t frames = 16'384;
};

/// What is known of one sampled thread, from the files that the kernel keeps for it. They stay open, so a
/// later thread with the same id is never taken for it.
class ThreadRecord {
public:
    /// `threadsFolder` is the process's folder "task".
    ThreadRecord(int threadsFolder, pid_t id);

    /// Reads name, state, wait channel and processor time again.
    void look();
    /// Where the thread waits in the kernel: system call, its arguments, stack pointer and program counter.
    /// Empty while it runs and when the kernel does not say.
    QByteArray place() const;
    /// Counts samples of the calls that were last read.
    void add(unsigned weight);
    /// Keeps what is known, closes the files.
    void end();
    bool hasEnded() const { return m_hasEnded; }
    /// Since this record was made, as far as it was looked at.
    double processorSeconds() const { return m_lastSeconds - m_firstSeconds; }

    QByteArray name;
    char state = '?';
    QByteArray waitChannel;
    std::uint64_t samples = 0;
    /// Samples asked for and not yet taken; the thread stops as soon as it gets a processor.
    unsigned pending = 0;
    /// Where it was at the last stop; empty when it ran.
    QByteArray sampledPlace;
    CallChain sampledCalls;
    /// Samples of each chain.
    std::map<CallChain, std::uint64_t> chains;
    /// The call tree for the report, made at the end; or why there is none.
    QByteArray text;

private:
    platform::FileDescriptor m_folder;
    platform::FileDescriptor m_syscall;
    bool m_hasEnded = false;
    double m_firstSeconds = 0;
    double m_lastSeconds = 0;
};

struct SamplingResult {
    /// Why it ended, in words.
    QByteArray end;
    std::chrono::duration<double> duration{};
    std::uint64_t rounds = 0;
    std::map<pid_t, ThreadRecord> threads;
    StopTimes stops;
    QByteArray libraries;
};

/// Samples for the whole duration unless the process ends earlier, lets it go, and finds the names. Throws
/// Failure when a signal asks this process to end or that takes too long.
SamplingResult sample(const Target &target, Tracer &tracer, const Limits &limits);

} // namespace spindump
