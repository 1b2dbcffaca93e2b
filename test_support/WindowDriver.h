// Works a program's window as a user does: looks for a control by what it is and says, points at it and
// clicks, types. It sees what the window shows and passes to assistive technology, and nothing of the
// program's inside.
//
// One thread. What is not found within the limit ends the wait with std::runtime_error, which says what is
// there.
#pragma once

#include "test_support/Accessibility.h"
#include "test_support/Bus.h"
#include "test_support/ProgramRun.h"
#include "test_support/Screen.h"

#include <functional>
#include <optional>

namespace test_support {

class WindowDriver {
public:
    static constexpr auto limit = std::chrono::seconds(60);

    /// Starts the program on that display and bus. `scale` is what a pixel of the program's is on the
    /// display.
    WindowDriver(const ProgramOptions &program, const Xvfb &display, const PrivateBus &bus, int scale = 1);

    /// Works the window of another process from now on, which the program has started.
    void follow(pid_t process) { m_process = process; }

    ProgramRun &program() { return *m_program; }
    Screen &screen() { return m_screen; }
    Accessibility &accessibility() { return m_accessibility; }

    /// All that is on the screen, of all windows of the program; nothing when it has ended.
    std::vector<Control> controls() const;
    std::optional<Control> look(const std::string &role, const std::string &name) const;
    bool shows(const std::string &role, const std::string &name) const {
        return look(role, name).has_value();
    }
    /// Waits for it, in that condition.
    Control find(
        const std::string &role, const std::string &name,
        const std::function<bool(const Control &)> &condition = [](const Control &) { return true; }) const;
    Control findEnabled(const std::string &role, const std::string &name) const;
    void waitUntilGone(const std::string &role, const std::string &name) const;
    std::string textOf(const Control &control) const { return m_accessibility.textOf(control); }
    /// Waits until it has the keyboard.
    void waitForFocus(const std::string &role, const std::string &name) const;

    /// Waits for it to be there and enabled, moves the pointer to its middle, and clicks; scrolls to it where
    /// it is out of the window's sight.
    void click(const std::string &role, const std::string &name) const;
    void clickAt(const Control &control) const;
    void movePointerAway() const;
    void type(const std::string &text) const;
    /// A key or a combination of keys, as xdotool names them.
    void key(const std::string &keys) const;

    /// The window with this title; waits for it.
    Screen::Window window(const std::string &title = "Brennic Lumadoc Diagnostics") const;
    /// The same place in pixels of the display.
    Extents onDisplay(const Extents &extents) const;
    /// Presses the window's cross.
    void close();

    /// The picture of the window and what is over it.
    QImage picture() const;
    std::string description() const;
    /// What the program has printed as errors, without what a busy machine makes Qt print.
    std::string printedErrors() const;

private:
    template <typename Condition>
    void require(Condition condition, const std::string &complaint) const;
    void input(std::vector<std::string> words) const;
    Control scrolledTo(const Control &control) const;

    int m_scale;
    std::string m_display;
    Screen m_screen;
    Accessibility m_accessibility;
    std::unique_ptr<ProgramRun> m_program;
    pid_t m_process;
};

} // namespace test_support
