#include "platform/Applications.h"

#include "platform/linux/ApplicationRoots.h"
#include "platform/posix/FileDescriptor.h"
#include "test_support/ProgramRun.h"
#include "test_support/TestMachine.h"

#include <csignal>
#include <gmock/gmock.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

using platform::ApplicationRoots;
using platform::claimSingleInstance;
using platform::runningApplications;
using test_support::makeBundle;
using test_support::ProgramRun;
using test_support::readFile;
using test_support::writeFile;
using testing::ElementsAre;
using testing::FieldsAre;
using testing::IsEmpty;

const QString product = QStringLiteral("com.example.product");

class InstalledApplications : public testing::Test {
protected:
    InstalledApplications() {
        for (const fs::path &place : {first, second, applications, opt})
            fs::create_directories(place);
    }

    fs::path bundle(const fs::path &path, const QByteArray &identifier = "com.example.product") {
        writeFile(path / "Contents/Info.plist", test_support::infoPlist(identifier, "P"));
        writeFile(path / "Contents/Linux/P", "");
        return path;
    }
    void entry(const fs::path &path, const fs::path &program) {
        writeFile(path, "[Desktop Entry]\nExec=\"" + QByteArray::fromStdString(program.native()) + "\" %F\n");
    }
    std::vector<fs::path> found() { return platform::installedApplicationsIn(roots, product); }

    test_support::ScratchFolder folder;
    fs::path first = folder.path() / "first";
    fs::path second = folder.path() / "second";
    fs::path applications = folder.path() / "Applications";
    fs::path opt = folder.path() / "opt";
    ApplicationRoots roots{{first, second}, {folder.path() / "no such folder", applications}, {opt}};
};

TEST_F(InstalledApplications, ComeByDesktopEntriesThenApplicationFoldersThenOptAndItsFolders) {
    EXPECT_THAT(found(), IsEmpty());
    EXPECT_THAT(platform::installedApplicationsIn(ApplicationRoots(), product), IsEmpty());
    const auto inMaker = bundle(opt / "Maker/A.app");
    const auto inOther = bundle(opt / "Another maker/Z.app");
    const auto inOpt = bundle(opt / "Y.app");
    const auto inApplications = bundle(applications / "\xff.app");
    const auto byLater = bundle(folder.path() / "elsewhere/A.app");
    const auto byName = bundle(folder.path() / "elsewhere/C.app");
    const auto byFirst = bundle(folder.path() / "elsewhere/D.app");
    entry(second / "a.desktop", byLater / "Contents/Linux/P");
    entry(first / "z.desktop", byFirst / "Contents/Linux/P");
    entry(first / "b.desktop", byName / "Contents/Linux/P");
    EXPECT_THAT(found(), ElementsAre(byName, byFirst, byLater, inApplications, inOpt, inOther, inMaker));
}

TEST_F(InstalledApplications, AreFoundThroughLinksByTheirRealPathAndCountOnceAtTheirFirstPlace) {
    const auto other = bundle(applications / "A.app");
    const auto named = bundle(applications / "Z.app");
    entry(first / "c.desktop", named / "Contents/Linux/P");
    entry(second / "c.desktop", named / "Contents/Linux/P");
    fs::create_symlink(named, applications / "Link.app");
    fs::create_directory_symlink(applications, opt / "again");

    const auto program = bundle(folder.path() / "store/Q.app");
    fs::create_symlink(program / "Contents/Linux/P", folder.path() / "product");
    entry(first / "a.desktop", folder.path() / "product");
    const auto otherName = bundle(folder.path() / "store/product-1.0");
    fs::create_symlink(otherName, folder.path() / "P.app");
    entry(first / "b.desktop", folder.path() / "P.app/Contents/Linux/P");
    EXPECT_THAT(found(), ElementsAre(program, otherName, named, other));
}

TEST_F(InstalledApplications, AreOnlyThoseWithTheIdentifierInTheFoldersNamedWhateverElseIsThere) {
    ASSERT_EQ(::mkfifo((first / "a.desktop").c_str(), 0600), 0);
    writeFile(first / "e.desktop", QByteArray((1 << 20) + 1, 'x'));
    writeFile(first / "f.desktop", QByteArray("[Desktop Entry]\nExec=\"\0\xff\n", 24));
    const auto named = bundle(folder.path() / "store/P.app");
    writeFile(named / "Contents/Helpers/starter", "");
    entry(first / "z.desktop", named / "Contents/Helpers/starter");
    const auto other = bundle(folder.path() / "store/Q.app");
    entry(first / "gone.desktop", other / "Contents/Linux/Gone");
    entry(first / "q.desktop.bak", other / "Contents/Linux/P");

    bundle(applications / "Other.app", "com.example.product.other");
    bundle(applications / "Case.app", "COM.EXAMPLE.PRODUCT");
    for (const char *place : {"opt/Maker/suite/P.app", "Applications/folder/P.app", "opt/Outer.app/P.app"})
        bundle(folder.path() / place);
    ASSERT_EQ(::mkfifo((applications / "A.app").c_str(), 0600), 0);
    writeFile(applications / "E.app/Contents/Info.plist", "garbage");
    ASSERT_EQ(::mkfifo((opt / "pipe").c_str(), 0600), 0);
    const auto right = bundle(applications / "Z.app");
    EXPECT_THAT(found(), ElementsAre(named, right));
}

class RunningApplications : public testing::Test {
protected:
    auto own(const std::unique_ptr<ProgramRun> &run) const {
        return FieldsAre(QStringLiteral("a.b"), run->processId(), bundle);
    }

    // Starts a program that waits, and waits until it is running: its arguments can be read a moment later
    // than what it is.
    static std::unique_ptr<ProgramRun> start(const test_support::ProgramOptions &options) {
        auto run = std::make_unique<ProgramRun>(options);
        const fs::path link = "/proc/" + std::to_string(run->processId()) + "/exe";
        EXPECT_TRUE(test_support::waitUntil([&] {
            std::error_code error;
            return fs::read_symlink(link, error) == fs::canonical(options.program, error) &&
                   !readFile(link.parent_path() / "cmdline").isEmpty();
        })) << options.program;
        return run;
    }
    static std::unique_ptr<ProgramRun> start(const fs::path &program,
                                             std::optional<uid_t> user = std::nullopt) {
        return start({.program = program, .arguments = {"1000"}, .name = "sleep", .user = user});
    }

    // The kernel gives its next process this number.
    static void setNextProcess(int identifier) {
        writeFile("/proc/sys/kernel/ns_last_pid", QByteArray::number(identifier - 1));
    }

    test_support::ScratchFolder folder;
    fs::path bundle = folder.path() / "P.app";
};

TEST_F(RunningApplications, HaveTheirRealBundleAndAreThereUntilTheirProcessEnds) {
    const auto program = makeBundle(bundle, "a.b");
    EXPECT_THAT(runningApplications(), IsEmpty());
    const auto first = start(program);
    fs::create_symlink(bundle, folder.path() / "Link.app");
    const auto second = start(folder.path() / "Link.app/Contents/Linux/Program");
    EXPECT_THAT(runningApplications(), ElementsAre(own(first), own(second)));
    first->send(SIGKILL);
    second->send(SIGKILL);
    first->waitForEnd();
    // Not waited for, the second is left as a zombie.
    const fs::path status = "/proc/" + std::to_string(second->processId()) + "/stat";
    ASSERT_TRUE(test_support::waitUntil([&] { return test_support::readFile(status).contains(") Z "); }));
    EXPECT_THAT(runningApplications(), IsEmpty());
}

TEST_F(RunningApplications, ComeOldestFirstWhateverTheirNumbersAndNames) {
    const auto older = makeBundle(bundle, "a.b");
    const auto younger = makeBundle(folder.path() / "Q.app", "younger", "a) S 1 1 (b");
    setNextProcess(20000);
    const auto first = start(older);
    // The kernel counts a process's start in hundredths of a second.
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    setNextProcess(10000);
    const auto second = start(younger);
    ASSERT_LT(second->processId(), first->processId());
    EXPECT_THAT(runningApplications(),
                ElementsAre(own(first), FieldsAre(QStringLiteral("younger"), second->processId(),
                                                  folder.path() / "Q.app")));
}

TEST_F(RunningApplications, AreTheMainProgramsOfTheirNearestBundles) {
    const auto program = makeBundle(bundle, "outer");
    const auto inner = bundle / "Contents/Helpers/Q.app";
    const auto run = start(makeBundle(inner, "inner"));
    // Neither a program beside the main one nor one of its name elsewhere.
    std::vector<std::unique_ptr<ProgramRun>> others;
    for (const char *place : {"Contents/Linux/Helper", "Contents/Helpers/Program"}) {
        fs::copy_file(program, bundle / place);
        others.push_back(start(bundle / place));
        others.push_back(start({.program = bundle / place, .arguments = {"1000"}}));
    }
    // Nor one that has a main program's name as its argument.
    fs::copy_file("/usr/bin/tail", folder.path() / "tail");
    others.push_back(start({.program = folder.path() / "tail", .arguments = {"-f", program}}));
    EXPECT_THAT(runningApplications(),
                ElementsAre(FieldsAre(QStringLiteral("inner"), run->processId(), inner)));
}

TEST_F(RunningApplications, CountWithAnOddNameAndADeletedOrReplacedExecutableUntilTheirBundleIsGone) {
    const auto program = makeBundle(bundle, "a.b", "Program (deleted)");
    const auto run = start(program);
    EXPECT_THAT(runningApplications(), ElementsAre(own(run)));
    fs::remove(program);
    EXPECT_THAT(runningApplications(), ElementsAre(own(run)));
    fs::copy_file("/bin/sh", program);
    EXPECT_THAT(runningApplications(), ElementsAre(own(run)));
    writeFile(bundle / "Contents/Info.plist",
              "<plist><dict><key>CFBundleExecutable</key><string>Program (deleted)</string></dict></plist>");
    EXPECT_THAT(runningApplications(), ElementsAre(FieldsAre(QString(), run->processId(), bundle)));
    fs::remove_all(bundle);
    EXPECT_THAT(runningApplications(), IsEmpty());
}

// Each row: where the bundle really is, how its program is started, and what happens then.
TEST_F(RunningApplications, AreFoundAsTheyWereStartedWhereTheirPlaceNoLongerTells) {
    const fs::path program = bundle / "Contents/Linux/Program";
    const fs::path aside = folder.path() / "P.app.old";
    const auto nothing = [] {};
    const auto make = [&] { makeBundle(bundle, "a.b"); };
    const auto makeLinked = [&] {
        makeBundle(folder.path() / "product-1.0", "a.b");
        fs::create_directory_symlink("product-1.0", bundle);
    };
    const auto makeLinkInside = [&] {
        make();
        fs::create_directory(bundle / "Contents/lib");
        fs::rename(program, bundle / "Contents/lib/real");
        fs::create_symlink("../lib/real", program);
    };
    const auto makeLinkOutside = [&] {
        make();
        fs::rename(program, folder.path() / "real");
        fs::create_symlink("../../../real", program);
    };
    const auto update = [&] {
        fs::rename(bundle, aside);
        make();
    };
    const auto updateAndRemove = [&] {
        update();
        fs::remove_all(aside);
    };
    const auto updateInside = [&] {
        fs::rename(bundle / "Contents", bundle / "Old");
        make();
    };
    const test_support::ProgramOptions byPath{.program = program};
    const test_support::ProgramOptions byRelativePath{
        .program = program, .name = "Linux/../Linux/Program", .workingFolder = bundle / "Contents"};
    auto fromALink = byRelativePath;
    fromALink.variables.emplace_back("PWD", bundle / "Contents");
    const test_support::ProgramOptions byLink{.program = folder.path() / "start"};
    const test_support::ProgramOptions byNoPath{.program = program, .name = "sleep"};
    const struct {
        const char *what;
        std::function<void()> make;
        test_support::ProgramOptions start;
        std::function<void()> then;
    } rows[] = {{"moved aside", make, byPath, update},
                {"moved aside and removed", make, byPath, updateAndRemove},
                {"its content moved aside", make, byPath, updateInside},
                {"a link to a folder", makeLinked, byPath, nothing},
                {"a link to a folder, moved aside", makeLinked, byPath,
                 [&] {
                     fs::rename(folder.path() / "product-1.0", aside);
                     makeBundle(folder.path() / "product-1.0", "a.b");
                 }},
                {"a link to a folder, by a relative path", makeLinked, fromALink, nothing},
                {"a link, started by a link", makeLinked, byLink, nothing},
                {"a linked program", makeLinkInside, byNoPath, nothing},
                {"a linked program of another folder", makeLinkOutside, byPath, nothing},
                {"the same, by a relative path", makeLinkOutside, byRelativePath, nothing},
                {"a linked program, replaced", makeLinkInside, byPath, updateAndRemove}};
    for (const auto &[what, makeIt, how, then] : rows) {
        SCOPED_TRACE(what);
        makeIt();
        fs::create_symlink(program, folder.path() / "start");
        auto options = how;
        options.arguments = {"1000"};
        const auto run = start(options);
        then();
        EXPECT_THAT(runningApplications(), ElementsAre(own(run)));
        for (const auto &entry : fs::directory_iterator(folder.path()))
            fs::remove_all(entry.path());
        EXPECT_THAT(runningApplications(), IsEmpty());
    }
}

TEST_F(RunningApplications, AreNoneOfAnotherUsers) {
    constexpr uid_t nobody = 65534;
    if (!test_support::canRunAs(nobody))
        GTEST_SKIP() << "this process cannot start a program as another user";
    const auto program = makeBundle(bundle, "a.b");
    fs::permissions(folder.path(), fs::perms::all);
    for (const auto &entry : fs::recursive_directory_iterator(folder.path()))
        fs::permissions(entry.path(), fs::perms::all);
    const auto others = start(program, nobody);
    // This user's own process shows that the other one could have been found.
    const auto run = start(program);
    EXPECT_THAT(runningApplications(), ElementsAre(own(run)));
}

class SingleInstance : public RunningApplications {
protected:
    bool claim() const { return claimSingleInstance(identifier, place); }
    int claimInChild(const std::function<void()> &prepare) const {
        return test_support::statusInChild([&] {
            prepare();
            return claim() ? 1 : 0;
        });
    }

    const QString identifier = QStringLiteral("a.b");
    fs::path place = folder.path() / "Library/Diagnostics";
    fs::path lock = place / "a.b.lock";
    static constexpr uid_t nobody = 65534;
};

TEST_F(SingleInstance, IsClaimedOnceUntilItsProcessIsKilledInEveryNetwork) {
    // A program that the holder has started goes on after it.
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    EXPECT_EQ(test_support::statusInChild([&] {
                  const bool isClaimed = claim();
                  const pid_t left = ::fork();
                  if (left == 0)
                      ::execl("/bin/sleep", "sleep", "1000", nullptr);
                  return isClaimed && ::write(ends[1], &left, sizeof left) > 0 ? ::raise(SIGKILL) : 1;
              }),
              test_support::killedBy(SIGKILL));
    pid_t left = 0;
    ASSERT_EQ(::read(ends[0], &left, sizeof left), ssize_t{sizeof left});
    EXPECT_TRUE(test_support::waitUntil([&] { return claimInChild([] {}) == 1; }));
    EXPECT_EQ(::kill(left, SIGKILL), 0);

    EXPECT_TRUE(claim());
    EXPECT_FALSE(claim());
    EXPECT_EQ(claimInChild([] {}), 0);
    EXPECT_EQ(claimInChild([] { ::unshare(CLONE_NEWNET); }), 0);
    EXPECT_TRUE(claimSingleInstance(QStringLiteral("a.b.c"), place));
    EXPECT_EQ(fs::status(lock).permissions(), fs::perms(0600));
    EXPECT_TRUE(runningApplications().empty());
}

TEST_F(SingleInstance, CannotBeTakenByAnotherUser) {
    if (!test_support::canRunAs(nobody))
        GTEST_SKIP() << "this process cannot start a program as another user";
    fs::create_directories(place);
    for (fs::path open = place; open != folder.path().parent_path(); open = open.parent_path())
        fs::permissions(open, fs::perms::all);
    const auto canOpen = [&] {
        return test_support::statusInChild(
            [&] { return ::setuid(nobody) == 0 && ::open(lock.c_str(), O_RDONLY | O_CLOEXEC) >= 0 ? 1 : 0; });
    };
    writeFile(lock, "");
    fs::permissions(lock, fs::perms(0666));
    EXPECT_EQ(canOpen(), 1);
    EXPECT_EQ(claimInChild([] {}), 1);
    EXPECT_EQ(canOpen(), 0);

    // A lock of the other user's, and what is no file, count for nothing.
    const platform::FileDescriptor held(::open(lock.c_str(), O_RDWR | O_CLOEXEC));
    ASSERT_EQ(::flock(held.get(), LOCK_EX), 0);
    EXPECT_FALSE(claim());
    ASSERT_EQ(::fchown(held.get(), nobody, nobody), 0);
    EXPECT_TRUE(claim());
    for (const auto &make : {+[](const char *path) { return ::mkfifo(path, 0600); },
                             +[](const char *path) { return ::symlink("other", path); }}) {
        fs::remove(lock);
        ASSERT_EQ(make(lock.c_str()), 0);
        EXPECT_TRUE(claim());
    }
    EXPECT_FALSE(fs::exists(place / "other"));
}

TEST_F(SingleInstance, IsNotFreeWhileAListedCopyHoldsAClaimElsewhereOrNothingCanBeLocked) {
    const auto program = makeBundle(bundle, "a.b");
    auto other = start(program);
    EXPECT_EQ(claimInChild([] {}), 1) << "a copy that claims nothing is about to end";
    writeFile(place.parent_path() / "file", "");
    for (const fs::path &without : {place.parent_path() / "file", fs::path()})
        EXPECT_FALSE(claimSingleInstance(identifier, without));
    EXPECT_TRUE(claimSingleInstance(QStringLiteral("a.b.c"), fs::path()));
    other.reset();
    EXPECT_TRUE(claimSingleInstance(identifier, fs::path()));

    fs::copy_file("/usr/bin/flock", program, fs::copy_options::overwrite_existing);
    const fs::path elsewhere = folder.path() / "lock";
    other = start({.program = program, .arguments = {elsewhere, "/bin/sleep", "1000"}});
    EXPECT_TRUE(test_support::waitUntil([&] { return claimInChild([] {}) == 0; }));
    other.reset();
    EXPECT_TRUE(claim());
}

} // namespace
