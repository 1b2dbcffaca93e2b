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

Sampled runShipped(const std::vector<std::string> &arguments, std::optional<uid_t> user = std::nullopt) {
    ProgramRun run({.program = SPINDUMP_SHIPPED, .arguments = arguments, .user = user});
    Sampled result;
    result.end = run.waitForEnd();
    result.errors = run.standardError();
    return result;
}

TEST(Refusals, WrongCommandLines) {
    std::vector<std::vector<std::string>> wrong{{"1"},
                                                {"1", "-file"},
                                                {"1", "/r"},
                                                {"1", "-file", "/r", "10"},
                                                {"1", "-FILE", "/r"},
                                                {"-file", "/r", "1"}};
    for (const char *id : {"", "0", "-1", "+1", " 1", "1 ", "01", "0x10", "1.5", "2147483648",
                           "18446744073709551617", "self", "1/../2"})
        wrong.push_back({id, "-file", "/r"});
    for (const char *path : {"", "/tmp/", "/tmp/.", "/tmp/.."})
        wrong.push_back({"1", "-file", path});
    for (const auto &words : wrong) {
        const auto run = runShipped(words);
        EXPECT_EQ(run.end, exited(2)) << testing::PrintToString(words);
        EXPECT_THAT(run.errors, testing::MatchesRegex("spindump: .*usage: spindump PID -file PATH\n"));
    }
}

TEST(Refusals, SayWhatIsWrong) {
    const pid_t ended = ::fork();
    if (ended == 0)
        ::_exit(0);
    ASSERT_TRUE(test_support::waitUntil([&] { return statusOf(ended, "State").starts_with("Z"); }));
    const ScratchFolder folder;
    const std::string report = folder.path() / "report.txt";
    const std::string zombie = std::to_string(ended);
    const struct {
        std::vector<std::string> words;
        int status;
        std::string errors;
    } cases[] = {
        {{}, 2, "usage: spindump PID -file PATH"},
        {{"1\033[2J", "-file", report},
         2,
         "\"1\\x1b[2J\" is not a process id; usage: spindump PID -file PATH"},
        {{"1", "-file", "/"}, 2, "\"/\" does not name a file; usage: spindump PID -file PATH"},
        {{"2147483647", "-file", report}, 1, "there is no process 2147483647"},
        {{zombie, "-file", report}, 1, "process " + zombie + " has ended"},
    };
    for (const auto &[words, status, errors] : cases) {
        const auto run = runShipped(words);
        EXPECT_EQ(run.end, exited(status)) << testing::PrintToString(words);
        EXPECT_EQ(run.errors, "spindump: " + errors + '\n');
    }
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

TEST(Refusals, Places) {
    SampledProgram target("sleep");
    const ScratchFolder folder;
    const auto in = [&](const char *name) { return folder.path().native() + '/' + name; };
    test_support::writeFile(in("file"), "");
    std::filesystem::create_symlink("/etc/passwd", in("link"));
    std::filesystem::create_directory(in("folder"));
    std::filesystem::create_directory_symlink("circle", in("circle"));
    const std::pair<std::string, std::string> cases[] = {
        {"link", "link: what stands there is no plain file"},
        {"folder", "folder: what stands there is no plain file"},
        {"none/report", in("none/: No such file or directory")},
        {"file/report", in("file/: Not a directory")},
        {"circle/report", in("circle/: Too many levels of symbolic links")},
    };
    for (const auto &[name, errors] : cases) {
        const auto run = sampleInto(folder.path() / name, target.id());
        EXPECT_EQ(run.end, exited(1));
        EXPECT_EQ(run.errors, "spindump: " + errors + '\n');
    }
    EXPECT_EQ(statusOf(target.id(), "TracerPid"), "0");
}

TEST(Refusals, NothingOfAReplacedFileIsKept) {
    SampledProgram target("sleep");
    const ScratchFolder folder;
    const auto place = folder.path() / "report.txt";
    test_support::writeFile(place, "before");
    std::filesystem::permissions(place, std::filesystem::perms::all);
    std::filesystem::create_hard_link(place, folder.path() / "other");
    EXPECT_EQ(sampleInto(place, target.id(), {.milliseconds = 100}).end, exited(0));
    EXPECT_TRUE(test_support::readFile(place).startsWith("Process sample"));
    using std::filesystem::perms;
    EXPECT_EQ(std::filesystem::status(place).permissions(), perms::owner_read | perms::owner_write);
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
