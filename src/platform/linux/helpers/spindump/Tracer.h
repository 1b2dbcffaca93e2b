// Holds the threads of one process under trace: stops them when asked and lets them go on at once.
//
// Signals are passed on, a stopped process stays stopped, processes that the target makes are let go. The
// system itself lets every thread go when this process ends, however it ends; and it is killed when nobody
// waits here for a while: reading the memory of another process can hang as long as whoever provides it
// likes. All calls are the attaching thread's, one tracer at a time; the signals that are waited for stay
// blocked.
#pragma once

#include <chrono>
#include <cstdint>
#include <ctime>
#include <map>
#include <sys/types.h>

namespace spindump {

/// How long threads stood still at most, each stop of a single thread by itself.
struct StopTimes {
    using Milliseconds = std::chrono::duration<double, std::milli>;
    std::uint64_t count = 0;
    Milliseconds total{};
    Milliseconds longest{};
};

class Tracer {
public:
    using Clock = std::chrono::steady_clock;

    class Listener {
    public:
        virtual ~Listener() = default;
        virtual void threadAppeared(pid_t thread) = 0;
        /// The thread stands still until this returns.
        virtual void threadStopped(pid_t thread) = 0;
        virtual void threadEnded(pid_t thread) = 0;
    };

    /// `threadsFolder` is the process's folder "task", borrowed. From now until the end of this object this
    /// process is killed when `wait` is not called for `stall`.
    Tracer(pid_t process, int threadsFolder, std::chrono::seconds stall);
    ~Tracer();
    Tracer(const Tracer &) = delete;
    Tracer &operator=(const Tracer &) = delete;

    /// Takes every thread. Throws Failure when that is not allowed.
    void attach();
    /// The thread will stop, report to the listener, and go on. False when it is gone.
    bool interrupt(pid_t thread);
    /// Returns at `until`, or earlier, with what happened to the threads passed to `listener`. A target
    /// without pause in its events does not keep it busy. Throws Failure when a signal asks this process to
    /// end.
    void wait(Clock::time_point until, Listener &listener);
    /// Lets all threads go and waits up to a second for it. A thread that the system keeps for longer goes
    /// free in `wait`, or at the latest when this process ends.
    void letGo(Listener &listener);

    /// By id; whether it is to stop and has not yet.
    const std::map<pid_t, bool> &threads() const { return m_threads; }
    bool runsAnotherProgram() const { return m_runsAnotherProgram; }
    /// As waitpid has it, when there are no threads any more.
    int endStatus() const { return m_endStatus; }
    const StopTimes &stopTimes() const { return m_stopTimes; }

private:
    void renewGuard();
    bool seizeNewThreads();
    bool belongsToProcess(pid_t thread) const;
    void handle(pid_t thread, int status, Listener &listener);
    bool isHeld(pid_t thread, Listener &listener);
    void goOn(pid_t thread, int status, Listener &listener);

    pid_t m_process;
    int m_threadsFolder;
    std::chrono::seconds m_stall;
    timer_t m_guard{};
    std::map<pid_t, bool> m_threads;
    bool m_isLettingGo = false;
    bool m_runsAnotherProgram = false;
    int m_endStatus = 0;
    /// The last wait left threads stopped, since it had no time for all.
    bool m_areMoreStopped = false;
    Clock::time_point m_stoppedSince;
    StopTimes m_stopTimes;
};

} // namespace spindump
