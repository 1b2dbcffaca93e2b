// Installed and running applications, by bundle identifier, and this program among them.
//
// Nothing is kept between calls; any thread may call these, except `setPresence`.
#pragma once

#include <QString>
#include <cstdint>
#include <filesystem>
#include <vector>

namespace platform {

struct RunningApplication {
    QString bundleIdentifier;
    std::int64_t processIdentifier = 0;
    /// Empty where the system does not say.
    std::filesystem::path bundlePath;
};

/// The running applications of this user in the system's order, on Linux the oldest first: the main
/// executables of bundles, no helpers in them.
std::vector<RunningApplication> runningApplications();

/// Every installed bundle with this identifier, each once, in the system's order.
std::vector<std::filesystem::path> installedApplications(const QString &bundleIdentifier);

/// Claims to be the only copy of the program `identifier`, for as long as this process lives. The claim is a
/// lock in `folder`, which is created; no other user can take it, and of several copies at once one gets it.
/// False when another copy holds it or, as far as the system says, is running with a claim in another folder.
/// Where the folder takes no lock that is safe from others, the list of running applications decides.
bool claimSingleInstance(const QString &identifier, const std::filesystem::path &folder);

enum class Presence {
    /// No place in the Dock and no menu bar.
    hidden,
    /// In front of the others.
    ordinary,
};

/// How the system shows this program to the user, where the system wants to be told. Main thread.
void setPresence(Presence presence);

/// Asks the copy of the program `identifier` that has a window to bring it to the front, in the name of the
/// user's action that started this process. Nothing happens where there is no such copy, or no way to ask it.
/// Waits for the message bus, but not for that copy.
void activateOtherCopy(const QString &identifier);

} // namespace platform
