// Samples a traced process: asks all its threads for a snapshot at even intervals and passes these on.
//
// A thread that still waits where its last snapshot shows it is not stopped again. The interval grows when
// samples cost more than a twentieth of one processor, and samples are left out while the reader is behind.
#pragma once

#include "Limits.h"
#include "StackCopy.h"
#include "StackReader.h"
#include "StallGuard.h"
#include "ThreadRecord.h"
#include "Tracer.h"
#include "WakeUps.h"

#include <functional>

namespace spindump {

enum class SamplingEnd { timeUp, processEnded, otherProgram, readerEnded, asked };

struct SamplingResult {
    SamplingEnd end = SamplingEnd::timeUp;
    std::chrono::duration<double> duration{};
    std::uint64_t rounds = 0;
    std::uint64_t roundsLeftOut = 0;
    /// Of single threads, in the rounds that were not left out.
    std::uint64_t snapshotsLeftOut = 0;
    /// Threads that came when as many as are allowed had been sampled.
    std::uint64_t threadsNotRecorded = 0;
};

class Sampler : private Tracer::Listener {
public:
    using Progress = std::function<void(const std::string &)>;

    /// Borrows all of it.
    Sampler(const Target &target, Tracer &tracer, StackReader &reader, WakeUps &wakeUps, const Limits &limits,
            StallGuard &guard, Progress progress);

    /// Samples for the whole duration unless something ends it, and lets the process go.
    SamplingResult run();
    /// Waits until the reader has read everything, or its time is up. False when somebody asks to end.
    bool waitForReader();

    const std::map<pid_t, ThreadRecord> &threads() const { return m_threads; }

private:
    using Clock = std::chrono::steady_clock;

    void threadAppeared(pid_t thread) override;
    void threadStopped(pid_t thread) override;
    void threadEnded(pid_t thread) override;
    void childEnded(pid_t process, int status) override;

    std::optional<SamplingEnd> reasonToEnd() const;
    void wait(Clock::time_point until);
    void sampleAll();
    bool isReaderBehind() const { return m_reader.backlogBytes() > m_limits.backlogBytes; }
    bool needsStop(ThreadRecord &record);
    void takeSnapshot(ThreadRecord &record);
    void adaptInterval(std::chrono::nanoseconds cost);
    void lookAtThreads();
    void finish();

    const Target &m_target;
    Tracer &m_tracer;
    StackReader &m_reader;
    WakeUps &m_wakeUps;
    const Limits m_limits;
    StallGuard &m_guard;
    Progress m_progress;
    StackCopy m_stacks;
    std::map<pid_t, ThreadRecord> m_threads;
    std::chrono::nanoseconds m_interval;
    std::chrono::nanoseconds m_averageCost{};
    SamplingResult m_result;
};

} // namespace spindump
