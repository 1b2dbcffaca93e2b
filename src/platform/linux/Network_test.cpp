#include "platform/Network.h"

#include "platform/posix/FileDescriptor.h"
#include "test_support/ConditionalTest.h"

#include <arpa/inet.h>
#include <array>
#include <cstring>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <linux/if_tun.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <netinet/in.h>
#include <sched.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

// A network namespace of the test's own, with nothing but a loopback that is down.
class Machine : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(::unshare(CLONE_NEWNET), 0);
        control = platform::FileDescriptor(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    }

    struct ifreq request(const char *interface) {
        struct ifreq result {};
        std::strncpy(result.ifr_name, interface, IFNAMSIZ - 1);
        return result;
    }

    // A bridge without ports is the one interface that every Linux makes.
    void makeInterface(const char *name, const std::array<unsigned char, 6> &address) {
        ASSERT_EQ(::ioctl(control.get(), SIOCBRADDBR, name), 0);
        struct ifreq setting = request(name);
        setting.ifr_hwaddr.sa_family = ARPHRD_ETHER;
        std::memcpy(setting.ifr_hwaddr.sa_data, address.data(), address.size());
        ASSERT_EQ(::ioctl(control.get(), SIOCSIFHWADDR, &setting), 0);
    }

    void setUp(const char *name) {
        struct ifreq setting = request(name);
        setting.ifr_flags = IFF_UP;
        ASSERT_EQ(::ioctl(control.get(), SIOCSIFFLAGS, &setting), 0);
    }

    void setAddress(const char *name, const char *address) {
        struct ifreq setting = request(name);
        struct sockaddr_in value {};
        value.sin_family = AF_INET;
        ::inet_pton(AF_INET, address, &value.sin_addr);
        std::memcpy(&setting.ifr_addr, &value, sizeof value);
        ASSERT_EQ(::ioctl(control.get(), SIOCSIFADDR, &setting), 0);
    }

    platform::FileDescriptor control;
};

TEST_F(Machine, GivesHardwareAddressesInTheKernelsOrderWhateverTheInterfacesAreCalled) {
    makeInterface("zeta", {0xa4, 0x83, 0xe7, 0x0b, 0x12, 0x9c});
    makeInterface("alpha", {0x02, 0x00, 0x00, 0xAB, 0xCD, 0xEF});
    EXPECT_THAT(platform::hardwareAddresses(), Optional(ElementsAre(QStringLiteral("a4:83:e7:0b:12:9c"),
                                                                    QStringLiteral("02:00:00:ab:cd:ef"))));
}

TEST_F(Machine, GivesEachInterfaceOnceHoweverManyNetworkAddressesItHas) {
    makeInterface("one", {2, 0, 0, 0, 0, 1});
    setAddress("one", "192.0.2.1");
    setUp("one");
    EXPECT_THAT(platform::hardwareAddresses(), Optional(ElementsAre(QStringLiteral("02:00:00:00:00:01"))));
}

TEST_F(Machine, HasAnEmptyListWithNothingButLoopback) {
    setUp("lo");
    EXPECT_THAT(platform::hardwareAddresses(), Optional(IsEmpty()));
}

TEST_F(Machine, HasANetworkOnceAnInterfaceIsUpAndHasAnAddress) {
    setUp("lo");
    makeInterface("one", {2, 0, 0, 0, 0, 1});
    EXPECT_FALSE(platform::hasNetwork());
    setAddress("one", "192.0.2.1");
    struct ifreq down = request("one");
    ASSERT_EQ(::ioctl(control.get(), SIOCSIFFLAGS, &down), 0);
    EXPECT_FALSE(platform::hasNetwork());
    setUp("one");
    EXPECT_TRUE(platform::hasNetwork());
}

void hasNoHardwareAddress() {
    ASSERT_EQ(::unshare(CLONE_NEWNET), 0);
    const platform::FileDescriptor tunnel(::open("/dev/net/tun", O_RDWR | O_CLOEXEC));
    struct ifreq setting {};
    std::strcpy(setting.ifr_name, "tunnel");
    setting.ifr_flags = IFF_TUN;
    ASSERT_EQ(::ioctl(tunnel.get(), TUNSETIFF, &setting), 0);
    EXPECT_THAT(platform::hardwareAddresses(), Optional(IsEmpty()));
}
const bool tunnelTested = test_support::registerTestIf(::access("/dev/net/tun", R_OK | W_OK) == 0, "Tunnel",
                                                       "HasNoHardwareAddress", hasNoHardwareAddress);

// Two ends of a connection over the loopback interface.
class ConnectionTest : public testing::Test {
protected:
    ConnectionTest() {
        const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        struct sockaddr_in address {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto *generic = reinterpret_cast<struct sockaddr *>(&address);
        if (::bind(listener, generic, size) != 0 || ::listen(listener, 1) != 0 ||
            ::getsockname(listener, generic, &size) != 0 || ::connect(sender, generic, size) != 0)
            std::abort();
        receiver = ::accept(listener, nullptr, nullptr);
        ::close(listener);
    }
    ~ConnectionTest() override {
        ::close(sender);
        ::close(receiver);
    }

    int sender = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    int receiver = -1;
};

TEST_F(ConnectionTest, WhatTheOtherSideDoesNotTakeIsUnsentAndShrinksAsItReads) {
    const std::string block(1 << 16, 'x');
    while (::send(sender, block.data(), block.size(), MSG_DONTWAIT) > 0) {
    }
    const std::size_t unsent = platform::unsentBytes(sender);
    EXPECT_GT(unsent, 0U);
    std::string buffer(1 << 20, ' ');
    for (int i = 0; i < 100 && platform::unsentBytes(sender) >= unsent; ++i) {
        ::recv(receiver, buffer.data(), buffer.size(), MSG_DONTWAIT);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_LT(platform::unsentBytes(sender), unsent);
}

TEST(Sockets, NothingIsUnsentOnWhatIsNoConnection) {
    const int file = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    EXPECT_EQ(platform::unsentBytes(file), 0U);
    ::close(file);
    EXPECT_EQ(platform::unsentBytes(-1), 0U);
}

} // namespace
