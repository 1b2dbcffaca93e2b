// A display without a screen, and what is on it as anybody sees it who looks at it: pixels, windows, what
// these ask of a window manager, and the clipboard.
//
// One thread.
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

struct xcb_connection_t;

namespace test_support {

struct DisplaySize {
    int width = 1280;
    int height = 1024;
};

/// A display of the test's own, which ends with its object.
class Xvfb {
public:
    /// Takes clients when it returns. Ends the process when there is no such display to be had.
    explicit Xvfb(DisplaySize size = {});

    /// What DISPLAY is to be.
    const std::string &name() const { return m_name; }

private:
    std::unique_ptr<ProgramRun> m_server;
    std::string m_name;
};

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

/// A desktop's clipboard manager: saves what was copied in a program that ends (freedesktop.org, "Clipboard
/// Manager Specification").
class ClipboardManager {
public:
    /// Is the display's manager from now on. Ends the process when the display cannot be reached.
    explicit ClipboardManager(const std::string &display);
    ~ClipboardManager();
    ClipboardManager(const ClipboardManager &) = delete;
    ClipboardManager &operator=(const ClipboardManager &) = delete;

    /// Waits for a program that asks for its copy to be saved, and gives the copied text; none when no
    /// program asks within the limit, or what it offers is no text.
    std::optional<std::string> save(std::chrono::milliseconds limit);

private:
    std::optional<std::string> convertedText(std::chrono::milliseconds limit);

    xcb_connection_t *m_connection;
    std::uint32_t m_window;
};

} // namespace test_support
