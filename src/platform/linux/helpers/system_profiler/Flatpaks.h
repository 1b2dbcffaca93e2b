// Applications that Flatpak installed: below an installation, `app/ID/current/active` is the application and
// `exports` holds what it gives to the system.
#pragma once

#include "platform/linux/helpers/system_profiler/AppStream.h"
#include "platform/linux/helpers/system_profiler/DesktopEntries.h"

namespace system_profiler {

struct Flatpak {
    QString identifier;
    /// Empty when no installation holds it.
    std::filesystem::path location;
    /// Empty when the entry does not name the program within the application.
    std::filesystem::path program;
    std::optional<Component> component;
};

/// The application that an entry starts, when it is one that Flatpak installed: when the entry bears its
/// mark, or stands in an installation's exports.
std::optional<Flatpak> flatpakOf(const InstalledEntry &entry,
                                 const std::vector<std::filesystem::path> &installations, NotRead &notRead,
                                 AppStreamBudget &budget);

} // namespace system_profiler
