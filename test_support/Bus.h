// Message buses of the tests, with what answers there for services that a test machine does not have.
//
// Whatever cannot be started or reached throws std::runtime_error.
#pragma once

#include "test_support/ProgramRun.h"
#include "test_support/ScratchHome.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <systemd/sd-bus.h>
#include <thread>
#include <utility>
#include <vector>

namespace test_support {

/// An answer; gives way to false when there is none.
using BusMessage = std::unique_ptr<sd_bus_message, decltype(&sd_bus_message_unref)>;

/// One connection to a message bus. One thread.
class BusClient {
public:
    explicit BusClient(const std::string &address);

    sd_bus *get() const { return m_bus.get(); }

    /// Calls a method and waits for its answer; empty on an error of any kind. What does not answer within
    /// minutes hangs: a busy machine is no error.
    template <typename... Arguments>
    BusMessage call(const std::string &destination, const std::string &path, const char *interface,
                    const char *method, const char *types, Arguments... arguments) const {
        sd_bus_message *answer = nullptr;
        sd_bus_call_method(m_bus.get(), destination.c_str(), path.c_str(), interface, method, nullptr,
                           &answer, types, arguments...);
        return {answer, &sd_bus_message_unref};
    }
    /// Calls a method of the bus itself about a name.
    BusMessage ask(const char *method, const std::string &name) const {
        return call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", method, "s",
                    name.c_str());
    }

private:
    std::unique_ptr<sd_bus, decltype(&sd_bus_flush_close_unref)> m_bus{nullptr, &sd_bus_flush_close_unref};
};

/// An object on a message bus that answers for a service which is not there, in its own thread, for as long
/// as it lives.
class BusObject {
public:
    /// Puts an answer to `call` on its way and gives true, or leaves the call alone and gives false, which is
    /// an error to the caller. Called in the object's thread.
    using Handler = std::function<bool(sd_bus_message *call)>;

    /// The service has this name, and answers, when it returns.
    BusObject(const std::string &address, const std::string &service, const std::string &path,
              Handler handler);
    ~BusObject();
    BusObject(const BusObject &) = delete;
    BusObject &operator=(const BusObject &) = delete;

    /// Does `work` with the connection, while the object's thread leaves it alone.
    void perform(const std::function<void(sd_bus *)> &work);

private:
    void serve();

    BusClient m_bus;
    Handler m_handler;
    std::mutex m_mutex;
    std::atomic<bool> m_isEnding = false;
    std::thread m_thread;
};

/// The session's bus and the bus of the accessibility services in one, with the registry of the latter. It
/// ends with its object.
class PrivateBus {
public:
    enum class Accessibility { on, off };

    /// Returns when the bus takes clients and the registry is there. Without accessibility it is the
    /// session's bus alone.
    explicit PrivateBus(Accessibility accessibility = Accessibility::on);

    const std::string &address() const { return m_address; }
    /// What leads a program to this bus, for both of its purposes.
    std::vector<std::pair<std::string, std::optional<std::string>>> variables() const;

private:
    ScratchFolder m_folder;
    std::unique_ptr<ProgramRun> m_daemon;
    std::string m_address;
    std::unique_ptr<BusObject> m_launcher;
    std::unique_ptr<ProgramRun> m_registry;
};

/// The bus that this process takes for the user's from now on: before the first look at that.
class SessionBus {
public:
    const std::string &address() const { return m_bus.address(); }

private:
    PrivateBus m_bus{PrivateBus::Accessibility::off};
    ScopedEnvironment m_variable{"DBUS_SESSION_BUS_ADDRESS", m_bus.address()};
};

/// The desktop's setting of its appearance, which a test changes.
/// https://flatpak.github.io/xdg-desktop-portal/docs/doc-org.freedesktop.portal.Settings.html
class Portal {
public:
    enum class ColorScheme : std::uint32_t { noPreference, dark, light };

    Portal(const PrivateBus &bus, ColorScheme colorScheme);

    /// Tells whoever listens.
    void change(ColorScheme colorScheme);

private:
    std::atomic<ColorScheme> m_colorScheme;
    BusObject m_object;
};

} // namespace test_support
