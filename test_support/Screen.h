// A display without a screen, and what is on it. One thread. A display that cannot be started or reached
// throws std::runtime_error.
#pragma once

#include "test_support/ProgramRun.h"

#include <QImage>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>
#include <xcb/xcb.h>

namespace test_support {

/// A display of the test's own, which ends with its object.
class Xvfb {
public:
    /// `size` in pixels.
    explicit Xvfb(const std::string &size = "1400x1600");

    /// What DISPLAY is to be.
    const std::string &name() const { return m_name; }

private:
    std::unique_ptr<ProgramRun> m_server;
    std::string m_name;
};

/// A place on the screen.
struct Extents {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    int right() const { return x + width; }
    int bottom() const { return y + height; }
};

/// A connection to a display.
class Screen {
public:
    explicit Screen(const std::string &display);

    xcb_connection_t *connection() const { return m_connection.get(); }
    xcb_window_t root() const;
    xcb_atom_t atom(const std::string &name) const;
    /// The values of a window's property; none when it has none of this kind (1 or 4 bytes each).
    template <typename Value>
    std::vector<Value> property(xcb_window_t window, const std::string &name) const {
        constexpr std::uint32_t most = 1024;
        const auto cookie = xcb_get_property(connection(), 0, window, atom(name), XCB_ATOM_ANY, 0, most);
        const auto reply = owned(xcb_get_property_reply(connection(), cookie, nullptr));
        if (!reply || reply->format != 8 * sizeof(Value))
            return {};
        const auto *first = static_cast<const Value *>(xcb_get_property_value(reply.get()));
        return {first, first + reply->value_len};
    }
    /// Sends an event of 32 bytes to a window.
    template <typename Event>
    void send(xcb_window_t window, const Event &event) const {
        xcb_send_event(connection(), 0, window, XCB_EVENT_MASK_NO_EVENT,
                       reinterpret_cast<const char *>(&event));
        xcb_flush(connection());
    }
    template <typename Reply>
    static std::unique_ptr<Reply, decltype(&std::free)> owned(Reply *reply) {
        return {reply, &std::free};
    }

    struct Window {
        xcb_window_t number = 0;
        Extents extents;
    };
    /// The one that is seen and whose title begins like this.
    std::optional<Window> window(const std::string &title) const;
    /// Gives it the keyboard, as a window manager does.
    void focus(xcb_window_t window) const;
    void resize(xcb_window_t window, int width, int height) const;
    /// Into the upper left corner.
    void movePointerAway() const;
    /// Asks a window to close, as its cross does.
    void requestClose(xcb_window_t window) const;
    /// Puts a black window over that place, for as long as the connection lives.
    void cover(const Extents &extents) const;
    QImage picture(const Extents &extents) const;
    /// As 0xRRGGBB.
    std::uint32_t pixel(int x, int y) const { return picture({x, y, 1, 1}).pixel(0, 0) & 0xFFFFFFU; }

private:
    std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)> m_connection;
};

} // namespace test_support
