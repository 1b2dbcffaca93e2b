// Where this machine keeps what tells of its applications.
#pragma once

#include <filesystem>
#include <optional>
#include <vector>

namespace system_profiler {

struct Places {
    /// Folders with desktop entries, most important first.
    std::vector<std::filesystem::path> desktopEntries;
    /// Folders with AppStream files.
    std::vector<std::filesystem::path> appStream;
    /// Folders that hold bundles, and folders that hold bundles and folders of bundles.
    std::vector<std::filesystem::path> bundles;
    std::vector<std::filesystem::path> nestedBundles;
    /// Flatpak installations: each holds `app` and `exports`.
    std::vector<std::filesystem::path> flatpaks;
    /// Folders that hold one folder for each installed snap.
    std::vector<std::filesystem::path> snaps;
    /// Where snaps keep their desktop entries, and what was signed about them.
    std::filesystem::path snapEntries;
    std::filesystem::path snapAssertions;
    /// The database of the system's packages.
    std::filesystem::path packages;
    std::optional<std::filesystem::path> home;
};

/// The places of this machine and user.
Places placesOfThisMachine();

} // namespace system_profiler
