// Installed and running applications, by bundle identifier, and this program's claim to be the only copy.
//
// Nothing is kept between calls; any thread may call these.
#pragma once

#include <QString>
#include <cstdint>
#include <filesystem>
#include <vector>

namespace platform {

struct RunningApplication {
    QString bundleIdentifier;
    std::int64_t processIdentifier = 0;
    std::filesystem::path bundlePath;
};

/// The running applications of this user, oldest first: the main executables of bundles, no helpers in them.
std::vector<RunningApplication> runningApplications();

/// Where the system looks for installed applications.
struct ApplicationRoots {
    /// Folders with desktop entries, most important first.
    std::vector<std::filesystem::path> desktopEntries;
    /// Folders that hold bundles, in order.
    std::vector<std::filesystem::path> bundles;
    /// Folders that hold bundles and folders of bundles.
    std::vector<std::filesystem::path> nestedBundles;
};

/// The roots of this machine and user.
ApplicationRoots applicationRoots();

/// Every installed bundle with this identifier, each once: those that a desktop entry starts, then those in
/// the bundle folders, then those in the nested ones, by name within each folder.
std::vector<std::filesystem::path> installedApplications(const QString &bundleIdentifier,
                                                         const ApplicationRoots &roots = applicationRoots());

/// Claims to be the only copy of the program `identifier`, for as long as this process lives. The claim is a
/// lock in `folder`, which is created; no other user can take it, and of several copies at once one gets it.
/// False when another copy holds it, or is running with a claim in another folder. Where the folder takes no
/// lock that is safe from others, the list of running applications decides.
bool claimSingleInstance(const QString &identifier, const std::filesystem::path &folder);

} // namespace platform
