// Works a program's window from outside, as a user does: looks for a control by what it is and says, points
// at it and clicks, types.
//
// One thread. What is not there within the limit is a std::runtime_error that says what is.
#pragma once

#include "test_support/Accessibility.h"

#include <functional>

namespace test_support {

class WindowDriver {
public:
    static constexpr auto limit = std::chrono::seconds(60);

    /// Starts the program. `scale` is what a pixel of the program's is on the display.
    WindowDriver(ProgramOptions program, const Xvfb &display, const PrivateBus &bus, int scale = 1);

    ProgramRun &program() { return *m_program; }
    const Screen &screen() const { return m_screen; }

    /// All that is on the screen, of all windows of the program; nothing when it has ended.
    std::vector<Control> controls() const;
    bool shows(const std::string &role, const std::string &name) const;
    /// Waits for it, in that condition.
    Control find(
        const std::string &role, const std::string &name,
        const std::function<bool(const Control &)> &condition = [](const Control &) { return true; }) const;
    Control findEnabled(const std::string &role, const std::string &name) const {
        return find(role, name, std::mem_fn(&Control::isEnabled));
    }
    void waitUntilGone(const std::string &role, const std::string &name) const;
    void waitForFocus(const std::string &role, const std::string &name) const;

    /// Waits until it can be clicked and rests in its place, scrolls to it, and clicks its middle.
    void click(const std::string &role, const std::string &name) const;
    void clickAt(const Control &control) const;
    void movePointerAway() const { m_screen.movePointerAway(); }
    void type(const std::string &text) const { input({"type", "--delay", "2", text}); }
    /// A key or a combination of keys, as xdotool names them.
    void key(const std::string &keys) const { input({"key", keys}); }
    /// Works it as a screen reader does.
    bool work(const Control &control) const { return m_accessibility.work(control); }
    std::string textOf(const Control &control) const { return m_accessibility.textOf(control); }
    const Accessibility &accessibility() const { return m_accessibility; }

    static inline const std::string title = "Brennic Lumadoc Diagnostics";
    /// Waits for it. Its place is in pixels of the display.
    Screen::Window window() const;
    void focus() const { m_screen.focus(window().number); }
    void resize(int width, int height) const { m_screen.resize(window().number, width, height); }
    /// Presses its cross.
    void close() const { m_screen.requestClose(window().number); }

    /// The same place in pixels of the display.
    Extents onDisplay(const Extents &extents) const;
    std::string description() const;
    /// What the program has printed as errors, without what a busy machine makes Qt print.
    std::string printedErrors() const;

private:
    template <typename Condition>
    void require(Condition condition, const std::string &complaint) const;
    void input(const std::vector<std::string> &words) const;
    Control scrolledTo(const Control &control) const;

    int m_scale;
    std::string m_display;
    Screen m_screen;
    Accessibility m_accessibility;
    std::unique_ptr<ProgramRun> m_program;
};

} // namespace test_support
