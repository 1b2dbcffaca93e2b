// What a program's window passes to assistive technology, as a screen reader gets it: over the bus,
// from outside. https://gitlab.gnome.org/GNOME/at-spi2-core/-/tree/main/xml
//
// One thread.
#pragma once

#include "test_support/Bus.h"

#include <cstdint>
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
    friend bool operator==(const Extents &, const Extents &) = default;
};

/// One element that is on the screen, as it was when it was read.
struct Control {
    // Where it is asked further.
    std::string service;
    std::string path;

    /// As the registry spells it: "push button", "check box", "label"...
    std::string role;
    std::string name;
    std::string description;
    std::uint64_t states = 0;
    Extents extents;

    /// The window says it in the description, since the state of a disabled item is not passed on.
    bool isEnabled() const {
        return has(stateEnabled) && has(stateSensitive) && description != "Unavailable";
    }
    bool isChecked() const { return has(stateChecked); }
    bool isFocused() const { return has(stateFocused); }
    bool isEditable() const { return has(stateEditable); }

private:
    static constexpr unsigned stateChecked = 4;
    static constexpr unsigned stateEditable = 7;
    static constexpr unsigned stateEnabled = 8;
    static constexpr unsigned stateFocused = 12;
    static constexpr unsigned stateSensitive = 24;
    bool has(unsigned state) const { return (states >> state & 1) != 0; }
};
std::ostream &operator<<(std::ostream &out, const Control &control);

class Accessibility {
public:
    explicit Accessibility(const std::string &busAddress);

    /// Everything that the process shows, or would where the user scrolls to it, in the order of the tree.
    /// Empty when it shows nothing yet, or when it changed while it was read.
    std::vector<Control> controlsOf(pid_t process) const;

    /// From now on the program reports changes as well, as it does to a screen reader that asks for them.
    void listen();
    struct Event {
        /// Of the element that it is about.
        std::string path;
        std::string name;
        std::string detail;
        /// The first number that came with it: of a state, whether it holds now.
        int first = 0;
        /// The value that came with it, where that is a text.
        std::string text;
    };
    /// Those since the last call.
    std::vector<Event> takeEvents();

    /// The text in a box.
    std::string textOf(const Control &control) const;

    /// Has the program do what the control is for, as a screen reader does without pointer and keys. False
    /// when there is nothing.
    bool work(const Control &control) const;

private:
    struct Element {
        std::string service;
        std::string path;
    };
    std::vector<Element> childrenOf(const Element &parent) const;
    std::vector<Element> windowsOf(pid_t process) const;
    bool read(const Element &element, Control &control) const;
    bool addVisible(const Element &element, std::vector<Control> &controls) const;
    std::string textProperty(const Element &element, const char *interface, const char *name) const;

    static int noteEvent(sd_bus_message *message, void *accessibility, sd_bus_error *error);

    BusClient m_bus;
    std::vector<Event> m_events;
};

} // namespace test_support
