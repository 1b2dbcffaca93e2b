// The desktop's setting of its appearance, which a test changes.
// https://flatpak.github.io/xdg-desktop-portal/docs/doc-org.freedesktop.portal.Settings.html
#pragma once

#include "test_support/BusObject.h"
#include "test_support/PrivateBus.h"

#include <atomic>
#include <cstdint>

namespace test_support {

class Portal {
public:
    enum class ColorScheme : std::uint32_t { noPreference, dark, light };

    Portal(const PrivateBus &bus, ColorScheme colorScheme);

    /// Tells whoever listens.
    void change(ColorScheme colorScheme);

private:
    bool answer(sd_bus_message *call) const;

    std::atomic<ColorScheme> m_colorScheme;
    BusObject m_object;
};

} // namespace test_support
