#include "platform/Network.h"

#include "platform/linux/LinkMessages.h"
#include "platform/posix/FileDescriptor.h"

#include <arpa/inet.h>
#include <array>
#include <cstring>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <linux/if_tun.h>
#include <linux/rtnetlink.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <netinet/in.h>
#include <sched.h>
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

TEST_F(NetworkTest, HasTheHardwareAddressesInTheKernelsOrderAndIsThereOnceAnInterfaceIsUpAndHasAnAddress) {
    setFlags("lo", IFF_UP);
    EXPECT_THAT(platform::hardwareAddresses(), Optional(IsEmpty()));
    makeInterface("zeta", {0xa4, 0x83, 0xe7, 0x0b, 0x12, 0x9c});
    makeInterface("alpha", {0x02, 0x00, 0x00, 0xAB, 0xCD, 0xEF});
    EXPECT_FALSE(platform::hasNetwork());
    setAddress("zeta", "192.0.2.1");
    setFlags("zeta", 0);
    EXPECT_FALSE(platform::hasNetwork());
    setFlags("zeta", IFF_UP);
    EXPECT_TRUE(platform::hasNetwork());

    // A tunnel, which not every machine can make, has no hardware address.
    const FileDescriptor tunnel(::open("/dev/net/tun", O_RDWR | O_CLOEXEC));
    struct ifreq setting {};
    setting.ifr_flags = IFF_TUN;
    EXPECT_TRUE(!tunnel || ::ioctl(tunnel.get(), TUNSETIFF, &setting) == 0);
    EXPECT_THAT(platform::hardwareAddresses(), Optional(ElementsAre(QStringLiteral("a4:83:e7:0b:12:9c"),
                                                                    QStringLiteral("02:00:00:ab:cd:ef"))));
}

// A message as the kernel sends it, with these attributes.
QByteArray linkMessage(unsigned short type, unsigned flags,
                       const std::vector<std::pair<unsigned short, QByteArray>> &attributes) {
    const auto bytesOf = [](const auto &value) {
        return QByteArray(reinterpret_cast<const char *>(&value), sizeof value);
    };
    struct ifinfomsg link {};
    link.ifi_type = type;
    link.ifi_flags = flags;
    QByteArray content = bytesOf(link);
    for (const auto &[kind, value] : attributes) {
        const struct rtattr head = {static_cast<unsigned short>(RTA_LENGTH(value.size())), kind};
        content += (bytesOf(head) + value).leftJustified(RTA_SPACE(value.size()), '\0');
    }
    struct nlmsghdr head {};
    head.nlmsg_len = static_cast<unsigned>(NLMSG_LENGTH(content.size()));
    head.nlmsg_type = RTM_NEWLINK;
    return bytesOf(head) + content;
}

TEST(HardwareAddresses, ArePermanentOnesBeforeThoseThatMayBeRandomAndWhole) {
    const auto octets = [](const char *hex) { return QByteArray::fromHex(hex); };
    const auto ethernet = [](const auto &...attributes) {
        return linkMessage(ARPHRD_ETHER, IFF_UP, {{IFLA_IFNAME, "a"}, attributes...});
    };
    using Attribute = std::pair<unsigned short, QByteArray>;
    const QByteArray infiniband = "80000048fe80000000000000f452140300a1b2c3";
    const QByteArray messages =
        linkMessage(ARPHRD_LOOPBACK, IFF_LOOPBACK, {{IFLA_ADDRESS, octets("010203040506")}}) +
        ethernet(Attribute(IFLA_ADDRESS, octets("02427da1b2c3"))) +
        ethernet(Attribute(IFLA_ADDRESS, octets("000000000000"))) + ethernet() +
        linkMessage(ARPHRD_SIT, IFF_UP,
                    {{IFLA_ADDRESS, octets("c0000201")}, {IFLA_PERM_ADDRESS, octets("c0000201")}}) +
        ethernet(Attribute(IFLA_ADDRESS, octets("aed30b12cc01")),
                 Attribute(IFLA_PERM_ADDRESS, octets("A483E70B129C"))) +
        linkMessage(ARPHRD_INFINIBAND, IFF_UP,
                    {{IFLA_ADDRESS, octets("01")}, {IFLA_PERM_ADDRESS, octets(infiniband)}}) +
        ethernet(Attribute(IFLA_ADDRESS, octets("025500000001")));
    EXPECT_THAT(platform::hardwareAddressesIn(messages),
                ElementsAre(QStringLiteral("a4:83:e7:0b:12:9c"),
                            QString::fromLatin1(octets(infiniband).toHex(':')),
                            QStringLiteral("02:42:7d:a1:b2:c3"), QStringLiteral("02:55:00:00:00:01")));
    EXPECT_THAT(platform::hardwareAddressesIn({}), IsEmpty());
}

TEST(LinkMessages, EndWhereTheKernelSaysWhateverElseIsInThatDatagram) {
    const auto message = [](unsigned short type) {
        const struct nlmsghdr head = {sizeof head, type, 0, 0, 0};
        return QByteArray(reinterpret_cast<const char *>(&head), sizeof head);
    };
    const QByteArray link = linkMessage(ARPHRD_ETHER, IFF_UP, {{IFLA_ADDRESS, "\1\2\3\4\5\6"}});
    const QByteArray done = message(NLMSG_DONE);
    const std::pair<std::vector<QByteArray>, std::optional<std::size_t>> cases[] = {
        {{link, link + link, done, link}, 3},
        {{link, link + link + done, link}, 3},
        {{done}, 0},
        {{link, message(NLMSG_ERROR), done}, {}},
        {{link + message(NLMSG_ERROR), done}, {}},
        {{link, "x", done}, {}},
        {{link}, {}}};
    for (const auto &[datagrams, links] : cases) {
        int ends[2] = {-1, -1};
        ASSERT_EQ(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends), 0);
        const FileDescriptor ours(ends[0]);
        {
            // Nothing is waited for when it has said all and is gone.
            const FileDescriptor kernel(ends[1]);
            for (const QByteArray &bytes : datagrams)
                ASSERT_EQ(::send(kernel.get(), bytes.constData(), std::size_t(bytes.size()), 0),
                          bytes.size());
        }
        const auto messages = platform::linkMessagesFrom(ours);
        EXPECT_EQ(messages ? std::optional(platform::hardwareAddressesIn(*messages).size()) : std::nullopt,
                  links);
    }
}

} // namespace
