// Whole runs of the sampler on programs made for it: what the report says.
#include "test_target/SampledProgram.h"

#include "test_support/Isolation.h"
#include "test_support/TestMachine.h"

#include <fstream>
#include <gmock/gmock.h>
#include <sys/stat.h>

namespace {

using namespace spindump_test;
using test_support::exited;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::MatchesRegex;

std::string outputOf(const std::string &command) {
    std::string text;
    FILE *output = ::popen(command.c_str(), "r");
    std::array<char, 4096> part{};
    for (std::size_t count = 0; (count = std::fread(part.data(), 1, part.size(), output)) > 0;)
        text.append(part.data(), count);
    ::pclose(output);
    return text;
}

int stopsIn(const std::string &report) {
    const std::size_t found = report.find(" ms in ");
    return found == std::string::npos ? 0 : std::atoi(report.c_str() + found + 7);
}

TEST(Sampling, FindsTheHotFunctionWithNameLineAndShare) {
    constexpr int enough = 120;
    SampledProgram target("threads");
    Sampled sampled;
    // A crowded machine allows fewer stops in a time, and a stop is then more than one sample.
    for (int milliseconds = 1500; stopsIn(sampled.report) < enough && milliseconds <= 24'000;
         milliseconds *= 2) {
        sampled = sample(target.id(), {.milliseconds = milliseconds});
        ASSERT_EQ(sampled.end, exited(0)) << sampled.errors;
    }
    ASSERT_GE(stopsIn(sampled.report), enough) << sampled.report;
    const std::string busy = threadPart(sampled.report, "busy");
    const double all = samplesOf(busy, "sample::busy()");
    const double hot = samplesOf(busy, "sample::Crunch<unsigned long>::hot(unsigned long)");
    EXPECT_NEAR(hot / all, 0.75, 0.15) << busy;
    // Heaviest first, with its library and its line.
    EXPECT_LT(busy.find("::hot("), busy.find("::cold(")) << busy;
    const std::string line =
        outputOf("grep -n '// HOT' '" SPINDUMP_TARGET_SOURCE "' | cut -d: -f1 | tr -d '\\n'");
    EXPECT_THAT(lineWith(busy, "::hot("), HasSubstr("(spindump_target)  TestTarget.cpp:" + line)) << busy;
    EXPECT_GT(samplesOf(busy, "sample::spin(unsigned long)"), 0.5 * hot);
}

TEST(Sampling, ShowsWhereThreadsWait) {
    SampledProgram target("threads");
    const auto sampled = sample(target.id());
    ASSERT_EQ(sampled.end, exited(0)) << sampled.errors;
    const std::string sleeper = threadPart(sampled.report, "sleeper");
    EXPECT_THAT(sleeper, HasSubstr("\"sleeper\"  sleeping, 0.0 % CPU")) << sleeper;
    EXPECT_GT(samplesOf(sleeper, "sample::sleepForever()"), 0) << sleeper;
    const std::string blocked = threadPart(sampled.report, "blocked");
    EXPECT_GT(samplesOf(blocked, "sample::waitForMutex()"), 0) << blocked;
    EXPECT_THAT(blocked, HasSubstr("std::mutex::lock()")) << blocked;
    EXPECT_THAT(blocked, HasSubstr("waits in: futex")) << blocked;
}

// A stop may end a wait early in some system calls; who waits is left in peace.
TEST(Sampling, StopsAWaitingThreadOnlyAFewTimes) {
    SampledProgram target("sleep");
    const auto sampled = sample(target.id(), {.milliseconds = 1000});
    ASSERT_EQ(sampled.end, exited(0)) << sampled.errors;
    const int samples = samplesOf(sampled.report, "sample::sleepForever()");
    EXPECT_GT(samples, 8) << sampled.report;
    EXPECT_LE(stopsIn(sampled.report), 3) << sampled.report;
}

TEST(Sampling, ReadsDeepRecursion) {
    SampledProgram target("deep");
    const auto sampled = sample(target.id());
    ASSERT_EQ(sampled.end, exited(0)) << sampled.errors;
    const std::string thread = threadPart(sampled.report, "spindump_target");
    EXPECT_THAT(thread, HasSubstr("sample::descend(unsigned long)")) << thread.substr(0, 2000);
    EXPECT_THAT(thread, HasSubstr("[calls itself, up to 10001 deep]")) << thread.substr(0, 2000);
    EXPECT_GT(samplesOf(thread, "  main  "), 0) << thread.substr(0, 2000);
    EXPECT_GT(samplesOf(thread, "sample::sleepForever()"), 0) << thread.substr(0, 2000);
}

TEST(Sampling, SaysWhenCallsAreNestedTooDeep) {
    SampledProgram target("deep");
    const auto sampled = sample(target.id(), {.frames = 100});
    ASSERT_EQ(sampled.end, exited(0)) << sampled.errors;
    const std::string thread = threadPart(sampled.report, "spindump_target");
    EXPECT_THAT(thread, HasSubstr("samples the calls were nested too deep; the outermost are not shown."));
    EXPECT_THAT(thread, Not(HasSubstr("  main  ")));
}

TEST(Sampling, ReadsALargeStack) {
    SampledProgram target("bigStack");
    const auto sampled = sample(target.id());
    ASSERT_EQ(sampled.end, exited(0)) << sampled.errors;
    const std::string thread = threadPart(sampled.report, "spindump_target");
    EXPECT_GT(samplesOf(thread, "sample::bigStack()"), 0) << thread;
    EXPECT_GT(samplesOf(thread, "  main  "), 0) << thread;
}

TEST(Sampling, ReadsAStrippedProgram) {
    SampledProgram target("threads", {.program = SPINDUMP_STRIPPED});
    const auto sampled = sample(target.id());
    ASSERT_EQ(sampled.end, exited(0)) << sampled.errors;
    const std::string busy = threadPart(sampled.report, "busy");
    EXPECT_THAT(busy, Not(HasSubstr("sample::")));
    EXPECT_THAT(busy, HasSubstr("(spindump_stripped + 0x")) << busy;
    EXPECT_THAT(busy, HasSubstr("(libc.so.6)")) << busy;
}

TEST(Sampling, NamesTheBuildIdentifiers) {
    SampledProgram target("sleep");
    const auto sampled = sample(target.id());
    for (const std::string file : {SPINDUMP_TARGET, "/lib/x86_64-linux-gnu/libc.so.6"}) {
        std::string identifier =
            outputOf("readelf -n '" + file + "' 2>/dev/null | sed -n 's/.*Build ID: //p'");
        ASSERT_GT(identifier.size(), 20u) << file;
        identifier.pop_back();
        const auto name = std::filesystem::path(file).filename().native();
        EXPECT_THAT(lineWith(sampled.report, identifier),
                    MatchesRegex("0x[0-9a-f]{12} - 0x[0-9a-f]{12}  " + identifier + "  /.*/" + name));
    }
}

TEST(Sampling, TellsWhoWhereAndSinceWhen) {
    const test_support::ScratchFolder folder;
    const auto program = test_support::makeBundle(folder.path() / "Lumadoc.app", "com.example.lumadoc");
    std::filesystem::remove(program);
    std::filesystem::copy_file(SPINDUMP_TARGET, program);
    SampledProgram target("sleep", {.program = program});
    const auto sampled = sample(target.id());
    ASSERT_EQ(sampled.end, exited(0)) << sampled.errors;
    const std::string &report = sampled.report;
    EXPECT_EQ(lineWith(report, "Process: "),
              "Process:          Program [" + std::to_string(target.id()) + "]");
    EXPECT_EQ(lineWith(report, "Path: "), "Path:             " + program.native());
    EXPECT_EQ(lineWith(report, "Identifier: "), "Identifier:       com.example.lumadoc");
    EXPECT_EQ(lineWith(report, "Command line: "), "Command line:     " + program.native() + " sleep");
    EXPECT_THAT(lineWith(report, "Parent process: "),
                HasSubstr(std::to_string(::getpid()) + " (spindump_test"));
    EXPECT_THAT(lineWith(report, "Memory: "), MatchesRegex("Memory: +[0-9.]+ MiB resident .*"));
    EXPECT_THAT(lineWith(report, "Open files: "), MatchesRegex("Open files: +[0-9]+"));
    EXPECT_THAT(lineWith(report, "Threads: "), MatchesRegex("Threads: +1"));
    EXPECT_THAT(lineWith(report, "Started: "),
                MatchesRegex("Started: +20[0-9-]+ [0-9:]+ [+-][0-9]{4}, [0-9]+ s before"));
    EXPECT_THAT(lineWith(report, "Samples: "), MatchesRegex("Samples: +[0-9]+, one every [0-9.]+ ms"));
}

TEST(Sampling, EscapesNamesAndCommandLine) {
    SampledProgram target("oddName", {.arguments = {"a\nThread 1  \"fake\"", "\033[2J\xff"}});
    const auto sampled = sample(target.id());
    ASSERT_EQ(sampled.end, exited(0)) << sampled.errors;
    EXPECT_THAT(lineWith(sampled.report, "Command line: "),
                testing::EndsWith("oddName \"a\\x0aThread 1  \"fake\"\" \\x1b[2J\\xff"));
    EXPECT_FALSE(threadPart(sampled.report, "evil\\x0a\\x1b[31mx").empty()) << sampled.report;
    EXPECT_EQ(sampled.report.find('\033'), std::string::npos);
}

TEST(Sampling, LeavesTheEnvironmentOut) {
    SampledProgram target("overwriteArguments");
    const std::string own = SPINDUMP_TARGET " overwriteArguments ";
    const std::string shown = shownCommandLine(target.id());
    ASSERT_TRUE(shown.starts_with(own) && shown.find('=') != std::string::npos) << shown;
    const auto sampled = sample(target.id());
    ASSERT_EQ(sampled.end, exited(0)) << sampled.errors;
    EXPECT_EQ(lineWith(sampled.report, "Command line: "), "Command line:     \"" + own + '"');
}

TEST(Sampling, LeavesThreadsBeyondTheLimitAlone) {
    SampledProgram target("manyThreads");
    const auto sampled = sample(target.id(), {.threads = 10});
    ASSERT_EQ(sampled.end, exited(0)) << sampled.errors;
    EXPECT_EQ(lineWith(sampled.report, "Note: "), "Note:             51 more threads were not sampled");
}

TEST(Sampling, SaysHowATargetEnds) {
    for (const auto &[work, status] : {std::pair("cloneAndEnd", 8), std::pair("endSoon", 7)}) {
        SampledProgram target(work);
        const auto sampled = sample(target.id(), {.milliseconds = 20'000});
        ASSERT_EQ(sampled.end, exited(0)) << sampled.errors;
        EXPECT_THAT(lineWith(sampled.report, "Duration: "),
                    HasSubstr("the process ended with status " + std::to_string(status)));
        EXPECT_GT(samplesOf(sampled.report, "  main  "), 0) << sampled.report;
        EXPECT_EQ(target.run().waitForEnd(), exited(status));
    }
}

TEST(Sampling, EndsWhenAnotherProgramBegins) {
    SampledProgram target("execSoon");
    const auto sampled = sample(target.id(), {.milliseconds = 20'000});
    ASSERT_EQ(sampled.end, exited(0)) << sampled.errors;
    EXPECT_THAT(lineWith(sampled.report, "Duration: "),
                HasSubstr("the process began to run another program"));
    EXPECT_TRUE(target.run().isRunning());
    EXPECT_EQ(statusOf(target.id(), "TracerPid"), "0");
}

TEST(Sampling, ReadsATargetWhoseFileIsGone) {
    const test_support::ScratchFolder folder;
    std::filesystem::copy_file(SPINDUMP_TARGET, folder.path() / "program");
    SampledProgram target("sleep", {.program = folder.path() / "program"});
    std::filesystem::remove(folder.path() / "program");
    // A pipe in the file's place must not be waited for.
    ASSERT_EQ(::mkfifo((folder.path() / "program (deleted)").c_str(), 0600), 0);
    const auto sampled = sample(target.id());
    ASSERT_EQ(sampled.end, exited(0)) << sampled.errors;
    EXPECT_THAT(lineWith(sampled.report.substr(sampled.report.find("\nLibraries: ")), "/program (deleted)"),
                MatchesRegex("0x[0-9a-f]+ - 0x[0-9a-f]+  [0-9a-f]{40}  /.*/program \\(deleted\\)"));
}

// The target with noise of the same size in the place of one of its sections.
void damage(const std::filesystem::path &program, const std::string &section, std::uint32_t seed) {
    const std::filesystem::path part = program.native() + ".part";
    outputOf("objcopy --dump-section " + section + "='" + part.native() + "' '" + SPINDUMP_TARGET + "' '" +
             program.native() + "' 2>&1");
    QByteArray bytes = test_support::readFile(part);
    ASSERT_FALSE(bytes.isEmpty()) << section;
    for (char &byte : bytes) {
        seed = seed * 1664525 + 1013904223;
        byte = static_cast<char>(seed >> 24);
    }
    test_support::writeFile(part, bytes);
    ASSERT_EQ(outputOf("objcopy --update-section " + section + "='" + part.native() + "' '" +
                       program.native() + "' 2>&1"),
              "");
}

class DamagedProgram : public testing::TestWithParam<const char *> {};

TEST_P(DamagedProgram, IsSampled) {
    for (const std::uint32_t seed : {1u, 2u, 3u}) {
        const test_support::ScratchFolder folder;
        damage(folder.path() / "program", GetParam(), seed);
        SampledProgram target("sleep", {.program = folder.path() / "program"});
        const auto sampled = sample(target.id(), {.milliseconds = 100});
        ASSERT_EQ(sampled.end, exited(0)) << sampled.errors;
        EXPECT_THAT(sampled.report, HasSubstr("\nLibraries: "));
        EXPECT_EQ(sampled.report.find('\033'), std::string::npos);
        EXPECT_TRUE(target.run().isRunning());
    }
}

INSTANTIATE_TEST_SUITE_P(Sampling, DamagedProgram,
                         testing::Values(".eh_frame", ".eh_frame_hdr", ".debug_info", ".debug_abbrev",
                                         ".debug_line", ".debug_aranges", ".debug_str"));

TEST(Sampling, GivesUpWhenFindingNamesTakesTooLong) {
    SampledProgram target("sleep");
    const auto sampled = sample(target.id(), {.milliseconds = 100, .readingSeconds = 0});
    EXPECT_EQ(sampled.end, exited(1));
    EXPECT_THAT(sampled.errors, testing::EndsWith("spindump: reading the stacks took too long\n"));
    EXPECT_EQ(sampled.report, "");
}

} // namespace
