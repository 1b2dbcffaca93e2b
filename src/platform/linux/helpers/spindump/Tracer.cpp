#include "Tracer.h"

#include "Target.h"
#include "Text.h"
#include "platform/ScriptRunner.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/wait.h>

namespace spindump {

namespace {

int kindOf(int status) {
    return status >> 16;
}

// The process itself is stopped, by a signal or a terminal, and not by us alone.
bool isGroupStop(int status) {
    return kindOf(status) == PTRACE_EVENT_STOP && WSTOPSIG(status) != SIGTRAP;
}

// The signal that the thread was about to get.
int signalToPassOn(int status) {
    return kindOf(status) == 0 ? WSTOPSIG(status) : 0;
}

bool request(enum __ptrace_request what, pid_t thread, long data = 0) {
    return ::ptrace(what, thread, nullptr, data) == 0;
}

// More rights are of use unless another program traces it.
Failure notTraced(pid_t process, int reason) {
    const QByteArray status = contentIn(AT_FDCWD, "/proc/" + std::to_string(process) + "/status");
    const bool lacksRights = reason == EPERM && statusField(status, "TracerPid") == "0";
    return Failure(processNamed(process) + " cannot be traced: " + std::strerror(reason),
                   lacksRights ? platform::Script::missingRights : EXIT_FAILURE);
}

sigset_t awaitedSignals() {
    sigset_t signals;
    ::sigemptyset(&signals);
    for (const int signal : {SIGCHLD, SIGTERM, SIGINT, SIGHUP})
        ::sigaddset(&signals, signal);
    return signals;
}

} // namespace

Tracer::Tracer(pid_t process, int threadsFolder, std::chrono::seconds stall)
    : m_process(process)
    , m_threadsFolder(threadsFolder)
    , m_stall(stall) {
    const sigset_t signals = awaitedSignals();
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    struct sigevent killing {};
    killing.sigev_notify = SIGEV_SIGNAL;
    killing.sigev_signo = SIGKILL;
    if (::timer_create(CLOCK_MONOTONIC, &killing, &m_guard) != 0)
        throw Failure(QByteArray("no timer: ") + std::strerror(errno));
    renewGuard();
}

Tracer::~Tracer() {
    ::timer_delete(m_guard);
}

// A thread that is taken makes no thread unseen; one that is not yet may have made one meanwhile.
void Tracer::attach() {
    while (seizeNewThreads()) {
    }
    if (m_threads.empty())
        throw Failure(processNamed(m_process) + " has ended");
}

bool Tracer::seizeNewThreads() {
    const auto known = m_threads.size();
    std::error_code error;
    const std::filesystem::path folder = "/proc/" + std::to_string(m_process) + "/task";
    for (std::filesystem::directory_iterator entry(folder, error), end; entry != end;
         entry.increment(error)) {
        const pid_t thread = QByteArray::fromStdString(entry->path().filename()).toInt();
        if (m_threads.contains(thread))
            continue;
        const bool isNeeded = thread == m_process || m_threads.empty();
        if (!request(PTRACE_SEIZE, thread, PTRACE_O_TRACECLONE | PTRACE_O_TRACEEXEC)) {
            if (errno != ESRCH && isNeeded)
                throw notTraced(m_process, errno);
            continue;
        }
        // The id may have become another's since it was listed; from now on it cannot. A thread that is not
        // the target's is let go at its first stop.
        if (belongsToProcess(thread))
            m_threads.try_emplace(thread);
        else
            request(PTRACE_INTERRUPT, thread);
    }
    return m_threads.size() > known;
}

bool Tracer::belongsToProcess(pid_t thread) const {
    struct stat status {};
    return ::fstatat(m_threadsFolder, std::to_string(thread).c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

bool Tracer::interrupt(pid_t thread) {
    if (!request(PTRACE_INTERRUPT, thread) && errno == ESRCH) {
        m_threads.erase(thread);
        return false;
    }
    m_threads[thread] = true;
    return true;
}

void Tracer::renewGuard() {
    const struct itimerspec time {
        {0, 0}, { m_stall.count(), 0 }
    };
    if (::timer_settime(m_guard, 0, &time, nullptr) != 0)
        throw Failure(QByteArray("no timer: ") + std::strerror(errno));
}

void Tracer::wait(Clock::time_point until, Listener &listener) {
    renewGuard();
    // One signal may have been for several threads.
    const auto end = m_areMoreStopped ? Clock::time_point() : until;
    const auto left = std::max(std::chrono::nanoseconds(0), std::chrono::nanoseconds(end - Clock::now()));
    const struct timespec time { left / std::chrono::seconds(1), (left % std::chrono::seconds(1)).count() };
    const sigset_t signals = awaitedSignals();
    const int signal = ::sigtimedwait(&signals, nullptr, &time);
    if (signal > 0 && signal != SIGCHLD)
        throw Failure("ended by a signal");
    constexpr auto longest = std::chrono::milliseconds(5);
    const auto begin = Clock::now();
    m_stoppedSince = m_areMoreStopped ? m_stoppedSince : begin;
    int status = 0;
    pid_t thread = 0;
    while (Clock::now() < begin + longest && (thread = ::waitpid(-1, &status, __WALL | WNOHANG)) > 0) {
        handle(thread, status, listener);
        if (!WIFSTOPPED(status))
            continue;
        const StopTimes::Milliseconds stopped = Clock::now() - m_stoppedSince;
        ++m_stopTimes.count;
        m_stopTimes.total += stopped;
        m_stopTimes.longest = std::max(m_stopTimes.longest, stopped);
    }
    m_areMoreStopped = thread > 0;
}

void Tracer::handle(pid_t thread, int status, Listener &listener) {
    if (!WIFSTOPPED(status)) {
        if (thread == m_process)
            m_endStatus = status;
        if (m_threads.erase(thread) > 0)
            listener.threadEnded(thread);
        return;
    }
    if (kindOf(status) == PTRACE_EVENT_EXEC) {
        // Only the thread that did it is left, under the process's id. What runs now is nobody's request.
        m_runsAnotherProgram = true;
        m_threads.clear();
    } else if (!m_isLettingGo && isHeld(thread, listener)) {
        return goOn(thread, status, listener);
    }
    request(PTRACE_DETACH, thread, signalToPassOn(status));
    m_threads.erase(thread);
}

// Also a thread that its maker's trace has brought along; with a process made in the same way, the system
// brings that along too.
bool Tracer::isHeld(pid_t thread, Listener &listener) {
    if (m_threads.contains(thread))
        return true;
    if (!belongsToProcess(thread))
        return false;
    m_threads.try_emplace(thread);
    listener.threadAppeared(thread);
    return true;
}

void Tracer::goOn(pid_t thread, int status, Listener &listener) {
    bool &isAsked = m_threads[thread];
    // A thread that makes others would be seen doing only that, and any stop is the answer to an earlier
    // request.
    const bool isAskedAgain = isAsked && kindOf(status) == PTRACE_EVENT_CLONE;
    if (kindOf(status) != PTRACE_EVENT_CLONE) {
        isAsked = false;
        listener.threadStopped(thread);
    }
    if (isGroupStop(status))
        request(PTRACE_LISTEN, thread);
    else
        request(PTRACE_CONT, thread, signalToPassOn(status));
    if (isAskedAgain)
        request(PTRACE_INTERRUPT, thread);
}

void Tracer::letGo(Listener &listener) {
    m_isLettingGo = true;
    const auto held = m_threads;
    for (const auto &[thread, state] : held)
        interrupt(thread);
    const auto deadline = Clock::now() + std::chrono::seconds(1);
    while (!m_threads.empty() && Clock::now() < deadline)
        wait(std::min(deadline, Clock::now() + std::chrono::milliseconds(1)), listener);
}

} // namespace spindump
