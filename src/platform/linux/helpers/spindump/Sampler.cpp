#include "Sampler.h"

#include "Text.h"

#include <algorithm>
#include <fcntl.h>
#include <iostream>
#include <sys/wait.h>
#include <unordered_map>
#include <utility>

namespace spindump {

namespace {

using Clock = Tracer::Clock;

constexpr std::size_t linesPerThread = 2'000;

// Of the processor, by this program so far; POSIX counts in microseconds.
std::chrono::microseconds processorTimeUsed() {
    return std::chrono::microseconds(std::clock());
}

class Sampler : private Tracer::Listener {
public:
    Sampler(const Target &target, Tracer &tracer, const Limits &limits)
        : m_target(target)
        , m_tracer(tracer)
        , m_limits(limits)
        , m_stacks(target, limits.frames) {}

    SamplingResult run() {
        for (const auto &[thread, state] : m_tracer.threads())
            threadAppeared(thread);
        sampleInTime();
        m_result.stops = m_tracer.stopTimes();
        m_tracer.letGo(*this);
        std::cerr << "reading the stacks" << std::endl;
        findNames();
        m_result.libraries = m_stacks.libraries();
        return std::move(m_result);
    }

private:
    void threadAppeared(pid_t thread) override {
        // An id may be used again.
        m_result.threads.erase(thread);
        m_result.threads.try_emplace(thread, m_target.threads.get(), thread);
    }

    void threadEnded(pid_t thread) override {
        ThreadRecord &record = m_result.threads.at(thread);
        record.end();
        // Threads that came and went between two samples would only fill the report.
        if (record.samples == 0)
            m_result.threads.erase(thread);
    }

    void threadStopped(pid_t thread) override {
        ThreadRecord &record = m_result.threads.at(thread);
        if (record.pending == 0)
            return;
        const unsigned weight = std::exchange(record.pending, 0);
        record.sampledPlace = record.place();
        record.sampledCalls = m_stacks.read(thread);
        if (record.sampledCalls.empty())
            record.text = "          no sample: its stack could not be read, as in a 32-bit program\n";
        else
            record.add(weight);
    }

    void sampleInTime() {
        constexpr std::chrono::nanoseconds shortest = std::chrono::milliseconds(10);
        constexpr int share = 20;
        const auto begin = Clock::now();
        const auto end = begin + m_limits.duration;
        auto nextRound = begin;
        auto nextLook = begin;
        auto used = processorTimeUsed();
        auto averageCost = std::chrono::nanoseconds(0);
        while ((m_result.end = reasonToEnd()).isEmpty() && Clock::now() < end) {
            // Before any thread is stopped for a sample.
            if (Clock::now() >= nextLook) {
                lookAtThreads();
                nextLook += std::chrono::seconds(1);
                std::cerr << m_result.rounds << " samples" << std::endl;
            }
            if (Clock::now() >= nextRound) {
                averageCost = (averageCost * 7 + processorTimeUsed() - used) / 8;
                used = processorTimeUsed();
                sampleAll();
                nextRound = std::max(nextRound + std::max(shortest, averageCost * share), Clock::now());
            }
            m_tracer.wait(std::min({nextRound, nextLook, end}), *this);
        }
        m_result.duration = Clock::now() - begin;
        if (m_result.end.isEmpty())
            m_result.end = "the time was up";
        lookAtThreads();
    }

    QByteArray reasonToEnd() const {
        if (m_tracer.runsAnotherProgram())
            return "the process began to run another program";
        if (!m_tracer.threads().empty())
            return {};
        const int status = m_tracer.endStatus();
        return WIFSIGNALED(status)
                   ? "the process was ended by signal " + QByteArray::number(WTERMSIG(status))
                   : "the process ended with status " + QByteArray::number(WEXITSTATUS(status));
    }

    // All are looked at first: once a thread has stopped, nothing keeps it waiting.
    void sampleAll() {
        ++m_result.rounds;
        m_stacks.giveTime(m_limits.stop);
        std::vector<pid_t> toStop;
        for (auto &[thread, record] : m_result.threads) {
            if (!record.hasEnded() && needsStop(record))
                toStop.push_back(thread);
        }
        for (const pid_t thread : toStop) {
            if (!m_tracer.interrupt(thread))
                m_result.threads.at(thread).end();
        }
    }

    // Whether a stop is needed to know where the thread is. Until it has stopped, it is one for all samples
    // since.
    static bool needsStop(ThreadRecord &record) {
        const QByteArray place = record.place();
        if (place.isEmpty() || place != record.sampledPlace || record.sampledCalls.empty())
            return ++record.pending == 1;
        record.add(1);
        return false;
    }

    // A thread that waits in a library that was not known is stopped again once it is.
    void lookAtThreads() {
        bool isLibraryNew = false;
        for (auto &[thread, record] : m_result.threads) {
            record.look();
            if (m_stacks.endsInNoLibrary(record.sampledCalls)) {
                record.sampledPlace.clear();
                isLibraryNew = true;
            }
        }
        if (isLibraryNew)
            m_stacks.refresh();
    }

    void findNames() {
        m_readingEnd = Clock::now() + m_limits.reading;
        for (auto &[thread, record] : m_result.threads) {
            if (record.samples == 0)
                continue;
            CallTree tree;
            for (const auto &[addresses, samples] : record.chains) {
                std::vector<const Symbol *> chain(addresses.size());
                std::transform(addresses.rbegin(), addresses.rend(), chain.begin(),
                               [this](std::uint64_t address) { return symbolAt(address); });
                tree.add(chain, samples);
            }
            record.text = tree.text(linesPerThread);
        }
    }

    // Each address is looked up once. What the system kept from stopping goes free meanwhile.
    const Symbol *symbolAt(std::uint64_t address) {
        const auto [known, isNew] = m_symbols.try_emplace(address);
        if (isNew) {
            m_tracer.wait(Clock::now(), *this);
            if (Clock::now() >= m_readingEnd)
                throw Failure("reading the stacks took too long");
            known->second = m_stacks.symbolAt(address);
        }
        return &known->second;
    }

    const Target &m_target;
    Tracer &m_tracer;
    const Limits &m_limits;
    Stacks m_stacks;
    SamplingResult m_result;
    std::unordered_map<std::uint64_t, Symbol> m_symbols;
    Clock::time_point m_readingEnd;
};

} // namespace

ThreadRecord::ThreadRecord(int threadsFolder, pid_t id)
    : text("          no sample: the system did not let the thread stop\n")
    , m_folder(openIn(threadsFolder, std::to_string(id), O_RDONLY | O_DIRECTORY))
    , m_syscall(openIn(m_folder.get(), "syscall", O_RDONLY)) {
    look();
    m_firstSeconds = m_lastSeconds;
}

void ThreadRecord::look() {
    const ProcStat stat(contentIn(m_folder.get(), "stat"));
    if (stat.fields.isEmpty())
        return;
    name = stat.name;
    m_lastSeconds = stat.seconds(14) + stat.seconds(15);
    // About to stop for a sample, it would seem to stand still.
    if (pending > 0 && state != '?')
        return;
    state = stat.state;
    waitChannel = contentIn(m_folder.get(), "wchan");
}

// A thread that was stopped on its way through the program shows -1 for the system call.
QByteArray ThreadRecord::place() const {
    const QByteArray found = contentOf(m_syscall.get(), 256);
    return found.startsWith("running") || found.startsWith("-1") ? QByteArray() : found;
}

void ThreadRecord::add(unsigned weight) {
    samples += weight;
    chains[sampledCalls] += weight;
}

void ThreadRecord::end() {
    m_hasEnded = true;
    m_folder = platform::FileDescriptor();
    m_syscall = platform::FileDescriptor();
}

SamplingResult sample(const Target &target, Tracer &tracer, const Limits &limits) {
    return Sampler(target, tracer, limits).run();
}

} // namespace spindump
