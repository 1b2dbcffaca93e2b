// What the shipped program refuses, and how it says so.
#include "test_target/SampledProgram.h"

#include "test_support/ConditionalTest.h"
#include "test_support/Isolation.h"
#include "test_support/Mounts.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

namespace {

using namespace spindump_test;
using test_support::exited;
using test_support::ProgramRun;
using test_support::ScratchFolder;

Sampled runShipped(const std::vector<std::string> &arguments, std::optional<uid_t> user = std::nullopt) {
    ProgramRun run({.program = SPINDUMP_SHIPPED, .arguments = arguments, .user = user});
    Sampled result;
    result.end = run.waitForEnd();
    result.errors = run.standardError();
    return result;
}

TEST(Refusals, WrongCommandLine) {
    const ScratchFolder folder;
    const std::string report = folder.path() / "report.txt";
    for (const std::vector<std::string> &words : std::vector<std::vector<std::string>>{
             {}, {"1"}, {"x", "-file", report}, {"1", "-file", report, "5"}, {"1", "-duration", report}}) {
        const auto run = runShipped(words);
        EXPECT_EQ(run.end, exited(2)) << testing::PrintToString(words);
        EXPECT_THAT(run.errors, testing::MatchesRegex("spindump: .*usage: spindump PID -file PATH\n"));
    }
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST(Refusals, NoSuchProcess) {
    const ScratchFolder folder;
    const auto run = runShipped({"2147483647", "-file", folder.path() / "report.txt"});
    EXPECT_EQ(run.end, exited(1));
    EXPECT_EQ(run.errors, "spindump: there is no process 2147483647\n");
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST(Refusals, AThreadIsNoProcess) {
    SampledProgram target("threads");
    const ScratchFolder folder;
    for (const auto &thread :
         std::filesystem::directory_iterator("/proc/" + std::to_string(target.id()) + "/task")) {
        const std::string id = thread.path().filename();
        if (id == std::to_string(target.id()))
            continue;
        const auto run = runShipped({id, "-file", folder.path() / "report.txt"});
        EXPECT_EQ(run.end, exited(1));
        EXPECT_EQ(run.errors, "spindump: " + id + " is not the id of another process\n");
    }
}

TEST(Refusals, AnEndedProcess) {
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(0);
    ASSERT_TRUE(test_support::waitUntil([&] { return statusOf(child, "State").starts_with("Z"); }));
    const ScratchFolder folder;
    const auto run = runShipped({std::to_string(child), "-file", folder.path() / "report.txt"});
    EXPECT_EQ(run.end, exited(1));
    EXPECT_EQ(run.errors, "spindump: process " + std::to_string(child) + " has ended\n");
}

TEST(Refusals, AProcessThatIsTracedAlready) {
    SampledProgram target("sleep");
    const ScratchFolder folder;
    ProgramRun first(quickSampler(target.id(), folder.path() / "first.txt", {.milliseconds = 60'000}));
    ASSERT_TRUE(test_support::waitUntil([&] { return statusOf(target.id(), "TracerPid") != "0"; }));
    const auto second = sampleInto(folder.path() / "second.txt", target.id());
    EXPECT_EQ(second.end, exited(1));
    EXPECT_EQ(second.errors, "spindump: process " + std::to_string(target.id()) +
                                 " cannot be traced: Operation not permitted\n");
    EXPECT_FALSE(std::filesystem::exists(folder.path() / "second.txt"));
}

TEST(Refusals, PlacesThatAreNoPlainFile) {
    SampledProgram target("sleep");
    const ScratchFolder folder;
    std::filesystem::create_symlink("/etc/passwd", folder.path() / "link");
    std::filesystem::create_directory(folder.path() / "folder");
    for (const std::string name : {"link", "folder"}) {
        const auto run = sampleInto(folder.path() / name, target.id());
        EXPECT_EQ(run.end, exited(1));
        EXPECT_EQ(run.errors, "spindump: " + name + ": what stands there is no plain file\n");
    }
    EXPECT_EQ(statusOf(target.id(), "TracerPid"), "0");
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
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()),
                            std::filesystem::directory_iterator()),
              1);
}

constexpr uid_t stranger = 65'534;

void anotherUsersProcess() {
    SampledProgram target("sleep");
    const ScratchFolder folder;
    ASSERT_EQ(::chown(folder.path().c_str(), stranger, stranger), 0);
    const std::string refusal =
        "spindump: process " + std::to_string(target.id()) + " belongs to another user\n";
    const auto asStranger =
        runShipped({std::to_string(target.id()), "-file", folder.path() / "report.txt"}, stranger);
    EXPECT_EQ(asStranger.end, exited(1));
    EXPECT_EQ(asStranger.errors, refusal);
    // Not for root either: this program is for one's own processes.
    ProgramRun theirs({.program = "/bin/sleep", .arguments = {"1000"}, .user = stranger});
    ASSERT_TRUE(test_support::waitUntil([&] { return statusOf(theirs.processId(), "Name") == "sleep"; }));
    const auto asRoot = sampleInto(folder.path() / "report.txt", theirs.processId());
    EXPECT_EQ(asRoot.end, exited(1));
    EXPECT_EQ(asRoot.errors,
              "spindump: process " + std::to_string(theirs.processId()) + " belongs to another user\n");
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

[[maybe_unused]] const bool othersTested = test_support::registerTestIf(
    test_support::canRunAs(stranger), "Refusals", "AnotherUsersProcess", anotherUsersProcess);

} // namespace
