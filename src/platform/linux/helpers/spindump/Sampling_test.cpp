// Whole runs of the sampler on programs made for it: what the report says.
#include "test_target/SampledProgram.h"

#include "test_support/TestMachine.h"

#include <sys/stat.h>

namespace {

using namespace spindump_test;
using testing::MatchesRegex;

std::string outputOf(const std::string &command) {
    ProgramRun run({.program = "/bin/sh", .arguments = {"-c", command + " 2>&1"}});
    EXPECT_TRUE(run.waitForEnd());
    const std::string text = run.standardOutput();
    return text.substr(0, text.find_last_not_of('\n') + 1);
}

int stopsIn(const std::string &report) {
    const std::size_t found = report.find(" ms in ");
    return found == std::string::npos ? 0 : std::atoi(report.c_str() + found + 7);
}

TEST(Sampling, FindsTheHotFunctionWithNameLineAndShareAndWhereThreadsWait) {
    constexpr int enough = 120;
    const SampledProgram target("threads");
    std::string report;
    // A crowded machine allows fewer stops in a time, and a stop is then more than one sample.
    for (int milliseconds = 1500; stopsIn(report) < enough && milliseconds <= 24'000; milliseconds *= 2)
        report = reportOf(target, {.milliseconds = milliseconds});
    ASSERT_GE(stopsIn(report), enough) << report;
    const std::string busy = threadPart(report, "busy");
    const double all = samplesOf(busy, "sample::busy()");
    const double hot = samplesOf(busy, "sample::Crunch<unsigned long>::hot(unsigned long)");
    EXPECT_NEAR(hot / all, 0.75, 0.15) << busy;
    EXPECT_GT(samplesOf(busy, "sample::spin(unsigned long)"), 0.5 * hot);
    EXPECT_LT(busy.find("::hot("), busy.find("::cold(")) << busy;
    const std::string line = outputOf("grep -n '// HOT' '" SPINDUMP_TARGET_SOURCE "' | cut -d: -f1");
    EXPECT_THAT(lineWith(busy, "::hot("), HasSubstr("(spindump_target)  TestTarget.cpp:" + line)) << busy;

    const std::string sleeper = threadPart(report, "sleeper");
    EXPECT_THAT(sleeper, HasSubstr("\"sleeper\"  sleeping, 0.0 % CPU"));
    EXPECT_GT(samplesOf(sleeper, "sample::sleepForever()"), 0) << sleeper;
    const std::string blocked = threadPart(report, "blocked");
    EXPECT_GT(samplesOf(blocked, "sample::waitForMutex()"), 0) << blocked;
    EXPECT_THAT(blocked, HasSubstr("std::mutex::lock()"));
    EXPECT_THAT(blocked, HasSubstr("waits in: futex"));
}

TEST(Sampling, SaysWhoWhereAndSinceWhenInTextThatChangesNoTerminal) {
    const ScratchFolder folder;
    const auto program = test_support::makeBundle(folder.path() / "Lumadoc.app", "com.example.lumadoc");
    fs::copy_file(SPINDUMP_TARGET, program, fs::copy_options::overwrite_existing);
    const SampledProgram target(
        "sleep", {.moreArguments = {"a\nThread 1  \"fake\"", "\033[2J\xff"}, .program = program});
    const std::string report = reportOf(target, {.milliseconds = 1000});
    EXPECT_EQ(report.find('\033'), std::string::npos);
    const std::pair<std::string, std::string> lines[] = {
        {"Process", R"(evil\\n\\u\{1B\}\[31mx \[)" + std::to_string(target.id()) + "\\]"},
        {"Path", program},
        {"Identifier", "com.example.lumadoc"},
        {"Command line", program.native() + R"( sleep "a\\nThread 1  "fake"" \\u\{1B\}\[2J)" + "\uFFFD"},
        {"Parent process", std::to_string(::getpid()) + " \\(spindump_test.*\\)"},
        {"Memory", "[0-9.]+ MiB resident .*"},
        {"Open files", "[0-9]+"},
        {"Threads", "1"},
        {"Started", "20[0-9-]+ [0-9:]+ [+-][0-9]{4}, [0-9]+ s before"},
        {"Samples", "[0-9]+, one every [0-9.]+ ms"},
    };
    for (const auto &[label, value] : lines)
        EXPECT_THAT(lineWith(report, label + ": "), MatchesRegex(label + ": +" + value));
    for (const auto &[file, mapped] : {std::pair(std::string(SPINDUMP_TARGET), program),
                                       {"/lib/x86_64-linux-gnu/libc.so.6", "/libc.so.6"}}) {
        const std::string identifier = outputOf("readelf -n '" + file + "' | sed -n 's/.*Build ID: //p'");
        ASSERT_GT(identifier.size(), 20u) << file;
        EXPECT_THAT(lineWith(report, identifier),
                    MatchesRegex("0x[0-9a-f]{12} - 0x[0-9a-f]{12}  " + identifier + "  /.*/" +
                                 mapped.filename().native()));
    }
    // A stop may end a wait early in some system calls; who waits is left in peace.
    EXPECT_GT(samplesOf(threadPart(report, mainThread), "::sleepForever()"), 8) << report;
    EXPECT_LE(stopsIn(report), 3) << report;
}

TEST(Sampling, ReadsDeepRecursionUpToALimit) {
    const SampledProgram target("deep");
    std::string report = reportOf(target);
    for (const char *function : {"  main  ", "sample::descend(unsigned long)",
                                 "[calls itself, up to 3001 deep]", "::sleepForever()"})
        EXPECT_GT(samplesOf(report, function), 0) << function << report;
    report = reportOf(target, {.frames = 100});
    EXPECT_GT(samplesOf(report, "  (outer calls are not shown: nested too deep"), 0) << report;
    EXPECT_GT(samplesOf(report, "sample::sleepForever()"), 0) << report;
    EXPECT_EQ(samplesOf(report, "  main  "), 0) << report;
    report = reportOf(target, {.stopMilliseconds = 0});
    EXPECT_GT(samplesOf(report, "  (outer calls are not shown: nested too deep or read too slowly)"), 0)
        << report;
    EXPECT_EQ(samplesOf(report, "  main  "), 0) << report;
}

TEST(Sampling, ReadsAStrippedProgram) {
    const std::string report = reportOf(SampledProgram("threads", {.program = SPINDUMP_STRIPPED}));
    const std::string busy = threadPart(report, "busy");
    EXPECT_THAT(busy, Not(HasSubstr("sample::")));
    EXPECT_THAT(busy, HasSubstr("(spindump_stripped + 0x"));
    // By name only where the debug symbols of the C library are installed.
    EXPECT_THAT(busy, HasSubstr("(libc.so.6"));
}

// The first one has ended for the sampler only when the process that it leaves is not held.
TEST(Sampling, SaysHowATargetEndsOrBecomesAnotherProgram) {
    SampledProgram ending("endSoon");
    std::string report = reportOf(ending, {.milliseconds = 20'000});
    EXPECT_THAT(lineWith(report, "Duration: "), HasSubstr("the process ended with status 7"));
    EXPECT_GT(samplesOf(report, "  main  "), 0) << report;
    EXPECT_EQ(ending.waitForEnd(), exited(7));
    SampledProgram changing("execSoon");
    report = reportOf(changing, {.milliseconds = 20'000});
    EXPECT_THAT(lineWith(report, "Duration: "), HasSubstr("the process began to run another program"));
    EXPECT_TRUE(changing.isRunning());
}

TEST(Sampling, ReadsATargetWhoseFileIsGone) {
    const ScratchFolder folder;
    const fs::path program = folder.path() / "program";
    fs::copy_file(SPINDUMP_TARGET, program);
    const SampledProgram target("sleep", {.program = program});
    fs::remove(program);
    // A pipe in the file's place must not be waited for.
    ASSERT_EQ(::mkfifo((program.native() + " (deleted)").c_str(), 0600), 0);
    const std::string report = reportOf(target);
    EXPECT_THAT(lineWith(report.substr(report.find("\nLibraries: ")), "/program (deleted)"),
                MatchesRegex("0x[0-9a-f]+ - 0x[0-9a-f]+  [0-9a-f]{40}  /.*/program \\(deleted\\)"));
}

// The target with noise of the same size in the place of one of its sections.
void damage(const fs::path &program, const std::string &section, std::uint32_t seed) {
    const std::string part = program.native() + ".part";
    const std::string option = "-section " + section + "='" + part + "' '";
    outputOf("objcopy --dump" + option + SPINDUMP_TARGET + "' '" + program.native() + "'");
    QByteArray bytes = test_support::readFile(part);
    ASSERT_FALSE(bytes.isEmpty()) << section;
    for (char &byte : bytes) {
        seed = seed * 1664525 + 1013904223;
        byte = static_cast<char>(seed >> 24);
    }
    test_support::writeFile(part, bytes);
    ASSERT_EQ(outputOf("objcopy --update" + option + program.native() + "'"), "");
}

class DamagedProgram : public testing::TestWithParam<const char *> {};

TEST_P(DamagedProgram, IsSampled) {
    for (const std::uint32_t seed : {1u, 2u, 3u}) {
        const ScratchFolder folder;
        damage(folder.path() / "program", GetParam(), seed);
        SampledProgram target("sleep", {.program = folder.path() / "program"});
        const std::string report = reportOf(target, {.milliseconds = 100});
        EXPECT_THAT(report, HasSubstr("\nLibraries: "));
        EXPECT_EQ(report.find('\033'), std::string::npos);
        EXPECT_TRUE(target.isRunning());
    }
}

INSTANTIATE_TEST_SUITE_P(Sampling, DamagedProgram,
                         testing::Values(".eh_frame", ".eh_frame_hdr", ".debug_info", ".debug_abbrev",
                                         ".debug_line", ".debug_aranges", ".debug_str"));

} // namespace
