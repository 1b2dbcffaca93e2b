// What the shipped program refuses, and how it says so.
#include "test_target/SampledProgram.h"

#include "test_support/Isolation.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

namespace {

using namespace spindump_test;
using test_support::exited;
using test_support::ProgramRun;
using test_support::ScratchFolder;
namespace fs = std::filesystem;

// Runs the shipped program, and expects it to end with this status and message.
void expectRefusal(const std::vector<std::string> &words, int status, const std::string &message,
                   std::optional<uid_t> user = std::nullopt) {
    ProgramRun run({.program = SPINDUMP_SHIPPED, .arguments = words, .user = user});
    EXPECT_EQ(run.waitForEnd(), exited(status)) << testing::PrintToString(words);
    EXPECT_EQ(run.standardError(), "spindump: " + message + '\n');
}

TEST(Refusals, WrongCommandLines) {
    const std::string usage = "usage: spindump PID -file PATH";
    const std::vector<std::vector<std::string>> wrong{{},
                                                      {"1"},
                                                      {"1", "-file"},
                                                      {"1", "/r"},
                                                      {"1", "-file", "/r", "10"},
                                                      {"1", "-FILE", "/r"},
                                                      {"-file", "/r", "1"}};
    for (const auto &words : wrong)
        expectRefusal(words, 2, usage);
    for (const std::string id : {"", "0", "-1", "+1", " 1", "1 ", "01", "0x10", "1.5", "2147483648",
                                 "18446744073709551617", "self", "1/../2"})
        expectRefusal({id, "-file", "/r"}, 2, '"' + id + "\" is not a process id; " + usage);
    expectRefusal({"1\033[2J", "-file", "/r"}, 2, "\"1\\u{1B}[2J\" is not a process id; " + usage);
    for (const std::string path : {"", "/", "/tmp/", "/tmp/.", "/tmp/.."})
        expectRefusal({"1", "-file", path}, 2, '"' + path + "\" does not name a file; " + usage);
}

TEST(Refusals, WhatIsNoRunningProcess) {
    const ScratchFolder folder;
    const std::string report = folder.path() / "report.txt";
    expectRefusal({"2147483647", "-file", report}, 1, "there is no process 2147483647");
    const pid_t ended = ::fork();
    if (ended == 0)
        ::_exit(0);
    ASSERT_TRUE(test_support::waitUntil([&] { return statusOf(ended, "State").starts_with("Z"); }));
    const std::string zombie = std::to_string(ended);
    expectRefusal({zombie, "-file", report}, 1, "process " + zombie + " has ended");
    const SampledProgram target("threads");
    const fs::path threads = "/proc/" + std::to_string(target.id()) + "/task";
    for (const auto &entry : fs::directory_iterator(threads)) {
        const std::string id = entry.path().filename();
        if (id != std::to_string(target.id()))
            expectRefusal({id, "-file", report}, 1, id + " is not the id of another process");
    }
    EXPECT_TRUE(fs::is_empty(folder.path()));
}

TEST(Refusals, AProcessThatIsTracedAlready) {
    const SampledProgram target("sleep");
    LongSampling first(target);
    expectRefusal({std::to_string(target.id()), "-file", first.folder.path() / "second.txt"}, 1,
                  "process " + std::to_string(target.id()) + " cannot be traced: Operation not permitted");
    EXPECT_TRUE(fs::is_empty(first.folder.path()));
}

TEST(Refusals, Places) {
    const SampledProgram target("sleep");
    const ScratchFolder folder;
    const auto in = [&](const char *name) { return folder.path().native() + '/' + name; };
    test_support::writeFile(in("file"), "");
    fs::create_symlink("/etc/passwd", in("link"));
    fs::create_directory(in("folder"));
    fs::create_directory_symlink("circle", in("circle"));
    const std::pair<const char *, std::string> cases[] = {
        {"link", "link: what stands there is no plain file"},
        {"folder", "folder: what stands there is no plain file"},
        {"none/report", in("none/: No such file or directory")},
        {"file/report", in("file/: Not a directory")},
        {"circle/report", in("circle/: Too many levels of symbolic links")},
    };
    for (const auto &[name, message] : cases)
        expectRefusal({std::to_string(target.id()), "-file", in(name)}, 1, message);
    EXPECT_FALSE(isTraced(target.id()));
}

TEST(Refusals, NothingOfAReplacedFileIsKept) {
    SampledProgram target("sleep");
    const ScratchFolder folder;
    const auto place = folder.path() / "report.txt";
    test_support::writeFile(place, "before");
    fs::permissions(place, fs::perms::all);
    fs::create_hard_link(place, folder.path() / "other");
    EXPECT_EQ(sampleInto(place, target.id(), {.milliseconds = 100}).end, exited(0));
    EXPECT_TRUE(test_support::readFile(place).startsWith("Process sample"));
    EXPECT_EQ(fs::status(place).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(test_support::readFile(folder.path() / "other"), "before");
}

TEST(Refusals, AFullDisk) {
    ASSERT_TRUE(test_support::hasOwnNamespaces()) << "this test mounts a small file system";
    SampledProgram target("sleep");
    const ScratchFolder folder;
    const auto disk = test_support::Mount::memory(folder.path(), 16 << 10);
    test_support::writeFile(folder.path() / "filling", QByteArray(16 << 10, 'x'));
    const auto run = sampleInto(folder.path() / "report.txt", target.id());
    EXPECT_EQ(run.end, exited(1));
    EXPECT_THAT(run.errors, testing::EndsWith("spindump: report.txt: No space left on device\n"));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator()), 1);
}

constexpr uid_t stranger = 65'534;

// Not for root either: this program is for one's own processes.
void anotherUsersProcess() {
    const SampledProgram roots("sleep");
    const ScratchFolder folder;
    ASSERT_EQ(::chown(folder.path().c_str(), stranger, stranger), 0);
    ProgramRun theirs({.program = "/bin/sleep", .arguments = {"1000"}, .user = stranger});
    ASSERT_TRUE(test_support::waitUntil([&] { return statusOf(theirs.processId(), "Name") == "sleep"; }));
    for (const auto &[process, user] :
         {std::pair(roots.id(), std::optional(stranger)), {theirs.processId(), std::nullopt}})
        expectRefusal({std::to_string(process), "-file", folder.path() / "report.txt"}, 1,
                      "process " + std::to_string(process) + " belongs to another user", user);
    EXPECT_TRUE(fs::is_empty(folder.path()));
}

[[maybe_unused]] const bool othersTested = test_support::registerTestIf(
    test_support::canRunAs(stranger), "Refusals", "AnotherUsersProcess", anotherUsersProcess);

} // namespace
