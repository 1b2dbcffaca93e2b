#include "Tracer.h"

#include "ProcFile.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace spindump {

namespace {

using Clock = std::chrono::steady_clock;

int eventOf(int status) {
    return status >> 16;
}

bool isStoppingSignal(int signal) {
    return signal == SIGSTOP || signal == SIGTSTP || signal == SIGTTIN || signal == SIGTTOU;
}

// The process itself is stopped, by a signal or a terminal, and not by us alone.
bool isGroupStop(int status) {
    return eventOf(status) == PTRACE_EVENT_STOP && isStoppingSignal(WSTOPSIG(status));
}

// The signal that the thread was about to get.
int signalToPassOn(int status) {
    return eventOf(status) == 0 ? WSTOPSIG(status) : 0;
}

long request(enum __ptrace_request what, pid_t thread, long data = 0) {
    return ::ptrace(what, thread, nullptr, data);
}

bool isHeld(pid_t thread) {
    siginfo_t news{};
    return ::waitid(P_PID, static_cast<id_t>(thread), &news,
                    WEXITED | WSTOPPED | WNOWAIT | WNOHANG | __WALL) == 0;
}

template <typename Events>
Events readyEvents() {
    Events ready;
    int status = 0;
    for (pid_t thread = 0; (thread = ::waitpid(-1, &status, __WALL | WNOHANG)) > 0;)
        ready.push_back({thread, status});
    return ready;
}

std::vector<pid_t> threadsIn(int folder) {
    std::vector<pid_t> result;
    DIR *listing = ::fdopendir(::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (listing == nullptr)
        return result;
    while (const struct dirent *entry = ::readdir(listing)) {
        if (const int thread = std::atoi(entry->d_name); thread > 0)
            result.push_back(thread);
    }
    ::closedir(listing);
    return result;
}

} // namespace

Tracer::Tracer(pid_t process, int threadsFolder, std::size_t threadLimit)
    : m_process(process)
    , m_threadsFolder(threadsFolder)
    , m_threadLimit(threadLimit) {}

Tracer::~Tracer() {
    letGo(nullptr);
}

// A thread that is taken makes no thread unseen; one that is not yet may have made one meanwhile.
bool Tracer::attach(std::string &error) {
    std::size_t found = 0;
    do {
        found = 0;
        if (!seizeNewThreads(found, error))
            return false;
    } while (found > 0);
    if (m_threads.empty())
        error = "process " + std::to_string(m_process) + " has ended";
    return !m_threads.empty();
}

bool Tracer::seizeNewThreads(std::size_t &found, std::string &error) {
    m_beyondLimit = 0;
    for (const pid_t thread : threadsIn(m_threadsFolder)) {
        if (m_threads.contains(thread))
            continue;
        if (m_threads.size() >= m_threadLimit) {
            ++m_beyondLimit;
            continue;
        }
        if (seize(thread)) {
            ++found;
        } else if (errno != ESRCH && (thread == m_process || m_threads.empty())) {
            error = "process " + std::to_string(m_process) + " cannot be traced: " + std::strerror(errno);
            return false;
        }
    }
    return true;
}

// The id may have become another's since it was listed; from now on it cannot. Who is not the target's is let
// go at its first stop.
bool Tracer::seize(pid_t thread) {
    if (request(PTRACE_SEIZE, thread, PTRACE_O_TRACECLONE | PTRACE_O_TRACEEXEC) != 0)
        return false;
    if (belongsToProcess(thread)) {
        m_threads.emplace(thread, Thread{});
    } else {
        m_expected.insert(thread);
        request(PTRACE_INTERRUPT, thread);
    }
    return true;
}

std::vector<pid_t> Tracer::threads() const {
    std::vector<pid_t> result;
    for (const auto &[id, thread] : m_threads)
        result.push_back(id);
    return result;
}

bool Tracer::interrupt(pid_t thread) {
    if (request(PTRACE_INTERRUPT, thread) != 0 && errno == ESRCH) {
        m_threads.erase(thread);
        return false;
    }
    m_threads[thread].isAsked = true;
    return true;
}

void Tracer::handleEvents(Listener &listener) {
    constexpr auto longest = std::chrono::milliseconds(5);
    auto couldBeSeen = Clock::now();
    const auto deadline = couldBeSeen + longest;
    while (couldBeSeen < deadline) {
        const auto ready = readyEvents<std::vector<Event>>();
        const auto seen = Clock::now();
        if (ready.empty())
            return;
        for (const Event &event : ready) {
            handle(event, &listener);
            if (!WIFSTOPPED(event.status))
                continue;
            const auto stopped = Clock::now() - couldBeSeen;
            ++m_stopTimes.count;
            m_stopTimes.total += stopped;
            m_stopTimes.longest = std::max<std::chrono::nanoseconds>(m_stopTimes.longest, stopped);
        }
        couldBeSeen = seen;
    }
}

void Tracer::handle(const Event &event, Listener *listener) {
    m_expected.erase(event.thread);
    if (!WIFSTOPPED(event.status))
        return forget(event, listener);
    if (eventOf(event.status) == PTRACE_EVENT_EXEC) {
        // Only the thread that did it is left, under the process's id. What runs now is nobody's request.
        m_runsAnotherProgram = true;
        m_threads.clear();
        return release(event);
    }
    if (eventOf(event.status) == PTRACE_EVENT_CLONE)
        noteClone(event.thread);
    if (!welcome(event.thread, listener) || m_phase == Phase::lettingGo)
        return release(event);
    if (eventOf(event.status) == PTRACE_EVENT_CLONE)
        return goOnAfterClone(event);
    m_threads[event.thread].isAsked = false;
    if (listener != nullptr)
        listener->threadStopped(event.thread);
    goOn(event);
}

// A thread that makes others would be seen doing only that, and any stop is the answer to an earlier request.
void Tracer::goOnAfterClone(const Event &event) {
    goOn(event);
    if (m_threads[event.thread].isAsked)
        request(PTRACE_INTERRUPT, event.thread);
}

// Whether the thread is one of those held. A process that is made in the way of a thread is taken by the
// system like one.
bool Tracer::welcome(pid_t thread, Listener *listener) {
    if (m_threads.contains(thread))
        return true;
    if (!belongsToProcess(thread))
        return false;
    if (m_threads.size() >= m_threadLimit) {
        ++m_beyondLimit;
        return false;
    }
    m_threads.emplace(thread, Thread{});
    if (listener != nullptr)
        listener->threadAppeared(thread);
    return true;
}

bool Tracer::belongsToProcess(pid_t thread) const {
    struct stat status {};
    return ::fstatat(m_threadsFolder, std::to_string(thread).c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

void Tracer::forget(const Event &event, Listener *listener) {
    const bool known = m_threads.erase(event.thread) > 0;
    if (event.thread == m_process)
        m_endStatus = event.status;
    if (listener == nullptr)
        return;
    if (known)
        listener->threadEnded(event.thread);
    else
        listener->childEnded(event.thread, event.status);
}

// Until it first stops, a new thread is known from its maker alone; it is not to be forgotten when all are
// let go. One that is no thread of the target's may have stopped, and been let go, before its maker told.
void Tracer::noteClone(pid_t parent) {
    unsigned long made = 0;
    if (::ptrace(PTRACE_GETEVENTMSG, parent, nullptr, &made) != 0)
        return;
    const auto thread = static_cast<pid_t>(made);
    if (!m_threads.contains(thread) && isHeld(thread))
        m_expected.insert(thread);
}

void Tracer::goOn(const Event &event) {
    if (isGroupStop(event.status))
        request(PTRACE_LISTEN, event.thread);
    else
        request(PTRACE_CONT, event.thread, signalToPassOn(event.status));
}

void Tracer::release(const Event &event) {
    request(PTRACE_DETACH, event.thread, signalToPassOn(event.status));
    m_threads.erase(event.thread);
}

void Tracer::letGo(Listener *listener) {
    m_phase = Phase::lettingGo;
    for (const pid_t thread : threads())
        interrupt(thread);
    std::erase_if(m_expected, [](pid_t thread) { return request(PTRACE_INTERRUPT, thread) != 0; });
    const auto deadline = Clock::now() + std::chrono::seconds(1);
    while (!isIdle() && Clock::now() < deadline) {
        const auto ready = readyEvents<std::vector<Event>>();
        for (const Event &event : ready)
            handle(event, listener);
        if (ready.empty())
            std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
}

} // namespace spindump
