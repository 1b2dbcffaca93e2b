#include "platform/Account.h"

#include "platform/linux/ApplicationRoots.h"
#include "test_support/Isolation.h"
#include "test_support/ScratchHome.h"

#include <gmock/gmock.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

using test_support::ScopedEnvironment;
using testing::ElementsAre;
using testing::IsEmpty;

class AccountTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(test_support::hasOwnNamespaces()); }

    static void expectFolders(const fs::path &library, const fs::path &caches) {
        EXPECT_THAT(platform::userLibraryFolders(), ElementsAre(library));
        EXPECT_THAT(platform::userCachesFolders(), ElementsAre(caches));
    }

    // The password database has this home folder for this user.
    test_support::Mount databaseWith(const QByteArray &folder) const {
        const QByteArray user = QByteArray::number(::geteuid());
        const fs::path database = home.path() / "passwd";
        test_support::writeFile(database, "tester:x:" + user + ":0::" + folder + ":/bin/sh\n");
        return test_support::Mount::over(database, "/etc/passwd");
    }

    test_support::ScratchHome home;
};

TEST_F(AccountTest, HasItsFoldersBelowTheHomeFolderUnlessAVariableNamesThem) {
    for (const auto &value : {std::optional<std::string>(), {"data"}, {"./data"}, {"~/data"}, {""}}) {
        const ScopedEnvironment data("XDG_DATA_HOME", value);
        const ScopedEnvironment cache("XDG_CACHE_HOME", value);
        expectFolders(home.path() / ".local/share/Library", home.path() / ".cache");
    }
    const ScopedEnvironment data("XDG_DATA_HOME", "/data/\xff");
    const ScopedEnvironment cache("XDG_CACHE_HOME", "/cache/of/user");
    expectFolders("/data/\xff/Library", "/cache/of/user");
}

TEST_F(AccountTest, WithoutHomeHasItsFoldersBelowTheOneOfThePasswordDatabase) {
    const auto database = databaseWith("/home/tester");
    for (const auto &value : {std::optional<std::string>(), {"here"}}) {
        const ScopedEnvironment variable("HOME", value);
        expectFolders("/home/tester/.local/share/Library", "/home/tester/.cache");
    }
}

TEST_F(AccountTest, WithoutAHomeFolderHasOnlyTheFoldersThatVariablesName) {
    const auto database = databaseWith("");
    const ScopedEnvironment variable("HOME", std::nullopt);
    EXPECT_EQ(platform::homeFolder(), std::nullopt);
    EXPECT_THAT(platform::userLibraryFolders(), IsEmpty());
    EXPECT_THAT(platform::userCachesFolders(), IsEmpty());
    const auto roots = platform::applicationRoots();
    EXPECT_THAT(roots.desktopEntries,
                ElementsAre("/usr/local/share/applications", "/usr/share/applications"));
    EXPECT_THAT(roots.bundles, ElementsAre("/Applications"));
    const ScopedEnvironment data("XDG_DATA_HOME", "/data");
    EXPECT_THAT(platform::userLibraryFolders(), ElementsAre("/data/Library"));
}

TEST_F(AccountTest, LooksForApplicationsInItsOwnFoldersAndThenTheMachines) {
    const auto roots = platform::applicationRoots();
    EXPECT_THAT(roots.desktopEntries,
                ElementsAre(home.path() / ".local/share/applications", "/usr/local/share/applications",
                            "/usr/share/applications"));
    EXPECT_THAT(roots.bundles, ElementsAre(home.path() / "Applications", "/Applications"));
    EXPECT_THAT(roots.nestedBundles, ElementsAre("/opt"));
    const ScopedEnvironment data("XDG_DATA_HOME", "/data");
    const ScopedEnvironment others("XDG_DATA_DIRS", "/one:two::/thr\xff:./four");
    EXPECT_THAT(platform::applicationRoots().desktopEntries,
                ElementsAre("/data/applications", "/one/applications", "/thr\xff/applications"));
}

void knowsRootInAnotherHome() {
    const test_support::ScratchFolder place;
    const fs::path own = place.path() / "own";
    const fs::path another = place.path() / "another";
    for (const fs::path &folder : {own, another})
        fs::create_directory(folder);
    ASSERT_EQ(::chown(another.c_str(), 65534, 65534), 0);
    fs::create_symlink(another, own / "link");
    const struct {
        fs::path home;
        std::optional<std::string> data;
        std::optional<std::string> caches;
        bool isAnothers;
    } cases[] = {{own, {}, {}, false},
                 {own / "missing", {}, {}, false},
                 {"/missing", {}, {}, false},
                 {another, {}, {}, true},
                 {another / "missing", {}, {}, true},
                 {own / "link", {}, {}, true},
                 {own, another / "data", {}, true},
                 {own, {}, another / "caches", true}};
    for (const auto &[home, data, caches, isAnothers] : cases) {
        const ScopedEnvironment homeVariable("HOME", home);
        const ScopedEnvironment dataVariable("XDG_DATA_HOME", data);
        const ScopedEnvironment cachesVariable("XDG_CACHE_HOME", caches);
        EXPECT_EQ(platform::isRootInAnotherHome(), isAnothers)
            << home << data.value_or("") << caches.value_or("");
    }
    ASSERT_EQ(::seteuid(65534), 0);
    const ScopedEnvironment home("HOME", own);
    EXPECT_FALSE(platform::isRootInAnotherHome());
    ASSERT_EQ(::seteuid(0), 0);
}
const bool rootTested = test_support::registerTestIf(::geteuid() == 0, "AccountAsRoot",
                                                     "KnowsRootInAnotherHome", knowsRootInAnotherHome);

} // namespace
