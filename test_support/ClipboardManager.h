// A desktop's clipboard manager: saves what was copied in a program that ends.
//
// Published source: freedesktop.org, "Clipboard Manager Specification". One thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

struct xcb_connection_t;

namespace test_support {

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
