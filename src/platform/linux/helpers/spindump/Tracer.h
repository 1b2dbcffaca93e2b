// Holds the threads of one process under trace: stops them when asked and lets them go on at once.
//
// Signals are passed on, a stopped process stays stopped, children that the process makes are let go. Still,
// a stop ends some system calls early, and the process can read that it is traced. The system itself lets
// every thread go when this process ends, however it ends. All calls are the attaching thread's.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <sys/types.h>
#include <vector>

namespace spindump {

/// How long threads stood still, each stop of a single thread by itself: from when it was seen, or could have
/// been, until it was let go.
struct StopTimes {
    std::uint64_t count = 0;
    std::chrono::nanoseconds total{};
    std::chrono::nanoseconds longest{};
};

class Tracer {
public:
    class Listener {
    public:
        virtual ~Listener() = default;
        virtual void threadAppeared(pid_t thread) = 0;
        /// The thread stands still until this returns.
        virtual void threadStopped(pid_t thread) = 0;
        virtual void threadEnded(pid_t thread) = 0;
        /// A child of this process that is no thread of the target's.
        virtual void childEnded(pid_t process, int status) = 0;
    };

    /// `threadsFolder` is the process's folder "task", borrowed.
    Tracer(pid_t process, int threadsFolder, std::size_t threadLimit);
    /// Lets all threads go.
    ~Tracer();
    Tracer(const Tracer &) = delete;
    Tracer &operator=(const Tracer &) = delete;

    /// Takes every thread. False, with the reason in `error`, when that is not allowed.
    bool attach(std::string &error);
    std::vector<pid_t> threads() const;

    /// The thread will stop, report to the listener, and go on. False when it is gone.
    bool interrupt(pid_t thread);
    /// What has happened since; does not wait. A target without pause in its events could keep it busy for
    /// ever: it returns after a few milliseconds, and SIGCHLD is pending while there are more.
    void handleEvents(Listener &listener);
    /// Lets all threads go and waits up to a second for it. A thread that the system keeps for longer goes
    /// free in `handleEvents`, or at the latest when this process ends.
    void letGo(Listener *listener);

    /// Whether no thread is held.
    bool isIdle() const { return m_threads.empty() && m_expected.empty(); }
    bool runsAnotherProgram() const { return m_runsAnotherProgram; }
    /// As waitpid tells it; none while the process runs.
    std::optional<int> endStatus() const { return m_endStatus; }
    const StopTimes &stopTimes() const { return m_stopTimes; }
    /// Threads that were there and were let be, because of the limit.
    std::size_t threadsBeyondLimit() const { return m_beyondLimit; }

private:
    enum class Phase { tracing, lettingGo };
    struct Event {
        pid_t thread;
        int status;
    };
    struct Thread {
        /// To stop, and has not yet.
        bool isAsked = false;
    };

    bool seizeNewThreads(std::size_t &found, std::string &error);
    bool seize(pid_t thread);
    bool belongsToProcess(pid_t thread) const;
    void handle(const Event &event, Listener *listener);
    bool welcome(pid_t thread, Listener *listener);
    void forget(const Event &event, Listener *listener);
    void noteClone(pid_t parent);
    void goOnAfterClone(const Event &event);
    void goOn(const Event &event);
    void release(const Event &event);

    pid_t m_process;
    int m_threadsFolder;
    std::size_t m_threadLimit;
    Phase m_phase = Phase::tracing;
    std::map<pid_t, Thread> m_threads;
    /// Held too, until they first stop: then they are the target's, or are let go.
    std::set<pid_t> m_expected;
    std::size_t m_beyondLimit = 0;
    bool m_runsAnotherProgram = false;
    std::optional<int> m_endStatus;
    StopTimes m_stopTimes;
};

} // namespace spindump
