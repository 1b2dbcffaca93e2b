#include "platform/Account.h"

#include "platform/Applications.h"
#include "test_support/Isolation.h"
#include "test_support/Mounts.h"
#include "test_support/ScratchHome.h"

#include <gmock/gmock.h>
#include <string>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

using test_support::ScopedEnvironment;
using testing::ElementsAre;
using testing::IsEmpty;

class Locations : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(test_support::hasOwnNamespaces()); }

    test_support::ScratchHome home;
};

// The user's entry in the password database names this home folder.
class AccountWithHome {
public:
    explicit AccountWithHome(const std::string &home)
        : m_mount(test_support::Mount::over(databaseWith(home), "/etc/passwd")) {}

private:
    fs::path databaseWith(const std::string &home) {
        const std::string user = std::to_string(::geteuid());
        test_support::writeFile(m_folder.path() / "passwd",
                                QByteArray::fromStdString("tester:x:" + user + ":0::" + home + ":/bin/sh\n"));
        return m_folder.path() / "passwd";
    }

    test_support::ScratchFolder m_folder;
    test_support::Mount m_mount;
    ScopedEnvironment m_variable{"HOME", std::nullopt};
};

TEST_F(Locations, AreBelowTheHomeFolderByDefault) {
    EXPECT_THAT(platform::userLibraryFolders(), ElementsAre(home.path() / ".local/share/Library"));
    EXPECT_THAT(platform::userCachesFolders(), ElementsAre(home.path() / ".cache"));
}

TEST_F(Locations, FollowTheVariablesOfTheBaseDirectoryStandard) {
    const ScopedEnvironment data("XDG_DATA_HOME", "/data/of/user");
    const ScopedEnvironment cache("XDG_CACHE_HOME", "/cache/of/user");
    EXPECT_THAT(platform::userLibraryFolders(), ElementsAre(fs::path("/data/of/user/Library")));
    EXPECT_THAT(platform::userCachesFolders(), ElementsAre(fs::path("/cache/of/user")));
}

TEST_F(Locations, IgnoreRelativeAndEmptyVariables) {
    for (const char *value : {"data", "./data", "~/data", ""}) {
        const ScopedEnvironment data("XDG_DATA_HOME", value);
        const ScopedEnvironment cache("XDG_CACHE_HOME", value);
        EXPECT_THAT(platform::userLibraryFolders(), ElementsAre(home.library())) << value;
        EXPECT_THAT(platform::userCachesFolders(), ElementsAre(home.caches())) << value;
    }
}

TEST_F(Locations, KeepBytesThatAreNotUtf8) {
    const ScopedEnvironment data("XDG_DATA_HOME", "/data/\xff");
    EXPECT_THAT(platform::userLibraryFolders(), ElementsAre(fs::path("/data/\xff/Library")));
}

TEST_F(Locations, TakeTheHomeFolderFromThePasswordDatabaseWhenHomeIsUnset) {
    const AccountWithHome account("/home/tester");
    EXPECT_EQ(platform::homeFolder(), fs::path("/home/tester"));
    EXPECT_THAT(platform::userLibraryFolders(), ElementsAre(fs::path("/home/tester/.local/share/Library")));
    EXPECT_THAT(platform::userCachesFolders(), ElementsAre(fs::path("/home/tester/.cache")));
}

TEST_F(Locations, TakeTheHomeFolderFromThePasswordDatabaseWhenHomeIsRelative) {
    const AccountWithHome account("/home/tester");
    const ScopedEnvironment relative("HOME", "here");
    EXPECT_EQ(platform::homeFolder(), fs::path("/home/tester"));
}

TEST_F(Locations, AreNoneWithoutAnyHomeFolder) {
    const AccountWithHome account("");
    EXPECT_EQ(platform::homeFolder(), std::nullopt);
    EXPECT_THAT(platform::userLibraryFolders(), IsEmpty());
    EXPECT_THAT(platform::userCachesFolders(), IsEmpty());
}

TEST_F(Locations, NeedNoHomeFolderWhenTheVariablesNameThem) {
    const AccountWithHome account("");
    const ScopedEnvironment data("XDG_DATA_HOME", "/data");
    EXPECT_THAT(platform::userLibraryFolders(), ElementsAre(fs::path("/data/Library")));
}

TEST_F(Locations, OfApplicationsAreDesktopEntriesThenApplicationFoldersThenOpt) {
    const auto roots = platform::applicationRoots();
    EXPECT_THAT(roots.desktopEntries,
                ElementsAre(home.path() / ".local/share/applications", "/usr/local/share/applications",
                            "/usr/share/applications"));
    EXPECT_THAT(roots.bundles, ElementsAre(home.path() / "Applications", "/Applications"));
    EXPECT_THAT(roots.nestedBundles, ElementsAre("/opt"));
}

TEST_F(Locations, OfApplicationsFollowTheVariablesAndIgnoreRelativeValues) {
    const ScopedEnvironment data("XDG_DATA_HOME", "/data");
    const ScopedEnvironment others("XDG_DATA_DIRS", "/one:two::/thr\xff:./four");
    EXPECT_THAT(platform::applicationRoots().desktopEntries,
                ElementsAre("/data/applications", "/one/applications", "/thr\xff/applications"));
}

TEST_F(Locations, OfApplicationsWithoutAHomeFolderAreTheMachines) {
    const AccountWithHome account("");
    const auto roots = platform::applicationRoots();
    EXPECT_THAT(roots.desktopEntries,
                ElementsAre("/usr/local/share/applications", "/usr/share/applications"));
    EXPECT_THAT(roots.bundles, ElementsAre("/Applications"));
}

TEST_F(Locations, LeaveTheUserNameToThePasswordDatabase) {
    const AccountWithHome account("/home/other");
    const ScopedEnvironment name("USER", "impostor");
    EXPECT_EQ(platform::userName(), QStringLiteral("tester"));
}

} // namespace
