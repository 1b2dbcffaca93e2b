// What the sampler does to its target: nothing that lasts.
#include "Target.h"
#include "Tracer.h"
#include "test_target/SampledProgram.h"

#include <fcntl.h>
#include <gmock/gmock.h>

namespace {

using namespace spindump_test;
using test_support::exited;
using test_support::killedBy;
using test_support::waitUntil;
using testing::HasSubstr;
using namespace std::chrono_literals;

bool hasState(pid_t process, const std::string &states) {
    return waitUntil([&] { return states.find(statusOf(process, "State")[0]) != states.npos; });
}

std::vector<pid_t> threadsOf(pid_t process) {
    std::vector<pid_t> threads;
    for (const auto &entry :
         std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task"))
        threads.push_back(std::atoi(entry.path().filename().c_str()));
    return threads;
}

bool usesProcessor(pid_t process) {
    const auto ticks = [&] {
        const std::string path = "/proc/" + std::to_string(process) + "/stat";
        const spindump::ProcStat stat(spindump::contentIn(AT_FDCWD, path));
        return stat.number(14) + stat.number(15);
    };
    const std::uint64_t before = ticks();
    return waitUntil([&] { return ticks() > before + 2; }, 500ms);
}

// The second is as when the target's memory comes from something that hangs.
TEST(LettingGo, LetsTheTargetGoWhenTheSamplerIsKilledOrHangs) {
    for (const int signal : {SIGKILL, SIGSTOP}) {
        SampledProgram target("busyThreads");
        LongSampling run(target, 3);
        std::this_thread::sleep_for(100ms);
        run.sampler.send(signal);
        EXPECT_EQ(run.sampler.waitForEnd(), killedBy(SIGKILL));
        EXPECT_TRUE(target.isRunning());
        for (const pid_t thread : threadsOf(target.id()))
            EXPECT_TRUE(!isTraced(thread) && hasState(thread, "RS")) << statusOf(thread, "State");
        EXPECT_TRUE(std::filesystem::is_empty(run.folder.path()));
    }
}

TEST(LettingGo, LeavesNoReportWhenAskedToEnd) {
    const SampledProgram target("busyThreads");
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        LongSampling run(target);
        run.sampler.send(signal);
        ASSERT_EQ(run.sampler.waitForEnd(), exited(1));
        EXPECT_THAT(run.sampler.standardError(), HasSubstr("spindump: ended by a signal\n"));
        EXPECT_TRUE(std::filesystem::is_empty(run.folder.path()));
        EXPECT_FALSE(isTraced(target.id()));
    }
}

TEST(LettingGo, LeavesAStoppedTargetStopped) {
    const SampledProgram target("busyThreads");
    target.send(SIGSTOP);
    ASSERT_TRUE(hasState(target.id(), "T"));
    const std::string report = reportOf(target);
    EXPECT_TRUE(hasState(target.id(), "T"));
    EXPECT_THAT(lineWith(report, "\"spindump_target\""), HasSubstr("stopped"));
    EXPECT_GT(samplesOf(threadPart(report, "busy"), "sample::busy()"), 0) << report;
    target.send(SIGCONT);
    EXPECT_TRUE(hasState(target.id(), "S"));
}

TEST(LettingGo, LetsATargetBeStoppedAndContinuedMeanwhile) {
    const SampledProgram target("busyThreads");
    LongSampling run(target);
    for (const int signal : {SIGCONT, SIGSTOP, SIGCONT, SIGSTOP}) {
        target.send(signal);
        EXPECT_TRUE(waitUntil([&] { return usesProcessor(target.id()) == (signal == SIGCONT); }));
    }
    run.sampler.send(SIGTERM);
    ASSERT_EQ(run.sampler.waitForEnd(), exited(1));
    EXPECT_TRUE(hasState(target.id(), "T"));
    EXPECT_FALSE(isTraced(target.id()));
}

TEST(LettingGo, PassesSignalsOn) {
    const SampledProgram target("signals");
    reportOf(target, {.milliseconds = 1200});
    EXPECT_TRUE(waitUntil([&] { return target.standardOutput().ends_with("seen\n"); }));
    EXPECT_EQ(target.standardOutput(), "ready\n2000 seen\n");
}

TEST(LettingGo, PassesDeathOn) {
    SampledProgram target("busyThreads");
    LongSampling run(target);
    std::this_thread::sleep_for(200ms);
    target.send(SIGTERM);
    EXPECT_EQ(target.waitForEnd(), killedBy(SIGTERM));
    ASSERT_EQ(run.sampler.waitForEnd(), exited(0)) << run.sampler.standardError();
    EXPECT_THAT(test_support::readFile(run.folder.path() / "report.txt").toStdString(),
                HasSubstr("the process was ended by signal 15"));
}

TEST(LettingGo, EnduresATargetThatMakesProcessesOrThreadsAllTheTime) {
    for (const std::string work : {"forkLoop", "threadLoop"}) {
        SampledProgram target(work);
        int samples = 0;
        // Most stops are where a thread has just been made, which hides its callers.
        for (int milliseconds = 1000; samples == 0 && milliseconds <= 16'000; milliseconds *= 2)
            samples = samplesOf(reportOf(target, {.milliseconds = milliseconds}), "sample::" + work + "()");
        EXPECT_GT(samples, 0) << work;
        EXPECT_TRUE(target.isRunning());
    }
}

// Takes its time with every stop, and ends the target rather than wait for ever.
class SlowTracing : private spindump::Tracer::Listener {
public:
    static constexpr int mostStops = 1000;

    SlowTracing(const SampledProgram &target, std::chrono::milliseconds time)
        : m_target(target)
        , m_time(time)
        , m_threads(spindump::openIn(AT_FDCWD, "/proc/" + std::to_string(target.id()) + "/task",
                                     O_RDONLY | O_DIRECTORY))
        , tracer(target.id(), m_threads.get(), 60s) {
        tracer.attach();
    }
    int stops() const { return m_stops; }
    void wait(std::chrono::milliseconds time) { tracer.wait(spindump::Tracer::Clock::now() + time, *this); }
    bool letsGo() {
        tracer.letGo(*this);
        return tracer.threads().empty();
    }

private:
    void threadAppeared(pid_t) override {}
    void threadEnded(pid_t) override {}
    void threadStopped(pid_t) override {
        std::this_thread::sleep_for(m_time);
        if (++m_stops == mostStops)
            m_target.send(SIGKILL);
    }

    const SampledProgram &m_target;
    std::chrono::milliseconds m_time;
    platform::FileDescriptor m_threads;
    int m_stops = 0;

public:
    spindump::Tracer tracer;
};

// So slow that the first thread of a target has stopped again before the last one goes on.
TEST(Tracer, DoesNotFollowEventsWithoutEnd) {
    const SampledProgram target("signalStorm");
    SlowTracing tracing(target, 2ms);
    ASSERT_TRUE(waitUntil([&] {
        tracing.wait(0ms);
        return tracing.stops() > 0;
    }));
    EXPECT_LT(tracing.stops(), SlowTracing::mostStops / 2);
    EXPECT_TRUE(tracing.letsGo());
}

// One signal says that several have stopped, and there is not time for all of them at once.
TEST(Tracer, LeavesNoThreadStoppedUntilAnotherStops) {
    const SampledProgram target("busyThreads");
    SlowTracing tracing(target, 10ms);
    const auto held = tracing.tracer.threads();
    for (const auto &[thread, isAsked] : held)
        tracing.tracer.interrupt(thread);
    const bool allStopped = waitUntil([&] {
        return std::all_of(held.begin(), held.end(),
                           [](const auto &entry) { return statusOf(entry.first, "State")[0] == 't'; });
    });
    ASSERT_TRUE(allStopped);
    const auto begin = spindump::Tracer::Clock::now();
    while (tracing.stops() < static_cast<int>(held.size()))
        tracing.wait(5s);
    EXPECT_LT(spindump::Tracer::Clock::now() - begin, 4s);
    EXPECT_TRUE(tracing.letsGo());
}

} // namespace
