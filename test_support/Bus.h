// A message bus of the test's own, with what answers there for services that a test machine does not have.
//
// Whatever cannot be started or reached throws std::runtime_error.
#pragma once

#include "test_support/ProgramRun.h"
#include "test_support/ScratchHome.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <systemd/sd-bus.h>
#include <thread>

namespace test_support {

/// An answer; empty when there is none.
using BusMessage = std::unique_ptr<sd_bus_message, decltype(&sd_bus_message_unref)>;

/// One connection to a message bus. One thread.
class BusClient {
public:
    explicit BusClient(const std::string &address);

    sd_bus *get() const { return m_bus.get(); }

    /// Calls a method and waits for its answer, on a busy machine for minutes; empty on an error of any kind.
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

/// A bus without any service. It takes clients from the start, and ends with its object.
class PrivateBus {
public:
    PrivateBus();

    const std::string &address() const { return m_address; }

private:
    ScratchFolder m_folder;
    std::unique_ptr<ProgramRun> m_daemon;
    std::string m_address;
};

/// The bus that this process takes for the user's from now on: before the first look at that.
class SessionBus : public PrivateBus {
    ScopedEnvironment m_variable{"DBUS_SESSION_BUS_ADDRESS", address()};
};

/// Answers for a service that is not there, in its own thread, for as long as it lives.
class BusObject {
public:
    /// Puts an answer to `call` on its way, or gives false, which is an error to the caller.
    using Handler = std::function<bool(sd_bus_message *call)>;

    /// It answers when this returns.
    BusObject(const std::string &address, const char *service, const char *path, Handler handler);
    BusObject(const BusObject &) = delete;
    BusObject &operator=(const BusObject &) = delete;

protected:
    /// Uses the connection, while the object's thread leaves it alone.
    void perform(const std::function<void(sd_bus *)> &work);

private:
    void serve(const std::stop_token &end);

    BusClient m_bus;
    Handler m_handler;
    std::mutex m_mutex;
    std::jthread m_thread;
};

/// The desktop's appearance.
/// https://flatpak.github.io/xdg-desktop-portal/docs/doc-org.freedesktop.portal.Settings.html
class Portal : public BusObject {
public:
    enum class ColorScheme : std::uint32_t { noPreference, dark, light };

    Portal(const PrivateBus &bus, ColorScheme atFirst);
    void change(ColorScheme colorScheme);
};

} // namespace test_support
