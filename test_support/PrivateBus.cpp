#include "test_support/PrivateBus.h"

#include "test_support/BusClient.h"

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

} // namespace

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

} // namespace test_support
