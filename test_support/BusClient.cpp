#include "test_support/BusClient.h"

#include <cstdio>
#include <cstdlib>

namespace test_support {

BusClient::BusClient(const std::string &address) {
    sd_bus *bus = nullptr;
    bool isOpen = sd_bus_new(&bus) >= 0;
    m_bus.reset(bus);
    isOpen = isOpen && sd_bus_set_address(bus, address.c_str()) >= 0 && sd_bus_set_bus_client(bus, 1) >= 0 &&
             sd_bus_start(bus) >= 0;
    if (!isOpen) {
        std::fprintf(stderr, "The message bus %s does not answer\n", address.c_str());
        std::abort();
    }
}

bool BusClient::hasOwner(const std::string &name) const {
    const auto answer = call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                             "NameHasOwner", "s", name.c_str());
    int owned = 0;
    return answer && sd_bus_message_read(answer.get(), "b", &owned) >= 0 && owned != 0;
}

} // namespace test_support
