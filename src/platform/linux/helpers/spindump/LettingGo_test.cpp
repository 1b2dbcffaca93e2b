// What the sampler does to its target: nothing that lasts.
#include "Target.h"
#include "test_target/SampledProgram.h"

#include <fcntl.h>
#include <gmock/gmock.h>

namespace {

using namespace spindump_test;
using test_support::exited;
using test_support::killedBy;
using test_support::ProgramRun;
using test_support::waitUntil;
using testing::HasSubstr;

std::string stateOf(pid_t process) {
    return statusOf(process, "State").substr(0, 1);
}

// Of all its threads.
unsigned long processorTicks(pid_t process) {
    const spindump::ProcStat stat(
        spindump::contentIn(AT_FDCWD, "/proc/" + std::to_string(process) + "/stat"));
    return stat.number(14) + stat.number(15);
}

bool isTraced(pid_t process) {
    return statusOf(process, "TracerPid") != "0";
}

TEST(LettingGo, LetsTheTargetGoWhenTheSamplerIsKilled) {
    SampledProgram target("busyThreads");
    const test_support::ScratchFolder folder;
    const auto report = folder.path() / "report.txt";
    ProgramRun sampler(quickSampler(target.id(), report, {.milliseconds = 60'000}));
    ASSERT_TRUE(waitUntil([&] { return isTraced(target.id()); }));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    sampler.send(SIGKILL);
    ASSERT_EQ(sampler.waitForEnd(), killedBy(SIGKILL));
    EXPECT_TRUE(target.run().isRunning());
    for (const auto &thread :
         std::filesystem::directory_iterator("/proc/" + std::to_string(target.id()) + "/task")) {
        const pid_t id = std::atoi(thread.path().filename().c_str());
        EXPECT_EQ(statusOf(id, "TracerPid"), "0");
        EXPECT_TRUE(waitUntil([&] { return stateOf(id) == "R" || stateOf(id) == "S"; })) << stateOf(id);
    }
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

// As when the target's memory comes from something that hangs.
TEST(LettingGo, LetsTheTargetGoWhenTheSamplerHangs) {
    SampledProgram target("busyThreads");
    const test_support::ScratchFolder folder;
    ProgramRun sampler(
        quickSampler(target.id(), folder.path() / "report.txt", {.milliseconds = 60'000, .stallSeconds = 3}));
    ASSERT_TRUE(waitUntil([&] { return isTraced(target.id()); }));
    sampler.send(SIGSTOP);
    EXPECT_EQ(sampler.waitForEnd(), killedBy(SIGKILL));
    EXPECT_TRUE(target.run().isRunning());
    EXPECT_FALSE(isTraced(target.id()));
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST(LettingGo, LeavesNoReportWhenAskedToEnd) {
    SampledProgram target("busyThreads");
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        const test_support::ScratchFolder folder;
        ProgramRun sampler(quickSampler(target.id(), folder.path() / "report.txt", {.milliseconds = 60'000}));
        ASSERT_TRUE(waitUntil([&] { return sampler.standardError().starts_with("sampling"); }));
        sampler.send(signal);
        ASSERT_EQ(sampler.waitForEnd(), exited(1));
        EXPECT_THAT(sampler.standardError(), HasSubstr("spindump: ended by a signal\n"));
        EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
        EXPECT_EQ(statusOf(target.id(), "TracerPid"), "0");
    }
}

TEST(LettingGo, LeavesAStoppedTargetStopped) {
    SampledProgram target("busyThreads");
    target.run().send(SIGSTOP);
    ASSERT_TRUE(waitUntil([&] { return stateOf(target.id()) == "T"; }));
    const auto sampled = sample(target.id());
    ASSERT_EQ(sampled.end, exited(0)) << sampled.errors;
    EXPECT_TRUE(waitUntil([&] { return stateOf(target.id()) == "T"; })) << stateOf(target.id());
    EXPECT_FALSE(isTraced(target.id()));
    EXPECT_THAT(lineWith(sampled.report, "\"spindump_target\""), HasSubstr("stopped"));
    EXPECT_GT(samplesOf(threadPart(sampled.report, "busy"), "sample::busy()"), 0) << sampled.report;
    target.run().send(SIGCONT);
    EXPECT_TRUE(waitUntil([&] { return stateOf(target.id()) == "S"; }));
}

TEST(LettingGo, LetsATargetBeStoppedAndContinuedMeanwhile) {
    SampledProgram target("busyThreads");
    const test_support::ScratchFolder folder;
    ProgramRun sampler(quickSampler(target.id(), folder.path() / "report.txt", {.milliseconds = 60'000}));
    ASSERT_TRUE(waitUntil([&] { return sampler.standardError().starts_with("sampling"); }));
    const auto usesProcessor = [&] {
        const auto time = [&] { return processorTicks(target.id()); };
        const unsigned long before = time();
        return waitUntil([&] { return time() > before + 2; }, std::chrono::milliseconds(500));
    };
    EXPECT_TRUE(waitUntil(usesProcessor));
    target.run().send(SIGSTOP);
    EXPECT_TRUE(waitUntil([&] { return !usesProcessor(); }));
    target.run().send(SIGCONT);
    EXPECT_TRUE(waitUntil(usesProcessor));
    target.run().send(SIGSTOP);
    EXPECT_TRUE(waitUntil([&] { return !usesProcessor(); }));
    sampler.send(SIGTERM);
    ASSERT_EQ(sampler.waitForEnd(), exited(1)) << sampler.standardError();
    EXPECT_TRUE(waitUntil([&] { return stateOf(target.id()) == "T"; })) << stateOf(target.id());
    EXPECT_FALSE(isTraced(target.id()));
}

TEST(LettingGo, PassesSignalsOn) {
    SampledProgram target("signals");
    const auto sampled = sample(target.id(), {.milliseconds = 1200});
    ASSERT_EQ(sampled.end, exited(0)) << sampled.errors;
    EXPECT_TRUE(waitUntil([&] { return target.run().standardOutput().find("of") != std::string::npos; }));
    EXPECT_EQ(target.run().standardOutput(), "ready\n2000 of 2000\n");
}

TEST(LettingGo, PassesDeathOn) {
    SampledProgram target("busyThreads");
    const test_support::ScratchFolder folder;
    const auto report = folder.path() / "report.txt";
    ProgramRun sampler(quickSampler(target.id(), report, {.milliseconds = 60'000}));
    ASSERT_TRUE(waitUntil([&] { return sampler.standardError().starts_with("sampling"); }));
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    target.run().send(SIGTERM);
    EXPECT_EQ(target.run().waitForEnd(), killedBy(SIGTERM));
    ASSERT_EQ(sampler.waitForEnd(), exited(0)) << sampler.standardError();
    EXPECT_THAT(lineWith(test_support::readFile(report).toStdString(), "Duration: "),
                HasSubstr("the process was ended by signal 15"));
}

TEST(LettingGo, DoesNotHoldProcessesThatTheTargetMakes) {
    SampledProgram target("forkOnce");
    const test_support::ScratchFolder folder;
    ProgramRun sampler(quickSampler(target.id(), folder.path() / "report.txt", {.milliseconds = 60'000}));
    ASSERT_TRUE(waitUntil([&] { return isTraced(target.id()); }));
    ASSERT_TRUE(waitUntil([&] { return target.run().standardOutput().find("child ") != std::string::npos; }));
    const pid_t child = std::atoi(
        target.run().standardOutput().substr(target.run().standardOutput().find("child ") + 6).c_str());
    EXPECT_TRUE(waitUntil([&] { return !isTraced(child) && stateOf(child) == "S"; }));
    EXPECT_TRUE(isTraced(target.id()));
    sampler.send(SIGTERM);
    ASSERT_EQ(sampler.waitForEnd(), exited(1)) << sampler.standardError();
    EXPECT_EQ(stateOf(child), "S");
    ::kill(child, SIGKILL);
}

TEST(LettingGo, EnduresATargetThatMakesProcessesOrThreadsAllTheTime) {
    for (const std::string work : {"forkLoop", "threadLoop"}) {
        SampledProgram target(work);
        const auto sampled = sample(target.id(), {.milliseconds = 1000});
        ASSERT_EQ(sampled.end, exited(0)) << sampled.errors;
        EXPECT_TRUE(target.run().isRunning());
        EXPECT_FALSE(isTraced(target.id()));
        EXPECT_GT(samplesOf(sampled.report, "sample::" + work + "()"), 0) << sampled.report.substr(0, 4000);
    }
}

} // namespace
