#include "test_support/WindowDriver.h"

#include <algorithm>
#include <regex>
#include <sstream>
#include <stdexcept>

namespace test_support {

namespace {

ProgramOptions onDisplay(ProgramOptions program, const Xvfb &display, const PrivateBus &bus, int scale) {
    auto variables = bus.variables();
    variables.insert(variables.end(),
                     {{"DISPLAY", display.name()},
                      {"WAYLAND_DISPLAY", std::nullopt},
                      {"QT_QPA_PLATFORM", std::nullopt},
                      {"QT_QUICK_BACKEND", std::nullopt},
                      {"QT_SCALE_FACTOR", scale == 1 ? std::nullopt : std::optional(std::to_string(scale))},
                      {"XDG_CURRENT_DESKTOP", std::nullopt}});
    program.variables.insert(program.variables.begin(), variables.begin(), variables.end());
    return program;
}

} // namespace

WindowDriver::WindowDriver(const ProgramOptions &program, const Xvfb &display, const PrivateBus &bus,
                           int scale)
    : m_scale(scale)
    , m_display(display.name())
    , m_screen(display.name())
    , m_accessibility(bus.address())
    , m_program(std::make_unique<ProgramRun>(test_support::onDisplay(program, display, bus, scale)))
    , m_process(m_program->processId()) {}

// Waits until it holds, or the program has ended.
template <typename Condition>
void WindowDriver::require(Condition condition, const std::string &complaint) const {
    bool holds = false;
    waitUntil(
        [&] {
            holds = condition();
            return holds || !m_program->isRunning();
        },
        limit);
    if (!holds)
        throw std::runtime_error(complaint + ":\n" + description());
}

std::vector<Control> WindowDriver::controls() const {
    std::optional<std::vector<Control>> found;
    waitUntil(
        [&] {
            found = m_accessibility.controlsOf(m_process);
            return found || !m_program->isRunning();
        },
        limit);
    return found.value_or(std::vector<Control>());
}

std::optional<Control> WindowDriver::look(const std::string &role, const std::string &name) const {
    for (const Control &control : controls()) {
        if (control.role == role && control.name == name)
            return control;
    }
    return std::nullopt;
}

Control WindowDriver::find(const std::string &role, const std::string &name,
                           const std::function<bool(const Control &)> &condition) const {
    std::optional<Control> found;
    require(
        [&] {
            found = look(role, name);
            return found && condition(*found);
        },
        "There is no " + role + " \"" + name + "\" as it should be, but");
    return *found;
}

Control WindowDriver::findEnabled(const std::string &role, const std::string &name) const {
    return find(role, name, [](const Control &control) { return control.isEnabled(); });
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
    clickAt(findEnabled(role, name));
}

void WindowDriver::clickAt(const Control &control) const {
    const Extents place = onDisplay(scrolledTo(control).extents);
    input({"mousemove", std::to_string(place.x + place.width / 2), std::to_string(place.y + place.height / 2),
           "click", "1"});
}

void WindowDriver::movePointerAway() const {
    input({"mousemove", "0", "0"});
}

void WindowDriver::type(const std::string &text) const {
    input({"type", "--delay", "2", text});
}

void WindowDriver::key(const std::string &keys) const {
    input({"key", keys});
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

void WindowDriver::input(std::vector<std::string> words) const {
    ProgramRun tool({.program = "/usr/bin/xdotool",
                     .arguments = std::move(words),
                     .variables = {{"DISPLAY", m_display}}});
    if (tool.waitForEnd() != exited(0))
        throw std::runtime_error("xdotool: " + tool.standardError());
}

Screen::Window WindowDriver::window(const std::string &title) const {
    std::optional<Screen::Window> found;
    require(
        [&] {
            for (const auto &window : m_screen.windows()) {
                if (window.process == m_process && window.title == title)
                    found = window;
            }
            return found.has_value();
        },
        "There is no window \"" + title + "\"");
    return *found;
}

Extents WindowDriver::onDisplay(const Extents &extents) const {
    return {extents.x * m_scale, extents.y * m_scale, extents.width * m_scale, extents.height * m_scale};
}

void WindowDriver::close() {
    m_screen.requestClose(window());
}

QImage WindowDriver::picture() const {
    return m_screen.picture(window().extents);
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
