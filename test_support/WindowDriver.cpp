#include "test_support/WindowDriver.h"

#include <algorithm>
#include <regex>
#include <sstream>
#include <stdexcept>

namespace test_support {

WindowDriver::WindowDriver(ProgramOptions program, const Xvfb &display, const PrivateBus &bus, int scale)
    : m_scale(scale)
    , m_display(display.name())
    , m_screen(display.name())
    , m_accessibility(bus) {
    const std::vector<std::pair<std::string, std::optional<std::string>>> variables = {
        {"DBUS_SESSION_BUS_ADDRESS", bus.address()},
        {"AT_SPI_BUS_ADDRESS", std::nullopt},
        {"QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1"},
        {"DISPLAY", display.name()},
        {"WAYLAND_DISPLAY", std::nullopt},
        {"QT_QPA_PLATFORM", std::nullopt},
        {"QT_QUICK_BACKEND", std::nullopt},
        {"QT_SCALE_FACTOR", scale == 1 ? std::nullopt : std::optional(std::to_string(scale))},
        {"XDG_CURRENT_DESKTOP", std::nullopt}};
    program.variables.insert(program.variables.begin(), variables.begin(), variables.end());
    m_program = std::make_unique<ProgramRun>(program);
}

// Waits until it holds, or the program has ended.
template <typename Condition>
void WindowDriver::require(Condition condition, const std::string &complaint) const {
    bool holds = false;
    waitUntil([&] { return (holds = condition()) || !m_program->isRunning(); }, limit);
    if (!holds)
        throw std::runtime_error(complaint + ":\n" + description());
}

std::vector<Control> WindowDriver::controls() const {
    std::optional<std::vector<Control>> found;
    waitUntil([&] { return (found = m_accessibility.controls()) || !m_program->isRunning(); }, limit);
    return found.value_or(std::vector<Control>());
}

bool WindowDriver::shows(const std::string &role, const std::string &name) const {
    return std::ranges::any_of(
        controls(), [&](const Control &control) { return control.role == role && control.name == name; });
}

Control WindowDriver::find(const std::string &role, const std::string &name,
                           const std::function<bool(const Control &)> &condition) const {
    Control found;
    require(
        [&] {
            const auto all = controls();
            const auto match = std::ranges::find_if(all, [&](const Control &control) {
                return control.role == role && control.name == name && condition(control);
            });
            if (match != all.end())
                found = *match;
            return match != all.end();
        },
        "There is no " + role + " \"" + name + "\" as it should be, but");
    return found;
}

void WindowDriver::waitUntilGone(const std::string &role, const std::string &name) const {
    require([&] { return !shows(role, name); }, "The " + role + " \"" + name + "\" does not go");
}

void WindowDriver::waitForFocus(const std::string &role, const std::string &name) const {
    const auto hasFocus = [&] {
        // The innermost one counts: what is around it has the focus as well.
        const std::vector<Control> all = controls();
        const auto found = std::find_if(all.rbegin(), all.rend(), std::mem_fn(&Control::isFocused));
        return found != all.rend() && found->role == role && found->name == name;
    };
    require(hasFocus, "The " + role + " \"" + name + "\" does not get the keyboard");
}

void WindowDriver::click(const std::string &role, const std::string &name) const {
    Control control = findEnabled(role, name);
    for (int before = control.extents.y - 1; before != control.extents.y;) {
        before = control.extents.y;
        std::this_thread::sleep_for(std::chrono::milliseconds(40));
        control = findEnabled(role, name);
    }
    clickAt(control);
}

void WindowDriver::clickAt(const Control &control) const {
    const Extents place = onDisplay(scrolledTo(control).extents);
    input({"mousemove", std::to_string(place.x + place.width / 2), std::to_string(place.y + place.height / 2),
           "click", "1"});
}

// The wheel turns until the control's middle is inside of the window.
Control WindowDriver::scrolledTo(const Control &control) const {
    Control current = control;
    for (int turn = 0; turn < 40; ++turn) {
        const Extents frame = window().extents;
        const Extents place = onDisplay(current.extents);
        const int middle = place.y + place.height / 2;
        if (middle > frame.y + 8 && middle < frame.bottom() - 8)
            break;
        input({"mousemove", std::to_string(frame.x + frame.width / 2), std::to_string(frame.y + 40), "click",
               middle < frame.y + 8 ? "4" : "5"});
        current = find(control.role, control.name);
    }
    return current;
}

void WindowDriver::input(const std::vector<std::string> &words) const {
    ProgramRun tool(
        {.program = "/usr/bin/xdotool", .arguments = words, .variables = {{"DISPLAY", m_display}}});
    if (tool.waitForEnd() != exited(0))
        throw std::runtime_error("xdotool: no " + words.front());
}

Screen::Window WindowDriver::window() const {
    std::optional<Screen::Window> found;
    require([&] { return (found = m_screen.window(title)).has_value(); }, "There is no window");
    return *found;
}

Extents WindowDriver::onDisplay(const Extents &extents) const {
    return {extents.x * m_scale, extents.y * m_scale, extents.width * m_scale, extents.height * m_scale};
}

std::string WindowDriver::printedErrors() const {
    // Qt tells the registry of each key, waits for the answer only briefly, and prints that it did not come.
    static const std::regex lateAnswer("QSpiApplication::keyEventError .*\\.NoReply.*\n");
    return std::regex_replace(m_program->standardError(), lateAnswer, "");
}

std::string WindowDriver::description() const {
    std::ostringstream text;
    for (const Control &control : controls())
        text << "  " << control << '\n';
    text << m_program->standardError();
    return text.str();
}

} // namespace test_support
