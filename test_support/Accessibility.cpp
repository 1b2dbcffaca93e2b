#include "test_support/Accessibility.h"

#include <utility>

namespace test_support {

namespace {

constexpr char accessible[] = "org.a11y.atspi.Accessible";
constexpr char properties[] = "org.freedesktop.DBus.Properties";
constexpr char registry[] = "org.a11y.atspi.Registry";
constexpr char rootPath[] = "/org/a11y/atspi/accessible/root";

std::string takeText(sd_bus_message *message) {
    const char *text = nullptr;
    return message != nullptr && sd_bus_message_read(message, "s", &text) >= 0 ? text : "";
}

} // namespace

std::ostream &operator<<(std::ostream &out, const Control &control) {
    return out << control.role << " \"" << control.name << "\"" << (control.isEnabled() ? "" : " disabled")
               << (control.isChecked() ? " checked" : "") << (control.isFocused() ? " focused" : "");
}

Accessibility::Accessibility(const std::string &busAddress)
    : m_bus(busAddress) {}

std::vector<Accessibility::Element> Accessibility::childrenOf(const Element &parent) const {
    std::vector<Element> children;
    const auto answer = m_bus.call(parent.service, parent.path, accessible, "GetChildren", "");
    if (!answer || sd_bus_message_enter_container(answer.get(), 'a', "(so)") < 0)
        return children;
    const char *service = nullptr;
    const char *path = nullptr;
    while (sd_bus_message_read(answer.get(), "(so)", &service, &path) > 0)
        children.push_back({service, path});
    return children;
}

std::vector<Accessibility::Element> Accessibility::windowsOf(pid_t process) const {
    for (const Element &application : childrenOf({registry, rootPath})) {
        const auto answer =
            m_bus.call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                       "GetConnectionUnixProcessID", "s", application.service.c_str());
        std::uint32_t owner = 0;
        if (answer && sd_bus_message_read(answer.get(), "u", &owner) >= 0 &&
            owner == static_cast<std::uint32_t>(process))
            return childrenOf(application);
    }
    return {};
}

std::string Accessibility::textProperty(const Element &element, const char *interface,
                                        const char *name) const {
    const auto answer = m_bus.call(element.service, element.path, properties, "Get", "ss", interface, name);
    if (!answer || sd_bus_message_enter_container(answer.get(), 'v', "s") < 0)
        return "";
    return takeText(answer.get());
}

bool Accessibility::read(const Element &element, Control &control) const {
    const auto states = m_bus.call(element.service, element.path, accessible, "GetState", "");
    std::uint32_t low = 0;
    std::uint32_t high = 0;
    if (!states || sd_bus_message_read(states.get(), "au", 2, &low, &high) < 0)
        return false;
    control.service = element.service;
    control.path = element.path;
    control.states = std::uint64_t{high} << 32 | low;
    return true;
}

// Hidden elements are left out with all that they hold. False when the window changed meanwhile.
bool Accessibility::addVisible(const Element &element, std::vector<Control> &controls) const {
    // Also what can be scrolled to.
    constexpr unsigned visible = 30;
    Control control;
    if (!read(element, control))
        return false;
    if ((control.states >> visible & 1) == 0)
        return true;
    const auto role = m_bus.call(element.service, element.path, accessible, "GetRoleName", "");
    const auto extents =
        m_bus.call(element.service, element.path, "org.a11y.atspi.Component", "GetExtents", "u", 0U);
    auto &[x, y, width, height] = control.extents;
    if (!role || !extents || sd_bus_message_read(extents.get(), "(iiii)", &x, &y, &width, &height) < 0)
        return false;
    control.role = takeText(role.get());
    control.name = textProperty(element, accessible, "Name");
    control.description = textProperty(element, accessible, "Description");
    controls.push_back(control);
    for (const Element &child : childrenOf(element)) {
        if (!addVisible(child, controls))
            return false;
    }
    return true;
}

std::vector<Control> Accessibility::controlsOf(pid_t process) const {
    std::vector<Control> controls;
    for (const Element &window : windowsOf(process)) {
        if (!addVisible(window, controls))
            return {};
    }
    return controls;
}

void Accessibility::listen() {
    m_bus.call(registry, "/org/a11y/atspi/registry", registry, "RegisterEvent", "sass", "object:", 0, "");
    sd_bus_match_signal(m_bus.get(), nullptr, nullptr, nullptr, "org.a11y.atspi.Event.Object", nullptr,
                        &Accessibility::noteEvent, this);
}

int Accessibility::noteEvent(sd_bus_message *message, void *accessibility, sd_bus_error *) {
    const char *detail = nullptr;
    int first = 0;
    int second = 0;
    if (sd_bus_message_read(message, "sii", &detail, &first, &second) < 0)
        return 0;
    const char *text = nullptr;
    if (sd_bus_message_enter_container(message, 'v', "s") <= 0 ||
        sd_bus_message_read(message, "s", &text) < 0)
        text = "";
    static_cast<Accessibility *>(accessibility)
        ->m_events.push_back(
            {sd_bus_message_get_path(message), sd_bus_message_get_member(message), detail, first, text});
    return 0;
}

std::vector<Accessibility::Event> Accessibility::takeEvents() {
    while (sd_bus_process(m_bus.get(), nullptr) > 0) {
    }
    return std::exchange(m_events, {});
}

std::string Accessibility::textOf(const Control &control) const {
    const auto answer =
        m_bus.call(control.service, control.path, "org.a11y.atspi.Text", "GetText", "ii", 0, -1);
    return takeText(answer.get());
}

bool Accessibility::work(const Control &control) const {
    const auto answer =
        m_bus.call(control.service, control.path, "org.a11y.atspi.Action", "DoAction", "i", 0);
    int isDone = 0;
    return answer && sd_bus_message_read(answer.get(), "b", &isDone) >= 0 && isDone != 0;
}

} // namespace test_support
