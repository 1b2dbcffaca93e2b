// Where Linux has installed applications: desktop entries and folders of bundles. Any thread may call these.
#pragma once

#include <QString>
#include <filesystem>
#include <vector>

namespace platform {

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
std::vector<std::filesystem::path> installedApplicationsIn(const ApplicationRoots &roots,
                                                           const QString &bundleIdentifier);

} // namespace platform
