// What the sampler does to its target: nothing that lasts.
#include "Tracer.h"
#include "test_target/SampledProgram.h"

namespace {

using namespace spindump_test;
using test_support::killedBy;
using namespace std::chrono_literals;

bool hasState(pid_t process, const std::string &states) {
    return waitUntil([&] { return states.find(statusOf(process, "State")[0]) != states.npos; });
}

bool usesProcessor(pid_t process) {
    const auto ticks = [path = "/proc/" + std::to_string(process) + "/stat"] {
        const spindump::ProcStat stat(spindump::contentIn(AT_FDCWD, path));
        return stat.number(14) + stat.number(15);
    };
    const std::uint64_t before = ticks();
    return waitUntil([&] { return ticks() > before + 2; }, 500ms);
}

// Stopped, it is as when the target's memory comes from something that hangs.
TEST(LettingGo, LetsTheTargetGoWithoutAReportHoweverTheSamplerEnds) {
    SampledProgram target("threads");
    for (const int signal : {SIGKILL, SIGSTOP, SIGTERM, SIGINT, SIGHUP}) {
        LongSampling run(target.id(), 3);
        std::this_thread::sleep_for(100ms);
        run.sampler.send(signal);
        const bool isKilled = signal == SIGKILL || signal == SIGSTOP;
        EXPECT_EQ(run.sampler.waitForEnd(), isKilled ? killedBy(SIGKILL) : exited(1));
        EXPECT_EQ(run.sampler.standardError().ends_with("spindump: ended by a signal\n"), !isKilled);
        EXPECT_TRUE(target.isRunning());
        for (const auto &thread : fs::directory_iterator("/proc/" + std::to_string(target.id()) + "/task")) {
            const pid_t id = std::atoi(thread.path().filename().c_str());
            EXPECT_TRUE(!isTraced(id) && hasState(id, "RS")) << statusOf(id, "State");
        }
        EXPECT_TRUE(fs::is_empty(run.folder.path()));
    }
}

TEST(LettingGo, LetsATargetBeStoppedAndContinuedBeforeAndMeanwhile) {
    const SampledProgram target("threads");
    target.send(SIGSTOP);
    ASSERT_TRUE(hasState(target.id(), "T"));
    const std::string report = reportOf(target);
    EXPECT_TRUE(hasState(target.id(), "T"));
    EXPECT_THAT(threadPart(report, mainThread), HasSubstr("\"  stopped"));
    EXPECT_GT(samplesOf(threadPart(report, "busy"), "sample::busy()"), 0) << report;
    LongSampling run(target.id());
    for (const int signal : {SIGCONT, SIGSTOP, SIGCONT, SIGSTOP}) {
        target.send(signal);
        EXPECT_TRUE(waitUntil([&] { return usesProcessor(target.id()) == (signal == SIGCONT); }));
    }
    run.sampler.send(SIGTERM);
    run.sampler.endsWith(EXIT_FAILURE);
    EXPECT_TRUE(hasState(target.id(), "T"));
    EXPECT_FALSE(isTraced(target.id()));
}

TEST(LettingGo, PassesSignalsAndDeathOn) {
    SampledProgram target("signalStorm");
    reportOf(target);
    EXPECT_TRUE(usesProcessor(target.id()));
    EXPECT_EQ(target.standardOutput(), "ready\n");
    LongSampling run(target.id());
    target.send(SIGTERM);
    EXPECT_EQ(target.waitForEnd(), killedBy(SIGTERM));
    run.sampler.endsWith(EXIT_SUCCESS);
    EXPECT_TRUE(test_support::readFile(run.report).contains("the process was ended by signal 15"));
}

TEST(LettingGo, EnduresATargetThatMakesThreadsAllTheTime) {
    SampledProgram target("threadLoop");
    int samples = 0;
    // Most stops are where a thread has just been made, which hides its callers.
    for (int milliseconds = 1000; samples == 0 && milliseconds <= 16'000; milliseconds *= 2)
        samples = samplesOf(reportOf(target, {.milliseconds = milliseconds}), "sample::threadLoop()");
    EXPECT_GT(samples, 0);
    EXPECT_TRUE(target.isRunning());
}

// Takes its time with every stop.
struct SlowTracing : spindump::Tracer::Listener {
    SlowTracing(const SampledProgram &target, std::chrono::milliseconds timeOfAStop)
        : time(timeOfAStop)
        , threads(spindump::openIn(AT_FDCWD, "/proc/" + std::to_string(target.id()) + "/task",
                                   O_RDONLY | O_DIRECTORY))
        , tracer(target.id(), threads.get(), 60s) {
        tracer.attach();
    }
    ~SlowTracing() override {
        tracer.letGo(*this);
        EXPECT_TRUE(tracer.threads().empty());
    }
    void wait(std::chrono::milliseconds limit) { tracer.wait(spindump::Tracer::Clock::now() + limit, *this); }
    void threadAppeared(pid_t) override {}
    void threadEnded(pid_t) override {}
    void threadStopped(pid_t) override {
        std::this_thread::sleep_for(time);
        ++stops;
    }

    std::chrono::milliseconds time;
    platform::FileDescriptor threads;
    spindump::Tracer tracer;
    int stops = 0;
};

// So slow that the first thread of a target has stopped again before the last one goes on.
TEST(Tracer, DoesNotFollowEventsWithoutEnd) {
    const SampledProgram target("signalStorm");
    SlowTracing tracing(target, 2ms);
    ASSERT_TRUE(waitUntil([&] {
        tracing.wait(0ms);
        return tracing.stops > 0;
    }));
    EXPECT_LT(tracing.stops, 500);
}

// One signal says that several have stopped, and there is not time for all of them at once.
TEST(Tracer, LeavesNoThreadStoppedUntilAnotherStops) {
    const SampledProgram target("threads");
    SlowTracing tracing(target, 10ms);
    const auto held = tracing.tracer.threads();
    for (const auto &[thread, isAsked] : held)
        tracing.tracer.interrupt(thread);
    for (const auto &[thread, isAsked] : held)
        ASSERT_TRUE(hasState(thread, "t"));
    const auto begin = spindump::Tracer::Clock::now();
    while (tracing.stops < static_cast<int>(held.size()))
        tracing.wait(5s);
    EXPECT_LT(spindump::Tracer::Clock::now() - begin, 4s);
}

} // namespace
