#include "test_support/Bus.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>

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

BusObject::BusObject(const std::string &address, const std::string &service, const std::string &path,
                     Handler handler)
    : m_bus(address)
    , m_handler(std::move(handler)) {
    sd_bus *bus = m_bus.get();
    if (sd_bus_add_object(bus, nullptr, path.c_str(), &BusObject::handle, this) < 0 ||
        sd_bus_request_name(bus, service.c_str(), 0) < 0) {
        std::fprintf(stderr, "%s cannot be put on the bus\n", service.c_str());
        std::abort();
    }
    m_thread = std::thread([this] { serve(); });
}

BusObject::~BusObject() {
    m_isEnding = true;
    m_thread.join();
}

void BusObject::perform(std::function<void(sd_bus *)> work) {
    const std::lock_guard lock(m_mutex);
    m_work.push_back(std::move(work));
}

void BusObject::serve() {
    constexpr std::chrono::microseconds pause = std::chrono::milliseconds(10);
    while (!m_isEnding) {
        std::vector<std::function<void(sd_bus *)>> work;
        {
            const std::lock_guard lock(m_mutex);
            work.swap(m_work);
        }
        for (const auto &step : work)
            step(m_bus.get());
        const int progress = sd_bus_process(m_bus.get(), nullptr);
        if (progress < 0)
            return;
        if (progress == 0)
            sd_bus_wait(m_bus.get(), static_cast<std::uint64_t>(pause.count()));
    }
}

int BusObject::handle(sd_bus_message *message, void *object, sd_bus_error *) {
    return static_cast<BusObject *>(object)->m_handler(message) ? 1 : 0;
}

PrivateBus::PrivateBus(Accessibility accessibility) {
    writeFile(m_folder.path() / "bus.conf", configuration(m_folder.path() / "bus"));
    m_daemon = std::make_unique<ProgramRun>(
        ProgramOptions{.program = "/usr/bin/dbus-daemon",
                       .arguments = {"--nofork", "--print-address=1",
                                     "--config-file=" + (m_folder.path() / "bus.conf").native()}});
    const bool isUp =
        waitUntil([this] { return m_daemon->standardOutput().ends_with('\n'); }, std::chrono::seconds(30));
    if (!isUp) {
        std::fprintf(stderr, "dbus-daemon does not start: %s\n", m_daemon->standardError().c_str());
        std::abort();
    }
    m_address = m_daemon->standardOutput();
    m_address.pop_back();
    if (accessibility == Accessibility::off)
        return;
    m_registry = std::make_unique<ProgramRun>(ProgramOptions{
        .program = "/usr/libexec/at-spi2-registryd",
        .variables = {{"DBUS_SESSION_BUS_ADDRESS", m_address}, {"AT_SPI_BUS_ADDRESS", m_address}}});
    // Programs ask here for the bus of the accessibility services.
    m_launcher = std::make_unique<BusObject>(
        m_address, "org.a11y.Bus", "/org/a11y/bus",
        [address = m_address](sd_bus_message *call) { return answer(call, address); });
    BusClient client(m_address);
    if (!waitUntil([&] { return client.hasOwner("org.a11y.atspi.Registry"); }, std::chrono::seconds(30))) {
        std::fprintf(stderr, "at-spi2-registryd does not start: %s\n", m_registry->standardError().c_str());
        std::abort();
    }
}

std::vector<std::pair<std::string, std::optional<std::string>>> PrivateBus::variables() const {
    return {{"DBUS_SESSION_BUS_ADDRESS", m_address},
            {"AT_SPI_BUS_ADDRESS", std::nullopt},
            {"QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1"}};
}

Portal::Portal(const PrivateBus &bus, ColorScheme colorScheme)
    : m_colorScheme(colorScheme)
    , m_object(bus.address(), "org.freedesktop.portal.Desktop", portalPath,
               [this](sd_bus_message *call) { return answer(call); }) {}

void Portal::change(ColorScheme colorScheme) {
    m_colorScheme = colorScheme;
    m_object.perform([colorScheme](sd_bus *connection) {
        sd_bus_emit_signal(connection, portalPath, portalSettings, "SettingChanged", "ssv",
                           "org.freedesktop.appearance", "color-scheme", "u",
                           static_cast<std::uint32_t>(colorScheme));
    });
}

bool Portal::answer(sd_bus_message *call) const {
    return sd_bus_message_is_method_call(call, portalSettings, "Read") > 0 &&
           sd_bus_reply_method_return(call, "v", "v", "u",
                                      static_cast<std::uint32_t>(m_colorScheme.load())) >= 0;
}

} // namespace test_support
