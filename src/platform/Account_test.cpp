#include "platform/Account.h"

#include "test_support/Isolation.h"
#include "test_support/Machine.h"

#include <gmock/gmock.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

using test_support::ScopedEnvironment;
using testing::ElementsAre;

class Account : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(test_support::hasOwnNamespaces()); }

    test_support::Machine machine;
};

TEST_F(Account, HasItsFoldersBelowTheHomeFolder) {
    EXPECT_EQ(platform::homeFolder(), machine.home());
    EXPECT_THAT(platform::userLibraryFolders(), ElementsAre(machine.library()));
    EXPECT_THAT(platform::userCachesFolders(), ElementsAre(machine.caches()));
}

TEST_F(Account, HasItsNameAndWithoutHomeItsFolderFromThePasswordDatabase) {
    const fs::path database = machine.home() / "passwd";
    test_support::writeFile(database,
                            "tester:x:" + QByteArray::number(::geteuid()) + ":0::/home/tester:/bin/sh\n");
    const auto mount = test_support::Mount::over(database, "/etc/passwd");
    const ScopedEnvironment name("USER", "impostor");
    EXPECT_EQ(platform::userName(), QStringLiteral("tester"));
    for (const auto &value : {std::optional<std::string>(), {"here"}}) {
        const ScopedEnvironment variable("HOME", value);
        EXPECT_EQ(platform::homeFolder(), fs::path("/home/tester"));
    }
}

TEST_F(Account, KnowsRootInTheHomeOfAnother) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "this process is not root";
    EXPECT_FALSE(platform::isRootInAnotherHome());
    fs::create_directories(machine.library());
    EXPECT_FALSE(platform::isRootInAnotherHome());
    ASSERT_EQ(::chown(machine.library().c_str(), 65534, 65534), 0);
    EXPECT_TRUE(platform::isRootInAnotherHome());
}

TEST(EnvironmentPath, IsAnAbsoluteValue) {
    for (const auto &value : {std::optional<std::string>(), {""}, {"here"}, {"~/here"}}) {
        const ScopedEnvironment variable("ANY_PATH", value);
        EXPECT_EQ(platform::environmentPath("ANY_PATH"), std::nullopt);
    }
    const ScopedEnvironment variable("ANY_PATH", "/any/\xff");
    EXPECT_EQ(platform::environmentPath("ANY_PATH"), fs::path("/any/\xff"));
}

} // namespace
