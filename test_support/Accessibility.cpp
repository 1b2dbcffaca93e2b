#include "test_support/Accessibility.h"

#include <algorithm>

namespace test_support {

namespace {

constexpr char accessible[] = "org.a11y.atspi.Accessible";
constexpr char registry[] = "org.a11y.atspi.Registry";

std::string takeText(const BusMessage &message) {
    const char *text = nullptr;
    return message && sd_bus_message_read(message.get(), "s", &text) >= 0 ? text : "";
}

} // namespace

std::ostream &operator<<(std::ostream &out, const Control &control) {
    return out << control.role << " \"" << control.name << "\"" << (control.isEnabled() ? "" : " disabled")
               << (control.isChecked() ? " checked" : "") << (control.isFocused() ? " focused" : "");
}

BusMessage Accessibility::ask(const Element &element, const char *method) const {
    return m_bus.call(element.service, element.path, accessible, method, "");
}

std::optional<std::vector<Element>> Accessibility::childrenOf(const Element &parent) const {
    const auto answer = ask(parent, "GetChildren");
    if (!answer || sd_bus_message_enter_container(answer.get(), 'a', "(so)") < 0)
        return std::nullopt;
    std::vector<Element> children;
    const char *service = nullptr;
    const char *path = nullptr;
    while (sd_bus_message_read(answer.get(), "(so)", &service, &path) > 0)
        children.push_back({service, path});
    return children;
}

bool Accessibility::isOf(pid_t process, const Element &application) const {
    const auto answer = m_bus.ask("GetConnectionUnixProcessID", application.service);
    std::uint32_t owner = 0;
    return answer && sd_bus_message_read(answer.get(), "u", &owner) >= 0 &&
           owner == static_cast<std::uint32_t>(process);
}

std::string Accessibility::property(const Element &element, const char *name) const {
    const auto answer = m_bus.call(element.service, element.path, "org.freedesktop.DBus.Properties", "Get",
                                   "ss", accessible, name);
    return answer && sd_bus_message_enter_container(answer.get(), 'v', "s") > 0 ? takeText(answer) : "";
}

// False when the element is gone.
bool Accessibility::read(Control &control) const {
    const auto states = ask(control.element, "GetState");
    const auto role = ask(control.element, "GetRoleName");
    const auto extents = m_bus.call(control.element.service, control.element.path, "org.a11y.atspi.Component",
                                    "GetExtents", "u", 0U);
    std::uint32_t low = 0;
    std::uint32_t high = 0;
    auto &[x, y, width, height] = control.extents;
    if (!states || !role || !extents || sd_bus_message_read(states.get(), "au", 2, &low, &high) < 0 ||
        sd_bus_message_read(extents.get(), "(iiii)", &x, &y, &width, &height) < 0)
        return false;
    control.states = std::uint64_t{high} << 32 | low;
    control.role = takeText(role);
    control.name = property(control.element, "Name");
    control.description = property(control.element, "Description");
    return true;
}

// Hidden elements are left out with all that they hold. False when the window changed meanwhile.
bool Accessibility::addVisible(const Element &element, std::vector<Control> &controls) const {
    Control control;
    control.element = element;
    if (!read(control))
        return false;
    if (!control.isVisible())
        return true;
    controls.push_back(control);
    const auto children = childrenOf(element);
    return children && std::all_of(children->begin(), children->end(),
                                   [&](const Element &child) { return addVisible(child, controls); });
}

std::optional<std::vector<Control>> Accessibility::controlsOf(pid_t process) const {
    std::vector<Control> controls;
    const auto applications = childrenOf({registry, "/org/a11y/atspi/accessible/root"});
    if (!applications)
        return std::nullopt;
    for (const Element &application : *applications) {
        if (!isOf(process, application))
            continue;
        const auto windows = childrenOf(application);
        const auto add = [&](const Element &window) { return addVisible(window, controls); };
        if (!windows || !std::all_of(windows->begin(), windows->end(), add))
            return std::nullopt;
    }
    return controls;
}

void Accessibility::listen() {
    m_bus.call(registry, "/org/a11y/atspi/registry", registry, "RegisterEvent", "sass", "object:", 0, "");
    const auto note = [](sd_bus_message *message, void *paths, sd_bus_error *) {
        const char *state = nullptr;
        int isOn = 0;
        if (sd_bus_message_read(message, "si", &state, &isOn) >= 0 && isOn == 1)
            static_cast<std::vector<std::string> *>(paths)->emplace_back(sd_bus_message_get_path(message));
        return 0;
    };
    sd_bus_add_match(m_bus.get(), nullptr,
                     "type='signal',interface='org.a11y.atspi.Event.Object',member='StateChanged',"
                     "arg0='showing'",
                     note, &m_shown);
}

std::ptrdiff_t Accessibility::timesShown(const Control &control) {
    while (sd_bus_process(m_bus.get(), nullptr) > 0) {
    }
    return std::count(m_shown.begin(), m_shown.end(), control.element.path);
}

std::string Accessibility::textOf(const Control &control) const {
    return takeText(m_bus.call(control.element.service, control.element.path, "org.a11y.atspi.Text",
                               "GetText", "ii", 0, -1));
}

bool Accessibility::work(const Control &control) const {
    const auto answer = m_bus.call(control.element.service, control.element.path, "org.a11y.atspi.Action",
                                   "DoAction", "i", 0);
    int isDone = 0;
    return answer && sd_bus_message_read(answer.get(), "b", &isDone) >= 0 && isDone != 0;
}

} // namespace test_support
