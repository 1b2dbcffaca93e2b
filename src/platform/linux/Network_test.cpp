#include "platform/Network.h"

#include "platform/posix/FileDescriptor.h"
#include "test_support/Isolation.h"
#include "test_support/ProgramRun.h"

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
#include <unistd.h>

namespace {

using platform::FileDescriptor;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

// A network namespace with nothing but a loopback interface that is down.
class NetworkTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(::unshare(CLONE_NEWNET), 0);
        control = FileDescriptor(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    }

    // Makes a request of the kernel about one interface.
    template <typename Fill>
    void request(unsigned long what, const char *name, Fill fill) {
        struct ifreq setting {};
        std::strncpy(setting.ifr_name, name, IFNAMSIZ - 1);
        fill(setting);
        ASSERT_EQ(::ioctl(control.get(), what, &setting), 0);
    }

    // A bridge without ports is the one kind of interface that every Linux can make.
    void makeInterface(const char *name, const std::array<unsigned char, 6> &address) {
        ASSERT_EQ(::ioctl(control.get(), SIOCBRADDBR, name), 0);
        request(SIOCSIFHWADDR, name, [&](struct ifreq &setting) {
            setting.ifr_hwaddr.sa_family = ARPHRD_ETHER;
            std::memcpy(setting.ifr_hwaddr.sa_data, address.data(), address.size());
        });
    }
    void setFlags(const char *name, short flags) {
        request(SIOCSIFFLAGS, name, [&](struct ifreq &setting) { setting.ifr_flags = flags; });
    }
    void setAddress(const char *name, const char *address) {
        struct sockaddr_in value {};
        value.sin_family = AF_INET;
        ::inet_pton(AF_INET, address, &value.sin_addr);
        request(SIOCSIFADDR, name,
                [&](struct ifreq &setting) { std::memcpy(&setting.ifr_addr, &value, sizeof value); });
    }

    FileDescriptor control;
};

TEST_F(NetworkTest, HasTheHardwareAddressesInTheKernelsOrderEachOnce) {
    setFlags("lo", IFF_UP);
    EXPECT_THAT(platform::hardwareAddresses(), Optional(IsEmpty()));
    makeInterface("zeta", {0xa4, 0x83, 0xe7, 0x0b, 0x12, 0x9c});
    makeInterface("alpha", {0x02, 0x00, 0x00, 0xAB, 0xCD, 0xEF});
    setAddress("zeta", "192.0.2.1");
    setFlags("zeta", IFF_UP);
    EXPECT_THAT(platform::hardwareAddresses(), Optional(ElementsAre(QStringLiteral("a4:83:e7:0b:12:9c"),
                                                                    QStringLiteral("02:00:00:ab:cd:ef"))));
}

TEST_F(NetworkTest, IsThereOnceAnInterfaceIsUpAndHasAnAddress) {
    setFlags("lo", IFF_UP);
    makeInterface("one", {2, 0, 0, 0, 0, 1});
    EXPECT_FALSE(platform::hasNetwork());
    setAddress("one", "192.0.2.1");
    setFlags("one", 0);
    EXPECT_FALSE(platform::hasNetwork());
    setFlags("one", IFF_UP);
    EXPECT_TRUE(platform::hasNetwork());
}

void hasNoHardwareAddress() {
    ASSERT_EQ(::unshare(CLONE_NEWNET), 0);
    const FileDescriptor tunnel(::open("/dev/net/tun", O_RDWR | O_CLOEXEC));
    struct ifreq setting {};
    std::strcpy(setting.ifr_name, "tunnel");
    setting.ifr_flags = IFF_TUN;
    ASSERT_EQ(::ioctl(tunnel.get(), TUNSETIFF, &setting), 0);
    EXPECT_THAT(platform::hardwareAddresses(), Optional(IsEmpty()));
}
const bool tunnelTested = test_support::registerTestIf(::access("/dev/net/tun", R_OK | W_OK) == 0, "Tunnel",
                                                       "HasNoHardwareAddress", hasNoHardwareAddress);

TEST(UnsentBytes, AreWhatTheOtherSideHasNotYetTaken) {
    const FileDescriptor listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const FileDescriptor sender(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    struct sockaddr_in address {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto *generic = reinterpret_cast<struct sockaddr *>(&address);
    ASSERT_TRUE(::bind(listener.get(), generic, size) == 0 && ::listen(listener.get(), 1) == 0 &&
                ::getsockname(listener.get(), generic, &size) == 0 &&
                ::connect(sender.get(), generic, size) == 0);
    const FileDescriptor receiver(::accept(listener.get(), nullptr, nullptr));

    const std::string block(1 << 16, 'x');
    while (::send(sender.get(), block.data(), block.size(), MSG_DONTWAIT) > 0) {
    }
    const std::size_t unsent = platform::unsentBytes(sender.get());
    EXPECT_GT(unsent, 0U);
    std::string buffer(1 << 20, ' ');
    EXPECT_TRUE(test_support::waitUntil([&] {
        ::recv(receiver.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
        return platform::unsentBytes(sender.get()) < unsent;
    }));
}

TEST(UnsentBytes, AreNoneOnWhatIsNoConnection) {
    const FileDescriptor file(::open("/dev/null", O_WRONLY | O_CLOEXEC));
    for (const int socket : {file.get(), -1})
        EXPECT_EQ(platform::unsentBytes(socket), 0U);
}

} // namespace
