#include "platform/Network.h"

#include <ifaddrs.h>
#include <memory>
#include <net/if.h>
#include <sys/socket.h>

namespace platform {

bool hasNetwork() {
    struct ifaddrs *list = nullptr;
    ::getifaddrs(&list);
    const std::unique_ptr<struct ifaddrs, decltype(&::freeifaddrs)> owner(list, &::freeifaddrs);
    for (const auto *entry = list; entry != nullptr; entry = entry->ifa_next) {
        const int family = entry->ifa_addr != nullptr ? entry->ifa_addr->sa_family : AF_UNSPEC;
        const bool isAddressed = family == AF_INET || family == AF_INET6;
        if (isAddressed && (entry->ifa_flags & IFF_UP) != 0 && (entry->ifa_flags & IFF_LOOPBACK) == 0)
            return true;
    }
    return false;
}

} // namespace platform
