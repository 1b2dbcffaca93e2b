// A display without a screen, and what is on it as anybody sees it who looks at it: pixels, windows, what
// these ask of a window manager, and the clipboard.
//
// One thread. A display that cannot be started or reached throws std::runtime_error.
#pragma once

#include "test_support/Accessibility.h"
#include "test_support/ProgramRun.h"

#include <QImage>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>
#include <xcb/xcb.h>

namespace test_support {

struct DisplaySize {
    int width = 1280;
    int height = 1024;
};

/// A display of the test's own, which ends with its object.
class Xvfb {
public:
    /// Takes clients when it returns.
    explicit Xvfb(DisplaySize size = {});

    /// What DISPLAY is to be.
    const std::string &name() const { return m_name; }

private:
    std::unique_ptr<ProgramRun> m_server;
    std::string m_name;
};

/// A connection to a display.
class DisplayClient {
protected:
    explicit DisplayClient(const std::string &display);

    xcb_connection_t *connection() const { return m_connection.get(); }
    xcb_window_t root() const;
    xcb_atom_t atom(const std::string &name) const;
    /// The bytes of a window's property; empty when it has none of that format (8 or 32 bits).
    std::string property(xcb_window_t window, const std::string &name, int format) const;
    /// Sends an event of 32 bytes to a window.
    template <typename Event>
    void send(xcb_window_t window, const Event &event) const {
        xcb_send_event(connection(), 0, window, XCB_EVENT_MASK_NO_EVENT,
                       reinterpret_cast<const char *>(&event));
        xcb_flush(connection());
    }

private:
    std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)> m_connection;
};

class Screen : private DisplayClient {
public:
    explicit Screen(const std::string &display)
        : DisplayClient(display) {}

    /// The windows that programs have mapped, lowest first, those of no process known left out.
    struct Window {
        std::uint32_t number = 0;
        pid_t process = 0;
        std::string title;
        /// In pixels of the display.
        Extents extents;
        Extents minimum;
    };
    std::vector<Window> windows() const;

    /// Asks a window to close, as a window manager does when the user presses the cross.
    void requestClose(const Window &window) const;
    /// As a window manager changes the size of a window.
    void resize(const Window &window, int width, int height) const;
    /// Gives the keyboard to a window.
    void focus(const Window &window) const;

    QImage picture(const Extents &extents) const;
    /// As 0xRRGGBB.
    std::uint32_t pixel(int x, int y) const;

private:
    std::vector<std::uint32_t> numbers(xcb_window_t window, const std::string &property) const;
};

/// A desktop's clipboard manager: saves what was copied in a program that ends (freedesktop.org, "Clipboard
/// Manager Specification").
class ClipboardManager : private DisplayClient {
public:
    /// Is the display's manager from now on.
    explicit ClipboardManager(const std::string &display);

    /// Waits for a program that asks for its copy to be saved, and gives the copied text; none when no
    /// program asks within the limit, or what it offers is no text.
    std::optional<std::string> save(std::chrono::milliseconds limit);

private:
    template <typename Event>
    std::optional<Event> nextEvent(int type, std::chrono::milliseconds limit) const;

    xcb_window_t m_window;
};

} // namespace test_support
