// What a program's window passes to assistive technology, as a screen reader gets it: over the bus,
// from outside. https://gitlab.gnome.org/GNOME/at-spi2-core/-/tree/main/xml
//
// One thread.
#pragma once

#include "test_support/Bus.h"

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace test_support {

/// In the units of the program, from the upper left corner of the display.
struct Extents {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    int right() const { return x + width; }
    int bottom() const { return y + height; }
};

/// Where an element can be asked: a bus name and a path.
struct Element {
    std::string service;
    std::string path;
};

/// One element that is on the screen, as it was when it was read.
struct Control {
    Element element;
    /// As the registry spells it: "push button", "check box", "label"...
    std::string role;
    std::string name;
    std::string description;
    std::uint64_t states = 0;
    Extents extents;

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
    explicit Accessibility(const std::string &busAddress)
        : m_bus(busAddress) {}

    /// Everything that the process shows, or would where the user scrolls to it, in the order of the tree.
    /// None when the window changed while it was read.
    std::optional<std::vector<Control>> controlsOf(pid_t process) const;

    /// From now on the program reports what comes up, as it does to a screen reader that asks for it.
    void listen();
    /// How often the control has come up since then.
    std::ptrdiff_t timesShown(const Control &control);

    /// The text in a box.
    std::string textOf(const Control &control) const;

    /// Has the program do what the control is for, as a screen reader does without pointer and keys. False
    /// when there is nothing.
    bool work(const Control &control) const;

private:
    BusMessage ask(const Element &element, const char *method) const;
    std::optional<std::vector<Element>> childrenOf(const Element &parent) const;
    bool isOf(pid_t process, const Element &application) const;
    bool read(Control &control) const;
    bool addVisible(const Element &element, std::vector<Control> &controls) const;
    std::string property(const Element &element, const char *name) const;

    BusClient m_bus;
    /// The paths of what came up.
    std::vector<std::string> m_shown;
};

} // namespace test_support
