#include "platform/Network.h"

#include "platform/posix/FileDescriptor.h"
#include "test_support/Isolation.h"
#include "test_support/Machine.h"
#include "test_support/ProgramRun.h"

#include <gmock/gmock.h>
#include <sys/socket.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

TEST(HardwareAddresses, AreTheInterfacesInTheirOrder) {
    ASSERT_TRUE(test_support::hasOwnNamespaces());
    test_support::Machine machine;
    machine.setHardwareAddresses({});
    EXPECT_THAT(platform::hardwareAddresses(), Optional(IsEmpty()));
    machine.setHardwareAddresses({"a4:83:e7:0b:12:9c", "02:00:00:ab:cd:ef"});
    EXPECT_THAT(platform::hardwareAddresses(), Optional(ElementsAre(QStringLiteral("a4:83:e7:0b:12:9c"),
                                                                    QStringLiteral("02:00:00:ab:cd:ef"))));
}

TEST(Network, IsThereOnceAnInterfaceBesidesTheLoopbackIsUpAndHasAnAddress) {
    const auto hasNetworkIn = [](void (*place)()) {
        return test_support::statusInChild([place] {
            place();
            return platform::hasNetwork() ? 1 : 0;
        });
    };
    EXPECT_EQ(hasNetworkIn(test_support::enterNoNetwork), 0);
    EXPECT_EQ(hasNetworkIn(test_support::enterLoopbackNetwork), 0);
    if (test_support::canEnter(test_support::enterLonelyNetwork)) {
        EXPECT_EQ(hasNetworkIn(test_support::enterLonelyNetwork), 1);
    }
}

TEST(UnsentBytes, AreWhatTheOtherSideHasNotYetTaken) {
    int ends[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    const platform::FileDescriptor sender(ends[0]);
    const platform::FileDescriptor receiver(ends[1]);
    ASSERT_EQ(::send(sender.get(), "x", 1, 0), 1);
    EXPECT_GT(platform::unsentBytes(sender.get()), 0U);
    char taken = 0;
    ASSERT_EQ(::recv(receiver.get(), &taken, 1, 0), 1);
    EXPECT_EQ(platform::unsentBytes(sender.get()), 0U);
    EXPECT_EQ(platform::unsentBytes(-1), 0U);
}

} // namespace
