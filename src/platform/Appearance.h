// The light or dark appearance that the user has chosen for the system.
#pragma once

#include <functional>
#include <memory>

namespace platform {

enum class ColorScheme { light, dark };

/// Watches the system's appearance for as long as it lives. Main thread.
class Appearance {
public:
    /// `changed` is called with the present appearance, at first before this returns, and with each new one.
    explicit Appearance(std::function<void(ColorScheme)> changed);
    ~Appearance();

private:
    class Watcher;
    std::unique_ptr<Watcher> m_watcher;
};

} // namespace platform
