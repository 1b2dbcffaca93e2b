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

const SamplerOptions asked{.milliseconds = 200, .askingUser = std::to_string(user)};

// The program in that folder, started by the user.
struct UserProgram : UserFolder {
    explicit UserProgram(const std::string &work)
        : target(work, {.program = program, .user = user}) {}

    /// Expects a run that writes no report.
    void refuses(const fs::path &path, const std::string &message, int status = EXIT_FAILURE,
                 const SamplerOptions &options = asked) const {
        const auto sampled = sampleInto(path, target.id(), options);
        EXPECT_EQ(sampled.end, exited(status));
        EXPECT_EQ(sampled.errors, message);
    }

    SampledProgram target;
};

void leavesTheReportToTheUser() {
    const UserProgram place("threads");
    const auto sampled = sampleInto(place.report, place.target.id(), asked);
    ASSERT_EQ(sampled.end, exited(0)) << sampled.errors;
    struct stat status {};
    ASSERT_EQ(::lstat(place.report.c_str(), &status), 0);
    EXPECT_TRUE(status.st_uid == user && status.st_gid == user);
    EXPECT_EQ(status.st_mode, S_IFREG | S_IRUSR | S_IWUSR);
    EXPECT_GT(samplesOf(threadPart(sampled.report, "busy"), "sample::busy()"), 0) << sampled.report;
    EXPECT_FALSE(isTraced(place.target.id()));
}

void readsWhatTheUserMayNot() {
    const UserProgram place("notDumpable");
    place.refuses(place.report, refusal(place.target.id(), "cannot be traced: Operation not permitted"),
                  EXIT_FAILURE, {.user = user});
    const auto sampled = sampleInto(place.report, place.target.id(), asked);
    ASSERT_EQ(sampled.end, exited(0)) << sampled.errors;
    EXPECT_GT(samplesOf(sampled.report, "sample::sleepForever()"), 0) << sampled.report;
}

void keepsNoRights() {
    const UserProgram place("threads");
    auto options = quickSampler(place.target.id(), place.report,
                                {.milliseconds = 60'000, .askingUser = std::to_string(user)});
    options.beforeStart = [] {
        constexpr gid_t groups[] = {0, 4};
        ::setgroups(2, groups);
    };
    ProgramRun sampler(options);
    ASSERT_TRUE(waitUntil([&] { return sampler.standardError().starts_with("sampling"); }));
    const std::pair<const char *, const char *> fields[] = {
        {"CapInh", "0000000000000000"},
        {"CapPrm", "0000000000000000"},
        {"CapEff", "0000000000000000"},
        {"CapAmb", "0000000000000000"},
        {"NoNewPrivs", "1"},
        {"Groups", ""},
        {"Umask", "0077"},
        {"Uid", "65534\t65534\t65534\t65534"},
        {"Gid", "65534\t65534\t65534\t65534"},
    };
    for (const auto &[field, value] : fields)
        EXPECT_EQ(statusOf(sampler.processId(), field), value) << field;
}

void refusesOtherUsersTargets() {
    const UserFolder place;
    for (const uid_t owner : {other, uid_t{0}}) {
        ProgramRun run({.program = "/bin/sleep", .arguments = {"1000"}, .user = owner});
        ASSERT_TRUE(waitUntil([&] { return statusOf(run.processId(), "Name") == "sleep"; }));
        const auto sampled = sampleInto(place.report, run.processId(), asked);
        EXPECT_EQ(sampled.end, exited(1));
        EXPECT_EQ(sampled.errors, refusal(run.processId(), "belongs to another user"));
        EXPECT_EQ(sampled.report, "");
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
        const char *reason;
    } cases[] = {
        {0, 04755, false, "Uid", "65534\t0\t0\t0", "belongs to another user"},
        {user, 02755, false, "Gid", "65534\t0\t0\t0", "has rights that its user has not"},
        {user, 0700, true, "CapPrm", "0000000000000400", "has rights that its user has not"},
    };
    for (const auto &[owner, mode, isCapable, field, value, reason] : cases) {
        const UserFolder place;
        ASSERT_EQ(::chown(place.program.c_str(), owner, 0), 0);
        ASSERT_EQ(::chmod(place.program.c_str(), mode), 0);
        if (isCapable) {
            ASSERT_EQ(::setxattr(place.program.c_str(), "security.capability", &given, sizeof given, 0), 0);
        }
        SampledProgram target("sleep", {.program = place.program, .user = user});
        ASSERT_EQ(statusOf(target.id(), field), value)
            << "the scratch folder's disk ignores what programs give";
        const auto sampled = sampleInto(place.report, target.id(), asked);
        EXPECT_EQ(sampled.end, exited(1));
        EXPECT_EQ(sampled.errors, refusal(target.id(), reason));
        EXPECT_FALSE(fs::exists(place.report));
    }
}

// The kernel shows it after arguments that do not end.
void leavesTheEnvironmentOut() {
    const std::string work = "overwriteArguments";
    const UserProgram place(work);
    const std::string own = place.program.native() + ' ' + work + ' ';
    const auto shown = test_support::readFile("/proc/" + std::to_string(place.target.id()) + "/cmdline");
    ASSERT_TRUE(shown.startsWith(own.c_str()) && shown.contains('=')) << shown.toStdString();
    const auto sampled = sampleInto(place.report, place.target.id(), asked);
    EXPECT_EQ(lineWith(sampled.report, "Command line: "), "Command line:     \"" + own + '"')
        << sampled.errors;
}

void refusesPlacesOfOthersAndLinks() {
    const UserProgram place("sleep");
    const test_support::ScratchFolder roots;
    test_support::writeFile(roots.path() / "precious", "precious");
    fs::create_symlink(roots.path() / "precious", place.folder.path() / "link");
    place.give(place.folder.path() / "link");
    fs::create_hard_link(roots.path() / "precious", place.report);
    fs::permissions(roots.path(), fs::perms::all);
    const std::string folder = roots.path().native() + '/';
    place.refuses(folder + "new", "spindump: " + folder + ": the folder belongs to another user\n");
    fs::permissions(roots.path(), fs::perms::owner_all);
    place.refuses(folder + "deeper/new", "spindump: " + folder + "deeper/: Permission denied\n");
    place.refuses(place.report, "spindump: report.txt: a file of another user stands there\n");
    place.refuses(place.folder.path() / "link", "spindump: link: what stands there is no plain file\n");
    place.refuses("report.txt", "spindump: the path of the report must be absolute\n", 2);
    EXPECT_EQ(test_support::readFile(roots.path() / "precious"), "precious");
    EXPECT_EQ(std::distance(fs::directory_iterator(roots.path()), {}), 1);
}

void refusesUnknownUsers() {
    const UserProgram place("sleep");
    for (const std::string name : {" ", "x", "-1", "4294967295", "0 ", "3999999999"})
        place.refuses(place.report, "spindump: the user who asks is not known to this system\n", EXIT_FAILURE,
                      {.askingUser = name});
}

// Only root can have been started by pkexec.
void asksOnlyRootForTheUser() {
    const UserProgram place("sleep");
    const auto sampled = sampleInto(place.report, place.target.id(), {.askingUser = "0", .user = user});
    ASSERT_EQ(sampled.end, exited(0)) << sampled.errors;
}

[[maybe_unused]] const bool rootTested = [] {
    const std::pair<const char *, void (*)()> tests[] = {
        {"LeavesTheReportToTheUser", leavesTheReportToTheUser},
        {"ReadsWhatTheUserMayNot", readsWhatTheUserMayNot},
        {"KeepsNoRights", keepsNoRights},
        {"RefusesOtherUsersTargets", refusesOtherUsersTargets},
        {"RefusesTargetsWithFurtherRights", refusesTargetsWithFurtherRights},
        {"LeavesTheEnvironmentOut", leavesTheEnvironmentOut},
        {"RefusesPlacesOfOthersAndLinks", refusesPlacesOfOthersAndLinks},
        {"RefusesUnknownUsers", refusesUnknownUsers},
        {"AsksOnlyRootForTheUser", asksOnlyRootForTheUser},
    };
    for (const auto &[name, test] : tests)
        test_support::registerTestIf(test_support::canRunAs(user), "Elevated", name, test);
    return true;
}();

} // namespace
