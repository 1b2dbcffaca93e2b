#include "Sampler.h"

#include "Registers.h"

#include <algorithm>
#include <charconv>
#include <ctime>

namespace spindump {

namespace {

std::chrono::nanoseconds processorTimeUsed() {
    struct timespec used {};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
    return std::chrono::seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec);
}

// Whether this is the place that the kernel tells: its last two words are stack pointer and program counter.
bool isAt(const std::string &place, const Snapshot &snapshot) {
    std::uint64_t values[2] = {};
    std::size_t end = place.find_last_not_of(" \n") + 1;
    for (std::uint64_t &value : values) {
        const std::size_t begin = end == 0 ? std::string::npos : place.rfind(" 0x", end - 1);
        if (begin == std::string::npos || begin + 3 > end)
            return false;
        std::from_chars(place.data() + begin + 3, place.data() + end, value, 16);
        end = begin;
    }
    return values[0] == snapshot.programCounter() && values[1] == snapshot.stackPointer();
}

} // namespace

Sampler::Sampler(const Target &target, Tracer &tracer, StackReader &reader, WakeUps &wakeUps,
                 const Limits &limits, StallGuard &guard, Progress progress)
    : m_target(target)
    , m_tracer(tracer)
    , m_reader(reader)
    , m_wakeUps(wakeUps)
    , m_limits(limits)
    , m_guard(guard)
    , m_progress(std::move(progress))
    , m_stacks(target.memory(), target.mappings(), limits.stackBytes)
    , m_interval(limits.interval) {}

void Sampler::threadAppeared(pid_t thread) {
    // An id may be used again.
    if (const auto earlier = m_threads.find(thread); earlier != m_threads.end())
        m_threads.erase(earlier);
    if (m_threads.size() < m_limits.threads)
        m_threads.try_emplace(thread, m_target.threads(), thread);
    else
        ++m_result.threadsNotRecorded;
}

void Sampler::threadStopped(pid_t thread) {
    const auto record = m_threads.find(thread);
    if (record != m_threads.end() && record->second.pending > 0)
        takeSnapshot(record->second);
}

void Sampler::threadEnded(pid_t thread) {
    const auto record = m_threads.find(thread);
    if (record == m_threads.end())
        return;
    record->second.end();
    // Threads that came and went between two samples would only fill the report.
    if (record->second.samples == 0)
        m_threads.erase(record);
}

void Sampler::childEnded(pid_t process, int status) {
    m_reader.noteEnd(process, status);
}

void Sampler::takeSnapshot(ThreadRecord &record) {
    Snapshot snapshot{.thread = record.id(), .weight = record.pending, .registers = {}, .stack = {}};
    record.pending = 0;
    record.sampledPlace.clear();
    if (isReaderBehind()) {
        ++m_result.snapshotsLeftOut;
        record.whyNoSample = "reading the stacks took longer";
        return;
    }
    if (!readRegisters(record.id(), snapshot.registers)) {
        record.whyNoSample = "its registers could not be read, as in a 32-bit program";
        return;
    }
    snapshot.stack = m_stacks.copy(snapshot.stackPointer());
    record.samples += snapshot.weight;
    if (isAt(record.askedPlace, snapshot))
        record.sampledPlace = record.askedPlace;
    if (record.repeats > 0)
        m_reader.sendRepeat(record.id(), std::exchange(record.repeats, 0));
    m_reader.send(snapshot);
}

// Whether a stop is needed to know where the thread is. Until it has stopped, it stands for all samples
// since.
bool Sampler::needsStop(ThreadRecord &record) {
    const std::string place = record.place();
    if (!place.empty() && place == record.sampledPlace) {
        ++record.repeats;
        ++record.samples;
        return false;
    }
    if (++record.pending > 1)
        return false;
    record.askedPlace = place;
    return true;
}

// All are looked at first: once a thread has stopped, nothing keeps it waiting.
void Sampler::sampleAll() {
    if (isReaderBehind()) {
        ++m_result.roundsLeftOut;
        return;
    }
    ++m_result.rounds;
    std::vector<ThreadRecord *> toStop;
    for (auto &[id, record] : m_threads) {
        if (!record.hasEnded() && needsStop(record))
            toStop.push_back(&record);
    }
    for (ThreadRecord *record : toStop) {
        if (!m_tracer.interrupt(record->id()))
            record->end();
    }
}

void Sampler::adaptInterval(std::chrono::nanoseconds cost) {
    constexpr int share = 20;
    constexpr std::chrono::nanoseconds longest = std::chrono::seconds(1);
    m_averageCost = (m_averageCost * 7 + cost) / 8;
    m_interval = std::clamp<std::chrono::nanoseconds>(m_averageCost * share, m_limits.interval, longest);
}

void Sampler::lookAtThreads() {
    for (auto &[id, record] : m_threads) {
        if (!record.hasEnded())
            record.look();
    }
}

std::optional<SamplingEnd> Sampler::reasonToEnd() const {
    if (m_wakeUps.isAskedToEnd())
        return SamplingEnd::asked;
    if (m_tracer.runsAnotherProgram())
        return SamplingEnd::otherProgram;
    if (m_tracer.isIdle())
        return SamplingEnd::processEnded;
    if (m_reader.hasEnded())
        return SamplingEnd::readerEnded;
    return std::nullopt;
}

void Sampler::wait(Clock::time_point until) {
    m_guard.renew();
    m_wakeUps.wait(until, m_reader.backlogBytes() > 0 ? m_reader.pipe() : -1);
    m_tracer.handleEvents(*this);
    m_reader.flush();
}

SamplingResult Sampler::run() {
    for (const pid_t thread : m_tracer.threads())
        threadAppeared(thread);
    const auto begin = Clock::now();
    const auto end = begin + m_limits.duration;
    auto nextRound = begin;
    auto nextLook = begin + std::chrono::seconds(1);
    auto used = processorTimeUsed();
    std::optional<SamplingEnd> reason;
    while (!(reason = reasonToEnd()) && Clock::now() < end) {
        if (Clock::now() >= nextRound) {
            adaptInterval(processorTimeUsed() - used);
            used = processorTimeUsed();
            sampleAll();
            nextRound = std::max(nextRound + m_interval, Clock::now());
        }
        if (Clock::now() >= nextLook) {
            lookAtThreads();
            m_progress(std::to_string(m_result.rounds) + " samples");
            nextLook += std::chrono::seconds(1);
        }
        wait(std::min({nextRound, nextLook, end}));
    }
    m_result.end = reason.value_or(SamplingEnd::timeUp);
    m_result.duration = Clock::now() - begin;
    finish();
    return m_result;
}

void Sampler::finish() {
    m_tracer.handleEvents(*this);
    lookAtThreads();
    m_tracer.letGo(this);
    for (auto &[id, record] : m_threads) {
        if (record.repeats > 0)
            m_reader.sendRepeat(id, std::exchange(record.repeats, 0));
    }
    m_reader.sendEnd();
}

bool Sampler::waitForReader() {
    const auto deadline = Clock::now() + m_limits.reading;
    while (!m_reader.hasEnded() && !m_wakeUps.isAskedToEnd()) {
        if (Clock::now() >= deadline)
            m_reader.kill("reading the stacks took too long");
        wait(Clock::now() + std::chrono::milliseconds(100));
    }
    return !m_wakeUps.isAskedToEnd();
}

} // namespace spindump
