// The sampler as pkexec starts it: by root, for another user. These tests need root.
#include "test_target/SampledProgram.h"

#include "test_support/Isolation.h"

#include <gmock/gmock.h>
#include <grp.h>
#include <linux/capability.h>
#include <sys/stat.h>
#include <sys/xattr.h>

namespace {

using namespace spindump_test;
namespace fs = std::filesystem;
using test_support::exited;
using test_support::ProgramRun;
using test_support::waitUntil;

// The system knows them everywhere: nobody and daemon.
constexpr uid_t user = 65'534;
constexpr uid_t other = 1;

// A folder and a program of that user.
struct UserFolder {
    UserFolder() {
        give(folder.path());
        fs::copy_file(SPINDUMP_TARGET, program);
        fs::permissions(program, fs::perms::owner_all);
        give(program);
    }
    void give(const fs::path &path) const { EXPECT_EQ(::lchown(path.c_str(), user, user), 0); }

    test_support::ScratchFolder folder;
    fs::path program = folder.path() / "program";
    fs::path report = folder.path() / "report.txt";
};

SamplerOptions asked(int milliseconds = 600) {
    return {.milliseconds = milliseconds, .askingUser = std::to_string(user)};
}

struct stat attributesOf(const fs::path &path) {
    struct stat status {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
    return status;
}

void leavesTheReportToTheUser() {
    const UserFolder place;
    SampledProgram target("threads", {.program = place.program, .user = user});
    const auto sampled = sampleInto(place.report, target.id(), asked());
    ASSERT_EQ(sampled.end, exited(0)) << sampled.errors;
    const auto report = attributesOf(place.report);
    EXPECT_EQ(report.st_uid, user);
    EXPECT_EQ(report.st_gid, user);
    EXPECT_EQ(report.st_mode, S_IFREG | S_IRUSR | S_IWUSR);
    EXPECT_GT(samplesOf(threadPart(sampled.report, "busy"), "sample::busy()"), 0) << sampled.report;
    EXPECT_EQ(statusOf(target.id(), "TracerPid"), "0");
}

void readsWhatTheUserMayNot() {
    const UserFolder place;
    SampledProgram target("notDumpable", {.program = place.program, .user = user});
    const auto own = sampleInto(place.report, target.id(), {.user = user});
    EXPECT_EQ(own.end, exited(1));
    EXPECT_EQ(own.errors, "spindump: process " + std::to_string(target.id()) +
                              " cannot be traced: Operation not permitted\n");
    const auto sampled = sampleInto(place.report, target.id(), asked());
    ASSERT_EQ(sampled.end, exited(0)) << sampled.errors;
    EXPECT_GT(samplesOf(sampled.report, "sample::sleepForever()"), 0) << sampled.report;
}

void keepsNoRights() {
    const UserFolder place;
    SampledProgram target("threads", {.program = place.program, .user = user});
    auto options = quickSampler(target.id(), place.report, asked(60'000));
    options.beforeStart = [] {
        constexpr gid_t groups[] = {0, 4};
        ::setgroups(2, groups);
    };
    ProgramRun sampler(options);
    ASSERT_TRUE(waitUntil([&] { return sampler.standardError().starts_with("sampling"); }));
    const pid_t id = sampler.processId();
    for (const char *set : {"CapInh", "CapPrm", "CapEff", "CapAmb"})
        EXPECT_EQ(statusOf(id, set), "0000000000000000") << set;
    EXPECT_EQ(statusOf(id, "NoNewPrivs"), "1");
    EXPECT_EQ(statusOf(id, "Groups"), "");
    EXPECT_EQ(statusOf(id, "Uid"), "65534\t65534\t65534\t65534");
    EXPECT_EQ(statusOf(id, "Gid"), "65534\t65534\t65534\t65534");
    EXPECT_EQ(statusOf(id, "Umask"), "0077");
    sampler.send(SIGTERM);
    EXPECT_EQ(sampler.waitForEnd(), exited(1)) << sampler.standardError();
}

std::string refusalOf(pid_t process, const UserFolder &place) {
    const auto sampled = sampleInto(place.report, process, asked());
    EXPECT_EQ(sampled.end, exited(1));
    EXPECT_FALSE(fs::exists(place.report));
    const std::string named = "spindump: process " + std::to_string(process) + ' ';
    return sampled.errors.starts_with(named) ? sampled.errors.substr(named.size()) : sampled.errors;
}

void refusesOtherUsersTargets() {
    const UserFolder place;
    ProgramRun strangers({.program = "/bin/sleep", .arguments = {"1000"}, .user = other});
    ProgramRun roots({.program = "/bin/sleep", .arguments = {"1000"}});
    for (const ProgramRun *run : {&strangers, &roots}) {
        ASSERT_TRUE(waitUntil([&] { return statusOf(run->processId(), "Name") == "sleep"; }));
        EXPECT_EQ(refusalOf(run->processId(), place), "belongs to another user\n");
    }
}

// Programs that run with more rights than whoever started them.
void refusesTargetsWithFurtherRights() {
    constexpr std::uint32_t bindToLowPorts = 1U << CAP_NET_BIND_SERVICE;
    const struct vfs_cap_data given {
        .magic_etc = VFS_CAP_REVISION_2 | VFS_CAP_FLAGS_EFFECTIVE, .data = { {bindToLowPorts, 0}, {} }
    };
    const struct {
        uid_t owner;
        mode_t mode;
        bool isCapable;
        const char *field;
        const char *value;
        const char *refusal;
    } cases[] = {
        {0, 04755, false, "Uid", "65534\t0\t0\t0", "belongs to another user\n"},
        {user, 02755, false, "Gid", "65534\t0\t0\t0", "has rights that its user has not\n"},
        {user, 0700, true, "CapPrm", "0000000000000400", "has rights that its user has not\n"},
    };
    for (const auto &[owner, mode, isCapable, field, value, refusal] : cases) {
        const UserFolder place;
        ASSERT_EQ(::chown(place.program.c_str(), owner, 0), 0);
        ASSERT_EQ(::chmod(place.program.c_str(), mode), 0);
        if (isCapable) {
            ASSERT_EQ(::setxattr(place.program.c_str(), "security.capability", &given, sizeof given, 0), 0);
        }
        SampledProgram target("sleep", {.program = place.program, .user = user});
        ASSERT_EQ(statusOf(target.id(), field), value)
            << "the scratch folder's disk ignores what programs give";
        EXPECT_EQ(refusalOf(target.id(), place), refusal);
    }
}

void leavesTheEnvironmentOut() {
    const UserFolder place;
    const std::string work = "overwriteArgumentsNotDumpable";
    SampledProgram target(work, {.program = place.program, .user = user});
    const std::string own = place.program.native() + ' ' + work + ' ';
    const std::string shown = shownCommandLine(target.id());
    ASSERT_TRUE(shown.starts_with(own) && shown.find('=') != std::string::npos) << shown;
    const auto sampled = sampleInto(place.report, target.id(), asked());
    ASSERT_EQ(sampled.end, exited(0)) << sampled.errors;
    EXPECT_EQ(lineWith(sampled.report, "Command line: "), "Command line:     \"" + own + '"');
}

void refusesFoldersOfOthers() {
    const UserFolder place;
    SampledProgram target("sleep", {.program = place.program, .user = user});
    const test_support::ScratchFolder roots;
    fs::permissions(roots.path(), fs::perms::all);
    const auto open = sampleInto(roots.path() / "report.txt", target.id(), asked());
    EXPECT_EQ(open.end, exited(1));
    EXPECT_EQ(open.errors, "spindump: " + roots.path().native() + "/: the folder belongs to another user\n");
    EXPECT_TRUE(fs::is_empty(roots.path()));
    fs::permissions(roots.path(), fs::perms::owner_all);
    const auto closed = sampleInto(roots.path() / "deeper/report.txt", target.id(), asked());
    EXPECT_EQ(closed.errors, "spindump: " + roots.path().native() + "/deeper/: Permission denied\n");
}

void refusesFilesOfOthersAndLinks() {
    const UserFolder place;
    SampledProgram target("sleep", {.program = place.program, .user = user});
    test_support::writeFile(place.report, "root's");
    EXPECT_EQ(sampleInto(place.report, target.id(), asked()).end, exited(1));
    EXPECT_EQ(test_support::readFile(place.report), "root's");
    test_support::ScratchFolder roots;
    test_support::writeFile(roots.path() / "precious", "precious");
    fs::create_symlink(roots.path() / "precious", place.folder.path() / "link");
    place.give(place.folder.path() / "link");
    EXPECT_EQ(sampleInto(place.folder.path() / "link", target.id(), asked()).end, exited(1));
    EXPECT_EQ(test_support::readFile(roots.path() / "precious"), "precious");
}

void refusesRelativePathsAndUnknownUsers() {
    const UserFolder place;
    SampledProgram target("sleep", {.program = place.program, .user = user});
    const auto relative = sampleInto("report.txt", target.id(), asked());
    EXPECT_EQ(relative.end, exited(2));
    EXPECT_EQ(relative.errors, "spindump: the path of the report must be absolute\n");
    for (const std::string name : {"", "x", "-1", "4294967295", "0 ", "3999999999"}) {
        ProgramRun run(quickSampler(target.id(), place.report, {.askingUser = name.empty() ? " " : name}));
        EXPECT_EQ(run.waitForEnd(), exited(1));
        EXPECT_EQ(run.standardError(), "spindump: the user who asks is not known to this system\n") << name;
    }
}

// Only root can have been started by pkexec.
void takesNobodysWordForIt() {
    const UserFolder place;
    SampledProgram target("sleep", {.program = place.program, .user = user});
    const auto sampled = sampleInto(place.report, target.id(), {.askingUser = "0", .user = user});
    ASSERT_EQ(sampled.end, exited(0)) << sampled.errors;
    EXPECT_EQ(attributesOf(place.report).st_uid, user);
}

[[maybe_unused]] const bool rootTested = [] {
    const std::pair<const char *, void (*)()> tests[] = {
        {"LeavesTheReportToTheUser", leavesTheReportToTheUser},
        {"ReadsWhatTheUserMayNot", readsWhatTheUserMayNot},
        {"KeepsNoRights", keepsNoRights},
        {"RefusesOtherUsersTargets", refusesOtherUsersTargets},
        {"RefusesTargetsWithFurtherRights", refusesTargetsWithFurtherRights},
        {"LeavesTheEnvironmentOut", leavesTheEnvironmentOut},
        {"RefusesFoldersOfOthers", refusesFoldersOfOthers},
        {"RefusesFilesOfOthersAndLinks", refusesFilesOfOthersAndLinks},
        {"RefusesRelativePathsAndUnknownUsers", refusesRelativePathsAndUnknownUsers},
        {"TakesNobodysWordForIt", takesNobodysWordForIt},
    };
    for (const auto &[name, test] : tests)
        test_support::registerTestIf(test_support::canRunAs(user), "Elevated", name, test);
    return true;
}();

} // namespace
