// The sampler as pkexec starts it: by root, for another user. These tests need root.
#include "test_target/SampledProgram.h"

#include "platform/ScriptRunner.h"
#include "test_support/TestMachine.h"

#include <grp.h>
#include <linux/capability.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/xattr.h>

namespace {

using namespace spindump_test;

// The system knows them everywhere: nobody and daemon.
constexpr uid_t user = 65'534;
constexpr uid_t other = 1;

const SamplerOptions asked{.milliseconds = 200, .askingUser = std::to_string(user)};

// A folder of that user's, and in it the program of one of the product's bundles.
class Elevated : public testing::Test {
protected:
    void SetUp() override {
        if (!test_support::canRunAs(user))
            GTEST_SKIP() << "this user cannot run programs as somebody else";
        makeProduct(bundle, "com.brennic.LumadocPE");
    }
    // A bundle of the user's, with the test target as its program.
    fs::path makeProduct(const fs::path &path, const char *identifier) const {
        fs::path made = test_support::makeBundle(path, identifier);
        fs::copy_file(SPINDUMP_TARGET, made, fs::copy_options::overwrite_existing);
        fs::permissions(made, fs::perms::owner_all);
        give(folder.path());
        for (const auto &entry : fs::recursive_directory_iterator(folder.path()))
            give(entry.path());
        return made;
    }
    static void give(const fs::path &path) { EXPECT_EQ(::lchown(path.c_str(), user, user), 0); }

    /// Expects a run that writes no report, with this message.
    void refuses(pid_t target, const std::string &message, const SamplerOptions &options = asked,
                 int status = EXIT_FAILURE) const {
        EXPECT_EQ(Sampler(target, report, options).endsWith(status), message);
        EXPECT_FALSE(fs::exists(report));
    }

    ScratchFolder folder;
    fs::path bundle = folder.path() / "Lumadoc.app";
    fs::path program = bundle / "Contents/Linux/Program";
    fs::path report = folder.path() / "report.txt";
};

// The user may not trace it, and the kernel shows the environment after its arguments, which do not end.
TEST_F(Elevated, SamplesForTheUserWithTheUsersRightsAlone) {
    SampledProgram target("hidden", {.program = program, .user = user});
    const std::string own = program.native() + " hidden ";
    const auto shown = test_support::readFile("/proc/" + std::to_string(target.id()) + "/cmdline");
    ASSERT_TRUE(shown.startsWith(own.c_str()) && shown.contains('=')) << shown.toStdString();
    refuses(target.id(), refusal(target.id(), "cannot be traced: Operation not permitted"), {.user = user},
            platform::Script::missingRights);

    Sampler sampler(target.id(), report,
                    {.milliseconds = 60'000, .askingUser = asked.askingUser, .beforeStart = [] {
                         constexpr gid_t groups[] = {0, 4};
                         ::setgroups(2, groups);
                     }});
    // It says how many every second, at first none.
    ASSERT_TRUE(waitUntil(
        [&] { return QByteArray::fromStdString(sampler.standardError()).count(" samples\n") > 1; }));
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

    target.send(SIGKILL);
    sampler.endsWith(EXIT_SUCCESS);
    struct stat status {};
    ASSERT_EQ(::lstat(report.c_str(), &status), 0);
    EXPECT_TRUE(status.st_uid == user && status.st_gid == user);
    EXPECT_EQ(status.st_mode, S_IFREG | S_IRUSR | S_IWUSR);
    const std::string text = test_support::readFile(report).toStdString();
    EXPECT_GT(samplesOf(text, "sample::sleepForever()"), 0) << text;
    EXPECT_EQ(lineWith(text, "Command line: "), "Command line:     \"" + own + '"');
}

// Whatever else the user runs may hold what is not for the sampler to show.
TEST_F(Elevated, TakesOnlyMainProgramsOfTheProductsBundles) {
    const std::string notTheProduct = "is not the main program of the product";
    const fs::path helper = program.parent_path() / "Helper";
    fs::copy_file(program, helper);
    give(helper);
    const fs::path alone = folder.path() / "alone";
    fs::copy_file(program, alone);
    give(alone);
    for (const fs::path &path :
         {helper, alone, makeProduct(folder.path() / "Other.app", "com.brennic.LumadocPEx")}) {
        const SampledProgram target("sleep", {.program = path, .user = user});
        refuses(target.id(), refusal(target.id(), notTheProduct));
        EXPECT_FALSE(isTraced(target.id()));
        // The user may sample it without rights.
        Sampler(target.id(), report, {.milliseconds = 100, .user = user}).endsWith(EXIT_SUCCESS);
        fs::remove(report);
    }
    const fs::path free = makeProduct(folder.path() / "Pellix.app", "com.brennic.Pelx");
    const SampledProgram replaced("sleep", {.program = free, .user = user});
    fs::remove(free);
    Sampler(replaced.id(), report, asked).endsWith(EXIT_SUCCESS);
}

// Meanwhile it may have become another program.
TEST(Target, IsIdentifiedOnceItIsHeld) {
    const ScratchFolder folder;
    const fs::path go = folder.path() / "go";
    const ProgramRun run(
        {.program = "/bin/sh",
         .arguments = {"-c", "while [ ! -e \"$0\" ]; do sleep 0.01; done; exec sleep 1000", go}});
    spindump::Target target(run.processId(), spindump::askingUser());
    test_support::writeFile(go, "");
    ASSERT_TRUE(waitUntil([&] { return statusOf(run.processId(), "Name") == "sleep"; }));
    target.identify();
    EXPECT_TRUE(target.executable.endsWith("/sleep")) << target.executable.toStdString();
    EXPECT_EQ(target.commandLine, QByteArray("sleep\0"
                                             "1000\0",
                                             11));
}

// What the target shapes can hang whoever reads it.
TEST_F(Elevated, RefusesToRunWithoutItsTimeGuard) {
    const SampledProgram target("sleep", {.program = program, .user = user});
    auto unguarded = asked;
    unguarded.beforeStart = [] {
        const struct rlimit none { 0, 0 };
        ::setrlimit(RLIMIT_SIGPENDING, &none);
    };
    refuses(target.id(), "spindump: no timer: Resource temporarily unavailable\n", unguarded);
    EXPECT_FALSE(isTraced(target.id()));
}

// Not for root either: this program is for one's own processes.
TEST_F(Elevated, RefusesOtherUsersTargets) {
    const struct {
        uid_t owner;
        SamplerOptions options;
    } cases[] = {{other, asked}, {0, asked}, {0, {.user = user}}, {user, {}}};
    for (const auto &[owner, options] : cases) {
        ProgramRun run({.program = "/bin/sleep", .arguments = {"1000"}, .user = owner});
        ASSERT_TRUE(waitUntil([&] { return statusOf(run.processId(), "Name") == "sleep"; }));
        refuses(run.processId(), refusal(run.processId(), "belongs to another user"), options);
    }
}

// Programs that run with more rights than whoever started them.
TEST_F(Elevated, RefusesTargetsWithFurtherRights) {
    constexpr std::uint32_t bindToLowPorts = 1U << CAP_NET_BIND_SERVICE;
    const struct vfs_cap_data given {
        .magic_etc = VFS_CAP_REVISION_2 | VFS_CAP_FLAGS_EFFECTIVE, .data = { {bindToLowPorts, 0}, {} }
    };
    const struct {
        uid_t owner;
        mode_t mode;
        const char *field;
        const char *value;
        const char *reason;
    } cases[] = {
        {0, 04755, "Uid", "65534\t0\t0\t0", "belongs to another user"},
        {user, 02755, "Gid", "65534\t0\t0\t0", "has rights that its user has not"},
        {user, 0700, "CapPrm", "0000000000000400", "has rights that its user has not"},
    };
    for (const auto &[owner, mode, field, value, reason] : cases) {
        const char *path = program.c_str();
        ASSERT_TRUE(::chown(path, owner, 0) == 0 && ::chmod(path, mode) == 0);
        const bool isCapable = mode == 0700;
        ASSERT_TRUE(!isCapable || ::setxattr(path, "security.capability", &given, sizeof given, 0) == 0);
        const SampledProgram target("sleep", {.program = program, .user = user});
        ASSERT_EQ(statusOf(target.id(), field), value)
            << "the scratch folder's disk ignores what programs give";
        refuses(target.id(), refusal(target.id(), reason));
    }
}

TEST_F(Elevated, RefusesPlacesOfOthersAndLinks) {
    const SampledProgram target("sleep", {.program = program, .user = user});
    const ScratchFolder roots;
    const fs::path link = folder.path() / "link";
    test_support::writeFile(roots.path() / "precious", "precious");
    fs::create_symlink(roots.path() / "precious", link);
    give(link);
    fs::create_hard_link(roots.path() / "precious", report);
    const auto refusesPlace = [&](const fs::path &path, const std::string &message,
                                  int status = EXIT_FAILURE) {
        EXPECT_EQ(Sampler(target.id(), path, asked).endsWith(status), "spindump: " + message + '\n');
    };
    const std::string rootsFolder = roots.path().native() + '/';
    fs::permissions(roots.path(), fs::perms::all);
    refusesPlace(rootsFolder + "new", rootsFolder + ": the folder belongs to another user");
    fs::permissions(roots.path(), fs::perms::owner_all);
    refusesPlace(rootsFolder + "deeper/new", rootsFolder + "deeper/: Permission denied");
    refusesPlace(report, "report.txt: a file of another user stands there");
    refusesPlace(link, "link: what stands there is no plain file");
    refusesPlace("report.txt", "the path of the report must be absolute", 2);
    EXPECT_EQ(test_support::readFile(roots.path() / "precious"), "precious");
    EXPECT_EQ(std::distance(fs::directory_iterator(roots.path()), {}), 1);
}

// Only root can have been started by pkexec, and only for a user whom the system knows.
TEST_F(Elevated, AsksRootAloneForTheUser) {
    const SampledProgram target("sleep", {.program = program, .user = user});
    for (const std::string name : {" ", "x", "-1", "4294967295", "0 ", "3999999999"})
        refuses(target.id(), "spindump: the user who asks is not known to this system\n",
                {.askingUser = name});
    Sampler(target.id(), report, {.milliseconds = 200, .askingUser = "0", .user = user})
        .endsWith(EXIT_SUCCESS);
}

} // namespace
