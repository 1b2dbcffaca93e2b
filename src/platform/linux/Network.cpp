#include "platform/Network.h"

#include <algorithm>
#include <ifaddrs.h>
#include <linux/sockios.h>
#include <memory>
#include <net/if.h>
#include <netpacket/packet.h>
#include <sys/ioctl.h>

namespace platform {

namespace {

// Null when the system gives no list.
using Interfaces = std::unique_ptr<struct ifaddrs, decltype(&::freeifaddrs)>;
Interfaces interfaces() {
    struct ifaddrs *list = nullptr;
    ::getifaddrs(&list);
    return {list, &::freeifaddrs};
}

bool hasFamily(const struct ifaddrs &entry, int family) {
    return entry.ifa_addr != nullptr && entry.ifa_addr->sa_family == family;
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
    const auto list = interfaces();
    if (!list)
        return std::nullopt;
    std::vector<QString> addresses;
    for (const auto *entry = list.get(); entry != nullptr; entry = entry->ifa_next) {
        if (!hasFamily(*entry, AF_PACKET) || (entry->ifa_flags & IFF_LOOPBACK) != 0)
            continue;
        if (const QString text = addressText(*entry); !text.isEmpty())
            addresses.push_back(text);
    }
    return addresses;
}

bool hasNetwork() {
    const auto list = interfaces();
    for (const auto *entry = list.get(); entry != nullptr; entry = entry->ifa_next) {
        const bool addressed = hasFamily(*entry, AF_INET) || hasFamily(*entry, AF_INET6);
        if (addressed && (entry->ifa_flags & IFF_UP) != 0 && (entry->ifa_flags & IFF_LOOPBACK) == 0)
            return true;
    }
    return false;
}

std::size_t unsentBytes(int socket) {
    int count = 0;
    return ::ioctl(socket, SIOCOUTQ, &count) == 0 ? static_cast<std::size_t>(std::max(count, 0)) : 0;
}

} // namespace platform
