#include "platform/Applications.h"

#include "platform/posix/Text.h"
#include "test_support/ChildProcess.h"
#include "test_support/ConditionalTest.h"
#include "test_support/ProgramRun.h"
#include "test_support/TestBundle.h"

#include <csignal>
#include <gmock/gmock.h>
#include <sched.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

using platform::ApplicationRoots;
using platform::claimSingleInstance;
using platform::RunningApplication;
using test_support::makeBundle;
using test_support::ProgramRun;
using test_support::writeFile;
using testing::ElementsAre;
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
    std::vector<fs::path> found() { return platform::installedApplications(product, roots); }

    test_support::ScratchFolder folder;
    fs::path first = folder.path() / "first";
    fs::path second = folder.path() / "second";
    fs::path applications = folder.path() / "Applications";
    fs::path opt = folder.path() / "opt";
    ApplicationRoots roots{{first, second}, {folder.path() / "no such folder", applications}, {opt}};
};

TEST_F(InstalledApplications, AreNoneWhereThereAreNone) {
    EXPECT_THAT(found(), IsEmpty());
    EXPECT_THAT(platform::installedApplications(product, ApplicationRoots()), IsEmpty());
}

TEST_F(InstalledApplications, ComeByDesktopEntriesThenApplicationFoldersThenOptAndItsFolders) {
    const auto inMaker = bundle(opt / "Maker/A.app");
    const auto inOther = bundle(opt / "Another maker/Z.app");
    const auto inOpt = bundle(opt / "Y.app");
    const auto inApplications = bundle(applications / "B.app");
    const auto byLater = bundle(folder.path() / "elsewhere/A.app");
    const auto byName = bundle(folder.path() / "elsewhere/C.app");
    const auto byFirst = bundle(folder.path() / "elsewhere/D.app");
    entry(second / "a.desktop", byLater / "Contents/Linux/P");
    entry(first / "z.desktop", byFirst / "Contents/Linux/P");
    entry(first / "b.desktop", byName / "Contents/Linux/P");
    EXPECT_THAT(found(), ElementsAre(byName, byFirst, byLater, inApplications, inOpt, inOther, inMaker));
}

TEST_F(InstalledApplications, AreOnlyThoseWithTheIdentifier) {
    bundle(applications / "Other.app", "com.example.product.other");
    bundle(applications / "Case.app", "COM.EXAMPLE.PRODUCT");
    const auto right = bundle(applications / "Right.app");
    EXPECT_THAT(found(), ElementsAre(right));
}

TEST_F(InstalledApplications, FoundTwiceCountOnceAtTheirFirstPlace) {
    const auto named = bundle(applications / "Z.app");
    const auto other = bundle(applications / "A.app");
    entry(first / "a.desktop", named / "Contents/Linux/P");
    entry(second / "a.desktop", named / "Contents/Linux/P");
    fs::create_symlink(named, applications / "Link.app");
    fs::create_directory_symlink(applications, opt / "again");
    EXPECT_THAT(found(), ElementsAre(named, other));
}

TEST_F(InstalledApplications, AreFoundThroughLinksByTheirRealPath) {
    const auto real = bundle(folder.path() / "store/P.app");
    fs::create_symlink(real, applications / "Link.app");
    EXPECT_THAT(found(), ElementsAre(real));
}

TEST_F(InstalledApplications, AreFoundThroughAnEntryThatNamesALinkToTheProgram) {
    const auto real = bundle(folder.path() / "store/P.app");
    fs::create_symlink(real / "Contents/Linux/P", folder.path() / "product");
    entry(first / "p.desktop", folder.path() / "product");
    EXPECT_THAT(found(), ElementsAre(real));
}

TEST_F(InstalledApplications, AreFoundThroughAnEntryWhenTheBundleIsALinkToAFolderOfAnotherName) {
    const auto real = bundle(folder.path() / "store/product-1.0");
    fs::create_symlink(real, folder.path() / "P.app");
    entry(first / "p.desktop", folder.path() / "P.app/Contents/Linux/P");
    EXPECT_THAT(found(), ElementsAre(real));
}

TEST_F(InstalledApplications, AreFoundThroughAnEntryThatStartsOneOfTheirHelpers) {
    const auto real = bundle(folder.path() / "store/P.app");
    writeFile(real / "Contents/Helpers/starter", "");
    entry(first / "p.desktop", real / "Contents/Helpers/starter");
    EXPECT_THAT(found(), ElementsAre(real));
}

TEST_F(InstalledApplications, AreNotFoundThroughAnEntryWhoseProgramIsGone) {
    const auto real = bundle(folder.path() / "store/P.app");
    entry(first / "p.desktop", real / "Contents/Linux/Gone");
    EXPECT_THAT(found(), IsEmpty());
}

TEST_F(InstalledApplications, AreNotFoundThroughHiddenEntriesOrFilesOfOtherNames) {
    const auto program = bundle(folder.path() / "store/P.app") / "Contents/Linux/P";
    entry(first / "p.desktop.bak", program);
    writeFile(first / "q.desktop",
              "[Desktop Entry]\nHidden=true\nExec=" + QByteArray(program.c_str()) + "\n");
    EXPECT_THAT(found(), IsEmpty());
}

TEST_F(InstalledApplications, AreFoundWhateverElseStandsAmongTheEntries) {
    const auto real = bundle(folder.path() / "store/P.app");
    ASSERT_EQ(::mkfifo((first / "a.desktop").c_str(), 0600), 0);
    fs::create_directories(first / "b.desktop");
    fs::create_symlink("/dev/zero", first / "c.desktop");
    fs::create_symlink("d.desktop", first / "d.desktop");
    writeFile(first / "e.desktop", QByteArray((1 << 20) + 1, 'x'));
    writeFile(first / "f.desktop", QByteArray("[Desktop Entry]\nExec=\"\0\xff\n", 24));
    entry(first / "z.desktop", real / "Contents/Linux/P");
    EXPECT_THAT(found(), ElementsAre(real));
}

TEST_F(InstalledApplications, AreFoundWhateverElseStandsInTheFoldersOfBundles) {
    writeFile(applications / "A.app", "a file");
    fs::create_directories(applications / "B.app");
    ASSERT_EQ(::mkfifo((applications / "C.app").c_str(), 0600), 0);
    fs::create_symlink("D.app", applications / "D.app");
    writeFile(applications / "E.app/Contents/Info.plist", "garbage");
    ASSERT_EQ(::mkfifo((opt / "pipe").c_str(), 0600), 0);
    const auto right = bundle(applications / "Z.app");
    EXPECT_THAT(found(), ElementsAre(right));
}

TEST_F(InstalledApplications, MayHaveNamesThatAreNotUtf8) {
    const auto right = bundle(applications / "\xff.app");
    EXPECT_THAT(found(), ElementsAre(right));
}

TEST_F(InstalledApplications, DeeperThanTheFoldersOfOptAreNotLookedFor) {
    bundle(opt / "Maker/suite/P.app");
    bundle(applications / "folder/P.app");
    bundle(opt / "Outer.app/P.app");
    EXPECT_THAT(found(), IsEmpty());
}

class RunningApplications : public testing::Test {
protected:
    struct Found {
        QString identifier;
        std::int64_t process;
        fs::path bundle;
        friend bool operator==(const Found &, const Found &) = default;
    };

    static std::vector<Found> found() {
        std::vector<Found> result;
        for (const RunningApplication &application : platform::runningApplications())
            result.push_back(
                {application.bundleIdentifier, application.processIdentifier, application.bundlePath});
        return result;
    }

    // A program that waits, already under its own name.
    static std::unique_ptr<ProgramRun> start(const fs::path &program,
                                             std::optional<uid_t> user = std::nullopt) {
        auto run = std::make_unique<ProgramRun>(test_support::ProgramOptions{
            .program = program, .arguments = {"1000"}, .name = "sleep", .user = user});
        const fs::path link = "/proc/" + std::to_string(run->processId()) + "/exe";
        EXPECT_TRUE(test_support::waitUntil([&] {
            std::error_code error;
            return fs::read_symlink(link, error) == program;
        })) << program;
        return run;
    }

    // Lets the kernel's next process have this number.
    static void setNextProcess(int identifier) {
        writeFile("/proc/sys/kernel/ns_last_pid", QByteArray::number(identifier - 1));
    }

    test_support::ScratchFolder folder;
    fs::path bundle = folder.path() / "P.app";
};

TEST_F(RunningApplications, AreNoneWhileNoneRuns) {
    makeBundle(bundle, "a.b");
    EXPECT_THAT(found(), IsEmpty());
}

TEST_F(RunningApplications, HaveIdentifierProcessAndBundle) {
    const auto run = start(makeBundle(bundle, "a.b"));
    EXPECT_THAT(found(), ElementsAre(Found{QStringLiteral("a.b"), run->processId(), bundle}));
}

TEST_F(RunningApplications, AreGoneWithTheirProcess) {
    const auto run = start(makeBundle(bundle, "a.b"));
    run->send(SIGKILL);
    run->waitForEnd();
    EXPECT_THAT(found(), IsEmpty());
}

TEST_F(RunningApplications, ComeOldestFirstWhateverTheirNumbersAndNames) {
    const auto older = makeBundle(bundle, "older");
    const auto younger = makeBundle(folder.path() / "Q.app", "younger", "a) S 1 1 (b");
    setNextProcess(20000);
    const auto first = start(older);
    // The kernel counts a process's start in hundredths of a second.
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    setNextProcess(10000);
    const auto second = start(younger);
    ASSERT_LT(second->processId(), first->processId());
    EXPECT_THAT(found(),
                ElementsAre(Found{QStringLiteral("older"), first->processId(), bundle},
                            Found{QStringLiteral("younger"), second->processId(), folder.path() / "Q.app"}));
}

TEST_F(RunningApplications, CountEveryProcessOfOneBundle) {
    const auto program = makeBundle(bundle, "a.b");
    const auto first = start(program);
    const auto second = start(program);
    EXPECT_THAT(found(), ElementsAre(Found{QStringLiteral("a.b"), first->processId(), bundle},
                                     Found{QStringLiteral("a.b"), second->processId(), bundle}));
}

TEST_F(RunningApplications, AreNoHelpersOfABundle) {
    const auto program = makeBundle(bundle, "a.b");
    const auto beside = bundle / "Contents/Linux/Helper";
    const auto below = bundle / "Contents/Helpers/Program";
    fs::copy_file(program, beside);
    fs::create_directories(below.parent_path());
    fs::copy_file(program, below);
    const auto first = start(beside);
    const auto second = start(below);
    EXPECT_THAT(found(), IsEmpty());
}

TEST_F(RunningApplications, AreThoseOfABundleWithinABundle) {
    makeBundle(bundle, "outer");
    const auto inner = bundle / "Contents/Helpers/Q.app";
    const auto run = start(makeBundle(inner, "inner"));
    EXPECT_THAT(found(), ElementsAre(Found{QStringLiteral("inner"), run->processId(), inner}));
}

TEST_F(RunningApplications, StartedThroughALinkHaveTheRealBundle) {
    const auto program = makeBundle(bundle, "a.b");
    fs::create_symlink(bundle, folder.path() / "Link.app");
    const ProgramRun run({.program = folder.path() / "Link.app/Contents/Linux/Program",
                          .arguments = {"1000"},
                          .name = "sleep"});
    EXPECT_TRUE(test_support::waitUntil([&] {
        return found() == std::vector<Found>{{QStringLiteral("a.b"), run.processId(), bundle}};
    }));
}

TEST_F(RunningApplications, CountWhenTheirExecutableWasDeletedOrReplaced) {
    const auto program = makeBundle(bundle, "a.b");
    const auto run = start(program);
    const auto expected = ElementsAre(Found{QStringLiteral("a.b"), run->processId(), bundle});
    fs::remove(program);
    EXPECT_THAT(found(), expected);
    fs::copy_file("/bin/sh", program);
    EXPECT_THAT(found(), expected);
}

TEST_F(RunningApplications, CountWhenTheirExecutableOnlySoundsDeleted) {
    const auto run = start(makeBundle(bundle, "a.b", "Program (deleted)"));
    EXPECT_THAT(found(), ElementsAre(Found{QStringLiteral("a.b"), run->processId(), bundle}));
}

TEST_F(RunningApplications, AreNoneOnceTheirBundleIsGone) {
    const auto run = start(makeBundle(bundle, "a.b"));
    fs::remove_all(bundle);
    EXPECT_THAT(found(), IsEmpty());
}

TEST_F(RunningApplications, AreNoneAsAZombie) {
    const auto run = start(makeBundle(bundle, "a.b"));
    run->send(SIGKILL);
    const fs::path status = "/proc/" + std::to_string(run->processId()) + "/stat";
    ASSERT_TRUE(test_support::waitUntil([&] { return test_support::readFile(status).contains(") Z "); }));
    EXPECT_THAT(found(), IsEmpty());
}

TEST_F(RunningApplications, WithoutAnIdentifierHaveAnEmptyOne) {
    const auto program = makeBundle(bundle, "a.b");
    writeFile(bundle / "Contents/Info.plist",
              "<plist><dict><key>CFBundleExecutable</key><string>Program</string></dict></plist>");
    const auto run = start(program);
    EXPECT_THAT(found(), ElementsAre(Found{QString(), run->processId(), bundle}));
}

class OthersApplications : public RunningApplications {
public:
    static constexpr uid_t nobody = 65534;

    void openToAll() {
        using fs::perms;
        fs::permissions(folder.path(), perms::all);
        for (const auto &entry : fs::recursive_directory_iterator(folder.path()))
            fs::permissions(entry.path(), perms::all);
    }
    void TestBody() override {}
};

// The owner's own process is there to show that the other one could have been found.
void areNoneOfThisUsers() {
    class Test : public OthersApplications {
    public:
        void run() {
            const auto program = makeBundle(bundle, "a.b");
            openToAll();
            const auto others = start(program, nobody);
            const auto own = start(program);
            EXPECT_THAT(found(), ElementsAre(Found{QStringLiteral("a.b"), own->processId(), bundle}));
        }
    };
    Test().run();
}

const bool othersTested = test_support::registerTestIf(::geteuid() == 0, "OthersApplications",
                                                       "AreNoneOfThisUsers", areNoneOfThisUsers);

QString identifierOfThisTest(const QString &name) {
    return QStringLiteral("com.brennic.test.%1.%2").arg(name).arg(::getpid());
}

TEST(SingleInstance, IsClaimedOnce) {
    const QString identifier = identifierOfThisTest(QStringLiteral("once"));
    EXPECT_TRUE(claimSingleInstance(identifier));
    EXPECT_FALSE(claimSingleInstance(identifier));
    EXPECT_TRUE(claimSingleInstance(identifier + QStringLiteral(".other")));
}

TEST(SingleInstance, IsFreeAgainWhenItsProcessWasKilled) {
    const QString identifier = identifierOfThisTest(QStringLiteral("killed"));
    int ready[2] = {};
    ASSERT_EQ(::pipe(ready), 0);
    const pid_t holder = ::fork();
    if (holder == 0) {
        const char claimed = claimSingleInstance(identifier) ? 1 : 0;
        (void)!::write(ready[1], &claimed, 1);
        for (;;)
            ::pause();
    }
    char claimed = 0;
    ASSERT_EQ(::read(ready[0], &claimed, 1), 1);
    EXPECT_EQ(claimed, 1);
    EXPECT_FALSE(claimSingleInstance(identifier));
    ::kill(holder, SIGKILL);
    ASSERT_EQ(::waitpid(holder, nullptr, 0), holder);
    EXPECT_TRUE(claimSingleInstance(identifier));
    ::close(ready[0]);
    ::close(ready[1]);
}

TEST(SingleInstance, IsClaimedInEveryContainer) {
    constexpr int notAllowed = 2;
    const QString identifier = identifierOfThisTest(QStringLiteral("container"));
    EXPECT_TRUE(claimSingleInstance(identifier));
    const pid_t maker = ::fork();
    if (maker == 0) {
        if (::unshare(CLONE_NEWPID) != 0)
            ::_exit(notAllowed);
        const pid_t inside = ::fork();
        if (inside == 0)
            ::_exit(claimSingleInstance(identifier) && !claimSingleInstance(identifier) ? 0 : 1);
        int status = 0;
        ::waitpid(inside, &status, 0);
        ::_exit(WEXITSTATUS(status));
    }
    int status = 0;
    ASSERT_EQ(::waitpid(maker, &status, 0), maker);
    ASSERT_TRUE(WIFEXITED(status)) << status;
    if (WEXITSTATUS(status) == notAllowed)
        GTEST_SKIP() << "this machine makes no containers for this user";
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST(SingleInstance, IsNobodysUnderATooLongName) {
    EXPECT_FALSE(claimSingleInstance(QString(200, u'a')));
}

} // namespace
