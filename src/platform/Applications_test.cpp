#include "platform/Applications.h"

#include "test_support/Isolation.h"
#include "test_support/Machine.h"
#include "test_support/ProgramRun.h"

#include <gmock/gmock.h>

namespace fs = std::filesystem;

namespace {

using platform::claimSingleInstance;
using testing::ElementsAre;
using testing::FieldsAre;
using testing::IsEmpty;

class ApplicationsTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(test_support::hasOwnNamespaces()); }

    const QString identifier = QStringLiteral("com.example.product");
    const QString other = QStringLiteral("com.example.other");
    test_support::Machine machine;
};

TEST_F(ApplicationsTest, AreFoundByTheirIdentifierWhereTheyAreInstalled) {
    EXPECT_THAT(platform::installedApplications(identifier), IsEmpty());
    const fs::path bundle = machine.install(identifier);
    machine.install(other);
    EXPECT_THAT(platform::installedApplications(identifier), ElementsAre(bundle));
}

TEST_F(ApplicationsTest, AreListedInOrderWhileTheyRun) {
    EXPECT_THAT(platform::runningApplications(), IsEmpty());
    const auto first = machine.run(identifier);
    const auto second = machine.run(other);
    EXPECT_THAT(platform::runningApplications(),
                ElementsAre(FieldsAre(identifier, first.processIdentifier, first.bundle),
                            FieldsAre(other, second.processIdentifier, second.bundle)));
    machine.endApplications();
    EXPECT_THAT(platform::runningApplications(), IsEmpty());
}

TEST_F(ApplicationsTest, GoOnOnceEach) {
    const fs::path place = machine.home() / "a/b";
    const auto claimInChild = [&](const QString &name) {
        return test_support::statusInChild([&] { return claimSingleInstance(name, place) ? 1 : 0; });
    };
    EXPECT_EQ(claimInChild(identifier), 1) << "a claim ends with its process";
    EXPECT_TRUE(claimSingleInstance(identifier, place));
    EXPECT_EQ(claimInChild(identifier), 0);
    EXPECT_EQ(claimInChild(other), 1);
}

TEST_F(ApplicationsTest, AreCountedWhereNothingCanBeLocked) {
    test_support::writeFile(machine.home() / "file", "");
    for (const fs::path &without : {machine.home() / "file", fs::path()}) {
        EXPECT_TRUE(claimSingleInstance(identifier, without));
        machine.run(other);
        EXPECT_TRUE(claimSingleInstance(identifier, without));
        machine.run(identifier);
        EXPECT_FALSE(claimSingleInstance(identifier, without));
        machine.endApplications();
    }
}

} // namespace
