// One connection to a message bus, without threads of its own.
#pragma once

#include <memory>
#include <string>
#include <systemd/sd-bus.h>

namespace test_support {

/// An answer; gives way to false when there is none.
using BusMessage = std::unique_ptr<sd_bus_message, decltype(&sd_bus_message_unref)>;

class BusClient {
public:
    /// Ends the process when the bus does not take it.
    explicit BusClient(const std::string &address);

    sd_bus *get() const { return m_bus.get(); }
    bool hasOwner(const std::string &name) const;

    /// Calls a method and waits for its answer; empty on an error of any kind.
    template <typename... Arguments>
    BusMessage call(const std::string &destination, const std::string &path, const char *interface,
                    const char *method, const char *types, Arguments... arguments) const {
        sd_bus_message *answer = nullptr;
        sd_bus_call_method(m_bus.get(), destination.c_str(), path.c_str(), interface, method, nullptr,
                           &answer, types, arguments...);
        return {answer, &sd_bus_message_unref};
    }

private:
    std::unique_ptr<sd_bus, decltype(&sd_bus_flush_close_unref)> m_bus{nullptr, &sd_bus_flush_close_unref};
};

} // namespace test_support
