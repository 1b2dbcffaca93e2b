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

// https://gitlab.gnome.org/GNOME/at-spi2-core/-/blob/main/bus/README.md
bool answer(sd_bus_message *call, const std::string &address) {
    if (sd_bus_message_is_method_call(call, "org.a11y.Bus", "GetAddress") > 0)
        return sd_bus_reply_method_return(call, "s", address.c_str()) >= 0;
    // Accessibility is enabled, and a screen reader is at work.
    if (sd_bus_message_is_method_call(call, "org.freedesktop.DBus.Properties", "Get") > 0)
        return sd_bus_reply_method_return(call, "v", "b", 1) >= 0;
    return false;
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

BusObject::BusObject(const std::string &address, const std::string &service, const std::string &path,
                     Handler handler)
    : m_bus(address)
    , m_handler(std::move(handler)) {
    const auto handle = [](sd_bus_message *message, void *object, sd_bus_error *) {
        return static_cast<BusObject *>(object)->m_handler(message) ? 1 : 0;
    };
    if (sd_bus_add_object(m_bus.get(), nullptr, path.c_str(), handle, this) < 0 ||
        sd_bus_request_name(m_bus.get(), service.c_str(), 0) < 0)
        throw std::runtime_error(service + " cannot be put on the bus");
    m_thread = std::thread([this] { serve(); });
}

BusObject::~BusObject() {
    m_isEnding = true;
    m_thread.join();
}

void BusObject::perform(const std::function<void(sd_bus *)> &work) {
    const std::lock_guard lock(m_mutex);
    work(m_bus.get());
}

void BusObject::serve() {
    int progress = 0;
    while (!m_isEnding && progress >= 0) {
        if (progress == 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        const std::lock_guard lock(m_mutex);
        progress = sd_bus_process(m_bus.get(), nullptr);
    }
}

PrivateBus::PrivateBus(Accessibility accessibility) {
    const auto file = m_folder.path() / "bus.conf";
    writeFile(file, configuration(m_folder.path() / "bus"));
    m_daemon = std::make_unique<ProgramRun>(
        ProgramOptions{.program = "/usr/bin/dbus-daemon",
                       .arguments = {"--nofork", "--print-address=1", "--config-file=" + file.native()}});
    m_address = m_daemon->waitForFirstLine();
    if (accessibility == Accessibility::off)
        return;
    m_registry = std::make_unique<ProgramRun>(ProgramOptions{
        .program = "/usr/libexec/at-spi2-registryd",
        .variables = {{"DBUS_SESSION_BUS_ADDRESS", m_address}, {"AT_SPI_BUS_ADDRESS", m_address}}});
    // Programs ask here for the bus of the accessibility services.
    m_launcher = std::make_unique<BusObject>(
        m_address, "org.a11y.Bus", "/org/a11y/bus",
        [address = m_address](sd_bus_message *call) { return answer(call, address); });
    const BusClient client(m_address);
    const auto isThere = [&] { return client.ask("GetNameOwner", "org.a11y.atspi.Registry") != nullptr; };
    if (!waitUntil(isThere, std::chrono::minutes(2)))
        throw std::runtime_error("at-spi2-registryd does not start: " + m_registry->standardError());
}

std::vector<std::pair<std::string, std::optional<std::string>>> PrivateBus::variables() const {
    return {{"DBUS_SESSION_BUS_ADDRESS", m_address},
            {"AT_SPI_BUS_ADDRESS", std::nullopt},
            {"QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1"}};
}

Portal::Portal(const PrivateBus &bus, ColorScheme colorScheme)
    : m_colorScheme(colorScheme)
    , m_object(bus.address(), "org.freedesktop.portal.Desktop", portalPath, [this](sd_bus_message *call) {
        return sd_bus_message_is_method_call(call, portalSettings, "Read") > 0 &&
               sd_bus_reply_method_return(call, "v", "v", "u", m_colorScheme.load()) >= 0;
    }) {}

void Portal::change(ColorScheme colorScheme) {
    m_colorScheme = colorScheme;
    m_object.perform([colorScheme](sd_bus *connection) {
        sd_bus_emit_signal(connection, portalPath, portalSettings, "SettingChanged", "ssv",
                           "org.freedesktop.appearance", "color-scheme", "u", colorScheme);
    });
}

} // namespace test_support
