// What windows pass to assistive technology, as a screen reader gets it: over the bus, from outside.
// https://gitlab.gnome.org/GNOME/at-spi2-core/-/tree/main/xml
//
// One thread.
#pragma once

#include "test_support/Bus.h"
#include "test_support/Screen.h"

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace test_support {

/// One element that is on the screen, as it was when it was read.
struct Control {
    // Where it can be asked: a bus name and a path.
    std::string service;
    std::string path;
    /// As the registry spells it: "push button", "check box", "label"...
    std::string role = {};
    std::string name = {};
    std::string description = {};
    std::uint64_t states = 0;
    /// In the units of the program, from the upper left corner of the display.
    Extents extents = {};

    /// The window says it in the description, since the state of a disabled item is not passed on.
    bool isEnabled() const { return has(8) && has(24) && description != "Unavailable"; }
    bool isChecked() const { return has(4); }
    bool isFocused() const { return has(12); }
    bool isEditable() const { return has(7); }
    /// Also when it has to be scrolled to.
    bool isVisible() const { return has(30); }

private:
    /// By the numbers of AtspiStateType.
    bool has(unsigned state) const { return (states >> state & 1) != 0; }
};
std::ostream &operator<<(std::ostream &out, const Control &control);

class Accessibility {
public:
    /// Starts the registry, where programs announce themselves that start from now on.
    explicit Accessibility(const PrivateBus &bus);

    /// All that the programs show, or would when scrolled to. None when a window changed meanwhile.
    std::optional<std::vector<Control>> controls() const;

    /// The text in a box.
    std::string textOf(const Control &control) const;

    /// Where the next character goes.
    int caretIn(const Control &box) const;
    /// Puts text there, as dictation does; false when it cannot.
    bool insert(const Control &box, int place, const std::string &text) const;
    /// Replaces the whole text.
    bool fill(const Control &box, const std::string &text) const;

    /// Has the program do what the control is for; false when there is nothing.
    bool work(const Control &control) const;
    /// Gives it the keyboard.
    bool grabFocus(const Control &control) const;

private:
    std::optional<std::vector<Control>> childrenOf(const Control &parent) const;
    bool read(Control &control) const;
    bool addVisible(Control control, std::vector<Control> &controls) const;
    BusMessage property(const Control &control, const char *interface, const char *name) const;
    std::string text(const Control &control, const char *property) const;
    template <typename... Arguments>
    bool does(const Control &control, const char *interface, const char *method, const char *types,
              Arguments... arguments) const;

    BusClient m_bus;
    ProgramRun m_registry;
    /// Programs ask here for the bus of the accessibility services.
    BusObject m_launcher;
};

} // namespace test_support
