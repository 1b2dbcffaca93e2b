#include "platform/Network.h"

#include "platform/Bundle.h"
#include "platform/linux/LinkMessages.h"
#include "platform/posix/FileDescriptor.h"
#include "platform/posix/Program.h"

#include <QByteArrayList>
#include <algorithm>
#include <linux/rtnetlink.h>
#include <linux/sockios.h>
#include <map>
#include <net/if.h>
#include <net/if_arp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace platform {

namespace {

// The text of an address; empty when it is all zeros.
QString addressText(const struct rtattr *attribute) {
    const QByteArray bytes(static_cast<const char *>(RTA_DATA(attribute)), RTA_PAYLOAD(attribute));
    return bytes.count('\0') == bytes.size() ? QString() : QString::fromLatin1(bytes.toHex(':'));
}

bool hasHardware(const struct ifinfomsg &link) {
    // The C library does not know the last one's name.
    constexpr unsigned short without[] = {ARPHRD_TUNNEL, ARPHRD_TUNNEL6, ARPHRD_SIT, ARPHRD_IPGRE, 823};
    return (link.ifi_flags & IFF_LOOPBACK) == 0 && std::ranges::count(without, link.ifi_type) == 0;
}

// Everything that the kernel says of the interfaces; none when it says nothing.
std::optional<QByteArray> linkMessages() {
    const FileDescriptor socket(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE));
    struct {
        struct nlmsghdr head;
        struct ifinfomsg link;
    } request{};
    request.head = {sizeof request, RTM_GETLINK, NLM_F_REQUEST | NLM_F_DUMP, 0, 0};
    if (::send(socket.get(), &request, sizeof request, 0) < 0)
        return std::nullopt;
    return linkMessagesFrom(socket);
}

} // namespace

std::optional<QByteArray> linkMessagesFrom(const FileDescriptor &socket) {
    QByteArray messages;
    for (;;) {
        QByteArray part(1 << 16, Qt::Uninitialized);
        const ssize_t count =
            uninterrupted([&] { return ::recv(socket.get(), part.data(), std::size_t(part.size()), 0); });
        if (count < ssize_t{sizeof(struct nlmsghdr)})
            return std::nullopt;
        part.truncate(count);
        messages += part;
        auto left = static_cast<unsigned>(count);
        const auto *message = reinterpret_cast<const struct nlmsghdr *>(part.constData());
        for (; NLMSG_OK(message, left); message = NLMSG_NEXT(message, left)) {
            if (message->nlmsg_type == NLMSG_ERROR)
                return std::nullopt;
            if (message->nlmsg_type == NLMSG_DONE)
                return messages;
        }
    }
}

std::vector<QString> hardwareAddressesIn(const QByteArray &messages) {
    std::vector<QString> permanent;
    std::vector<QString> present;
    auto left = static_cast<unsigned>(messages.size());
    const auto *message = reinterpret_cast<const struct nlmsghdr *>(messages.constData());
    for (; NLMSG_OK(message, left); message = NLMSG_NEXT(message, left)) {
        const auto *link = reinterpret_cast<const struct ifinfomsg *>(message + 1);
        if (message->nlmsg_type != RTM_NEWLINK || !hasHardware(*link))
            continue;
        std::map<unsigned short, QString> addresses;
        auto rest = static_cast<unsigned>(IFLA_PAYLOAD(message));
        for (const auto *one = IFLA_RTA(link); RTA_OK(one, rest); one = RTA_NEXT(one, rest)) {
            if (one->rta_type == IFLA_ADDRESS || one->rta_type == IFLA_PERM_ADDRESS)
                addresses[one->rta_type] = addressText(one);
        }
        if (const QString address = addresses[IFLA_PERM_ADDRESS]; !address.isEmpty())
            permanent.push_back(address);
        else if (!addresses[IFLA_ADDRESS].isEmpty())
            present.push_back(addresses[IFLA_ADDRESS]);
    }
    permanent.insert(permanent.end(), present.begin(), present.end());
    return permanent;
}

std::optional<std::vector<QString>> hardwareAddresses() {
    const auto messages = linkMessages();
    return messages ? std::optional(hardwareAddressesIn(*messages)) : std::nullopt;
}

// By a program of its own: the library that knows may wait for a server without end, or run a script that it
// was given, and all that it loads is gone afterwards.
std::vector<QByteArray> desktopProxies(const QByteArray &url, const std::atomic<bool> &cancelled) {
    constexpr qsizetype mostBytes = 16'384;
    const auto &bundle = Bundle::main();
    if (!bundle)
        return {};
    const auto outcome = outcomeOf({.path = bundle->path() / "Contents/Helpers/proxies",
                                    .arguments = {url.toStdString()},
                                    .keptOutputBytes = mostBytes,
                                    .timeLimit = std::chrono::seconds(10),
                                    .cancelled = &cancelled});
    if (outcome.exitStatus != 0)
        return {};
    const QByteArrayList lines = outcome.output.trimmed().split('\n');
    return {lines.begin(), lines.end()};
}

std::size_t unsentBytes(int socket) {
    int count = 0;
    return ::ioctl(socket, SIOCOUTQ, &count) == 0 ? static_cast<std::size_t>(std::max(count, 0)) : 0;
}

} // namespace platform
