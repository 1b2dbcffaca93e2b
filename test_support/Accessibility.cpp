#include "test_support/Accessibility.h"

#include <algorithm>
#include <stdexcept>

namespace test_support {

namespace {

constexpr char accessible[] = "org.a11y.atspi.Accessible";
constexpr char registry[] = "org.a11y.atspi.Registry";

std::string takeText(const BusMessage &message) {
    const char *text = nullptr;
    return message && sd_bus_message_read(message.get(), "s", &text) >= 0 ? text : "";
}

// https://gitlab.gnome.org/GNOME/at-spi2-core/-/blob/main/bus/README.md
bool launch(sd_bus_message *call, const std::string &address) {
    if (sd_bus_message_is_method_call(call, "org.a11y.Bus", "GetAddress") > 0)
        return sd_bus_reply_method_return(call, "s", address.c_str()) >= 0;
    // Accessibility is enabled, and a screen reader is at work.
    return sd_bus_message_is_method_call(call, "org.freedesktop.DBus.Properties", "Get") > 0 &&
           sd_bus_reply_method_return(call, "v", "b", 1) >= 0;
}

} // namespace

std::ostream &operator<<(std::ostream &out, const Control &control) {
    return out << control.role << " \"" << control.name << "\"" << (control.isEnabled() ? "" : " disabled")
               << (control.isChecked() ? " checked" : "") << (control.isFocused() ? " focused" : "");
}

Accessibility::Accessibility(const PrivateBus &bus)
    : m_bus(bus.address())
    , m_registry(
          {.program = "/usr/libexec/at-spi2-registryd",
           .variables = {{"DBUS_SESSION_BUS_ADDRESS", bus.address()}, {"AT_SPI_BUS_ADDRESS", bus.address()}}})
    , m_launcher(bus.address(), "org.a11y.Bus", "/org/a11y/bus",
                 [address = bus.address()](sd_bus_message *call) { return launch(call, address); }) {
    const auto isThere = [this] {
        return m_bus.call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                          "GetNameOwner", "s", registry) != nullptr;
    };
    if (!waitUntil(isThere, std::chrono::minutes(2)))
        throw std::runtime_error("at-spi2-registryd does not start: " + m_registry.standardError());
}

std::optional<std::vector<Control>> Accessibility::childrenOf(const Control &parent) const {
    const auto answer = m_bus.call(parent.service, parent.path, accessible, "GetChildren", "");
    if (!answer || sd_bus_message_enter_container(answer.get(), 'a', "(so)") < 0)
        return std::nullopt;
    std::vector<Control> children;
    const char *service = nullptr;
    const char *path = nullptr;
    while (sd_bus_message_read(answer.get(), "(so)", &service, &path) > 0)
        children.push_back({.service = service, .path = path});
    return children;
}

BusMessage Accessibility::property(const Control &control, const char *interface, const char *name) const {
    return m_bus.call(control.service, control.path, "org.freedesktop.DBus.Properties", "Get", "ss",
                      interface, name);
}

std::string Accessibility::text(const Control &control, const char *name) const {
    const auto answer = property(control, accessible, name);
    return answer && sd_bus_message_enter_container(answer.get(), 'v', "s") > 0 ? takeText(answer) : "";
}

// Calls a method that answers whether it has done what it is for.
template <typename... Arguments>
bool Accessibility::does(const Control &control, const char *interface, const char *method, const char *types,
                         Arguments... arguments) const {
    const auto answer = m_bus.call(control.service, control.path, interface, method, types, arguments...);
    int isDone = 0;
    return answer && sd_bus_message_read(answer.get(), "b", &isDone) >= 0 && isDone != 0;
}

// False when the element is gone.
bool Accessibility::read(Control &control) const {
    const auto states = m_bus.call(control.service, control.path, accessible, "GetState", "");
    const auto role = m_bus.call(control.service, control.path, accessible, "GetRoleName", "");
    const auto extents =
        m_bus.call(control.service, control.path, "org.a11y.atspi.Component", "GetExtents", "u", 0U);
    std::uint32_t low = 0;
    std::uint32_t high = 0;
    auto &[x, y, width, height] = control.extents;
    if (!states || !role || !extents || sd_bus_message_read(states.get(), "au", 2, &low, &high) < 0 ||
        sd_bus_message_read(extents.get(), "(iiii)", &x, &y, &width, &height) < 0)
        return false;
    control.states = std::uint64_t{high} << 32 | low;
    control.role = takeText(role);
    control.name = text(control, "Name");
    control.description = text(control, "Description");
    return true;
}

// Hidden elements are left out with all that they hold. False when the window changed meanwhile.
bool Accessibility::addVisible(Control control, std::vector<Control> &controls) const {
    if (!read(control))
        return false;
    if (!control.isVisible())
        return true;
    controls.push_back(control);
    const auto children = childrenOf(control);
    return children &&
           std::ranges::all_of(*children, [&](const Control &child) { return addVisible(child, controls); });
}

std::optional<std::vector<Control>> Accessibility::controls() const {
    std::vector<Control> controls;
    const auto applications = childrenOf({.service = registry, .path = "/org/a11y/atspi/accessible/root"});
    for (const Control &application : applications.value_or(std::vector<Control>())) {
        const auto windows = childrenOf(application);
        const auto add = [&](const Control &window) { return addVisible(window, controls); };
        if (!windows || !std::ranges::all_of(*windows, add))
            return std::nullopt;
    }
    return controls;
}

std::string Accessibility::textOf(const Control &control) const {
    return takeText(m_bus.call(control.service, control.path, "org.a11y.atspi.Text", "GetText", "ii", 0, -1));
}

int Accessibility::caretIn(const Control &box) const {
    const auto answer = property(box, "org.a11y.atspi.Text", "CaretOffset");
    int place = -1;
    return answer && sd_bus_message_read(answer.get(), "v", "i", &place) > 0 ? place : -1;
}

bool Accessibility::insert(const Control &box, int place, const std::string &text) const {
    return does(box, "org.a11y.atspi.EditableText", "InsertText", "isi", place, text.c_str(),
                static_cast<int>(text.size()));
}

bool Accessibility::fill(const Control &box, const std::string &text) const {
    return does(box, "org.a11y.atspi.EditableText", "SetTextContents", "s", text.c_str());
}

bool Accessibility::work(const Control &control) const {
    return does(control, "org.a11y.atspi.Action", "DoAction", "i", 0);
}

bool Accessibility::grabFocus(const Control &control) const {
    return does(control, "org.a11y.atspi.Component", "GrabFocus", "");
}

} // namespace test_support
