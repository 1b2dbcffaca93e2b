// What is on a display, as anybody sees it who looks at it: pixels, windows and what these ask of a window
// manager.
//
// One thread.
#pragma once

#include "test_support/Accessibility.h"

#include <QImage>
#include <memory>
#include <optional>
#include <string>
#include <vector>

struct xcb_connection_t;

namespace test_support {

class Screen {
public:
    /// Ends the process when the display cannot be reached.
    explicit Screen(const std::string &display);
    ~Screen();
    Screen(const Screen &) = delete;
    Screen &operator=(const Screen &) = delete;

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
    std::vector<std::uint32_t> property(std::uint32_t window, const char *name) const;
    std::string textProperty(std::uint32_t window, const char *name) const;

    xcb_connection_t *m_connection = nullptr;
    std::uint32_t m_root = 0;
};

} // namespace test_support
