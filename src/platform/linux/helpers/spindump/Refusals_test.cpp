// What the sampler refuses, how it says so, and that no report is left then.
#include "test_target/SampledProgram.h"

#include "test_support/Isolation.h"

namespace {

using namespace spindump_test;

// Runs the shipped program, and expects it to end with this status and message.
void expectRefusal(const std::vector<std::string> &words, int status, const std::string &message) {
    ProgramRun run({.program = SPINDUMP_SHIPPED, .arguments = words});
    EXPECT_EQ(run.waitForEnd(), exited(status)) << testing::PrintToString(words);
    EXPECT_EQ(run.standardError(), "spindump: " + message + '\n');
}

TEST(Refusals, WrongCommandLines) {
    const std::string usage = "usage: spindump PID -file PATH";
    for (const std::vector<std::string> &words : std::initializer_list<std::vector<std::string>>{
             {}, {"1", "-file"}, {"1", "-file", "/r", "10"}, {"1", "-FILE", "/r"}, {"-file", "/r", "1"}})
        expectRefusal(words, 2, usage);
    for (const std::string id :
         {"", "0", "-1", "+1", " 1", "1 ", "01", "1.5", "2147483648", "self", "1/../2"})
        expectRefusal({id, "-file", "/r"}, 2, '"' + id + "\" is not a process id; " + usage);
    expectRefusal({"1\033[2J", "-file", "/r"}, 2, "\"1\\u{1B}[2J\" is not a process id; " + usage);
    for (const std::string path : {"", "/", "/tmp/", "/tmp/.", "/tmp/.."})
        expectRefusal({"1", "-file", path}, 2, '"' + path + "\" does not name a file; " + usage);
}

TEST(Refusals, WhatIsNoRunningProcessOrIsTracedAlready) {
    const SampledProgram target("threads");
    const LongSampling first(target.id());
    const std::string report = first.folder.path() / "second.txt";
    const auto expect = [&](pid_t process, const std::string &message) {
        expectRefusal({std::to_string(process), "-file", report}, 1, message);
    };
    expect(target.id(),
           "process " + std::to_string(target.id()) + " cannot be traced: Operation not permitted");
    expect(2'147'483'647, "there is no process 2147483647");
    const pid_t ended = test_support::startInChild([] { return 0; });
    ASSERT_TRUE(waitUntil([&] { return statusOf(ended, "State").starts_with("Z"); }));
    expect(ended, "process " + std::to_string(ended) + " has ended");
    for (const auto &entry : fs::directory_iterator("/proc/" + std::to_string(target.id()) + "/task")) {
        const pid_t thread = std::atoi(entry.path().filename().c_str());
        if (thread != target.id())
            expect(thread, std::to_string(thread) + " is not the id of another process");
    }
    EXPECT_TRUE(fs::is_empty(first.folder.path()));
}

TEST(Refusals, PlacesThatHoldNoReport) {
    const SampledProgram target("sleep");
    const ScratchFolder folder;
    const auto in = [&](const char *name) { return folder.path().native() + '/' + name; };
    fs::create_symlink("/etc/passwd", in("link"));
    fs::create_directory(in("folder"));
    fs::create_directory_symlink("circle", in("circle"));
    const std::pair<const char *, std::string> cases[] = {
        {"link", "link: what stands there is no plain file"},
        {"folder", "folder: what stands there is no plain file"},
        {"none/report", in("none/: No such file or directory")},
        {"circle/report", in("circle/: Too many levels of symbolic links")},
    };
    for (const auto &[name, message] : cases)
        expectRefusal({std::to_string(target.id()), "-file", in(name)}, 1, message);
    EXPECT_FALSE(isTraced(target.id()));
}

TEST(Refusals, LeaveTheReportAsItWasWhichANewOneReplacesWhole) {
    ASSERT_TRUE(test_support::hasOwnNamespaces()) << "this test mounts a small file system";
    const SampledProgram target("sleep");
    const ScratchFolder folder;
    const auto disk = test_support::Mount::memory(folder.path(), 64 << 10);
    const auto in = [&](const char *name) { return folder.path() / name; };
    test_support::writeFile(in("report.txt"), "before");
    fs::permissions(in("report.txt"), fs::perms::all);
    fs::create_hard_link(in("report.txt"), in("other"));
    test_support::writeFile(in("filling"), QByteArray(60 << 10, 'x'));
    const auto refused = [&](const SamplerOptions &options) {
        return Sampler(target.id(), in("report.txt"), options).endsWith(EXIT_FAILURE);
    };
    EXPECT_THAT(refused({.milliseconds = 100}),
                testing::EndsWith("spindump: report.txt: No space left on device\n"));
    EXPECT_THAT(refused({.milliseconds = 100, .readingSeconds = 0}),
                testing::EndsWith("spindump: reading the stacks took too long\n"));
    EXPECT_EQ(test_support::readFile(in("report.txt")), "before");
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), {}), 3);
    fs::remove(in("filling"));
    Sampler(target.id(), in("report.txt"), {.milliseconds = 100}).endsWith(EXIT_SUCCESS);
    EXPECT_TRUE(test_support::readFile(in("report.txt")).startsWith("Process sample"));
    EXPECT_EQ(fs::status(in("report.txt")).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(test_support::readFile(in("other")), "before");
}

} // namespace
