#include "test_support/Bus.h"

#include <chrono>
#include <stdexcept>

namespace test_support {

namespace {

// No services to be started by a message: whatever answers is what the test has put there.
QByteArray configuration(const std::filesystem::path &socket) {
    return "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\" "
           "\"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
           "<busconfig><type>session</type><listen>unix:path=" +
           QByteArray::fromStdString(socket.native()) +
           "</listen><auth>EXTERNAL</auth><policy context=\"default\">"
           "<allow send_destination=\"*\" eavesdrop=\"true\"/><allow eavesdrop=\"true\"/>"
           "<allow own=\"*\"/></policy></busconfig>\n";
}

constexpr char portalPath[] = "/org/freedesktop/portal/desktop";
constexpr char portalSettings[] = "org.freedesktop.portal.Settings";

} // namespace

BusClient::BusClient(const std::string &address) {
    constexpr std::chrono::microseconds limit = std::chrono::minutes(2);
    sd_bus *bus = nullptr;
    bool isOpen = sd_bus_new(&bus) >= 0;
    m_bus.reset(bus);
    isOpen = isOpen && sd_bus_set_address(bus, address.c_str()) >= 0 && sd_bus_set_bus_client(bus, 1) >= 0 &&
             sd_bus_set_method_call_timeout(bus, static_cast<std::uint64_t>(limit.count())) >= 0 &&
             sd_bus_start(bus) >= 0;
    if (!isOpen)
        throw std::runtime_error("The message bus " + address + " does not answer");
}

PrivateBus::PrivateBus() {
    const auto file = m_folder.path() / "bus.conf";
    writeFile(file, configuration(m_folder.path() / "bus"));
    m_daemon = std::make_unique<ProgramRun>(
        ProgramOptions{.program = "/usr/bin/dbus-daemon",
                       .arguments = {"--nofork", "--print-address=1", "--config-file=" + file.native()}});
    m_address = m_daemon->waitForFirstLine();
}

BusObject::BusObject(const std::string &address, const char *service, const char *path, Handler handler)
    : m_bus(address)
    , m_handler(std::move(handler)) {
    const auto handle = [](sd_bus_message *message, void *object, sd_bus_error *) {
        return static_cast<BusObject *>(object)->m_handler(message) ? 1 : 0;
    };
    if (sd_bus_add_object(m_bus.get(), nullptr, path, handle, this) < 0 ||
        sd_bus_request_name(m_bus.get(), service, 0) < 0)
        throw std::runtime_error(std::string(service) + " cannot be put on the bus");
    m_thread = std::jthread([this](const std::stop_token &end) { serve(end); });
}

void BusObject::perform(const std::function<void(sd_bus *)> &work) {
    const std::lock_guard lock(m_mutex);
    work(m_bus.get());
}

void BusObject::serve(const std::stop_token &end) {
    for (int progress = 0; !end.stop_requested() && progress >= 0;) {
        if (progress == 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        const std::lock_guard lock(m_mutex);
        progress = sd_bus_process(m_bus.get(), nullptr);
    }
}

// Programs ask once, at their start, and hear of changes then.
Portal::Portal(const PrivateBus &bus, ColorScheme atFirst)
    : BusObject(bus.address(), "org.freedesktop.portal.Desktop", portalPath, [=](sd_bus_message *call) {
        return sd_bus_message_is_method_call(call, portalSettings, "Read") > 0 &&
               sd_bus_reply_method_return(call, "v", "v", "u", atFirst) >= 0;
    }) {}

void Portal::change(ColorScheme colorScheme) {
    perform([colorScheme](sd_bus *connection) {
        sd_bus_emit_signal(connection, portalPath, portalSettings, "SettingChanged", "ssv",
                           "org.freedesktop.appearance", "color-scheme", "u", colorScheme);
    });
}

} // namespace test_support
