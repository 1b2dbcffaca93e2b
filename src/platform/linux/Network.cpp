#include "platform/Network.h"

#include <algorithm>
#include <functional>
#include <ifaddrs.h>
#include <linux/sockios.h>
#include <memory>
#include <net/if.h>
#include <netpacket/packet.h>
#include <sys/ioctl.h>

namespace platform {

namespace {

// Calls this with every address of every interface but the loopback. False when the system gives no list,
// which is not the same as an empty one.
bool visitAddresses(const std::function<void(const struct ifaddrs &)> &visit) {
    struct ifaddrs *first = nullptr;
    if (::getifaddrs(&first) != 0)
        return false;
    const std::unique_ptr<struct ifaddrs, decltype(&::freeifaddrs)> list(first, &::freeifaddrs);
    for (const auto *entry = first; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr != nullptr && (entry->ifa_flags & IFF_LOOPBACK) == 0)
            visit(*entry);
    }
    return true;
}

QString addressText(const struct ifaddrs &entry) {
    const auto *link = reinterpret_cast<const struct sockaddr_ll *>(entry.ifa_addr);
    const auto *octets = reinterpret_cast<const char *>(link->sll_addr);
    const QByteArray bytes(octets, std::min<qsizetype>(link->sll_halen, sizeof link->sll_addr));
    if (bytes.count('\0') == bytes.size())
        return {};
    return QString::fromLatin1(bytes.toHex(':'));
}

} // namespace

// There is one packet-family entry for each interface, in the order in which the kernel numbers them.
std::optional<std::vector<QString>> hardwareAddresses() {
    std::vector<QString> addresses;
    const bool isListed = visitAddresses([&](const struct ifaddrs &entry) {
        const QString text = entry.ifa_addr->sa_family == AF_PACKET ? addressText(entry) : QString();
        if (!text.isEmpty())
            addresses.push_back(text);
    });
    return isListed ? std::optional(std::move(addresses)) : std::nullopt;
}

bool hasNetwork() {
    bool result = false;
    visitAddresses([&](const struct ifaddrs &entry) {
        const int family = entry.ifa_addr->sa_family;
        result = result || ((family == AF_INET || family == AF_INET6) && (entry.ifa_flags & IFF_UP) != 0);
    });
    return result;
}

std::size_t unsentBytes(int socket) {
    int count = 0;
    if (::ioctl(socket, SIOCOUTQ, &count) != 0 || count < 0)
        return 0;
    return static_cast<std::size_t>(count);
}

} // namespace platform
