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

/// Claims `identifier` for this process, until it ends in whatever way. False when another process of this
/// user in this container holds it, and when the system lets nobody claim it. Of several at once one
/// succeeds.
bool claimSingleInstance(const QString &identifier);

} // namespace platform
