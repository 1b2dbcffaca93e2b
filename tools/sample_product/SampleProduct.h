// A made-up installation of the document product, with its logs, crash reports and preferences, below a home
// folder of the caller's choice. For tests and demonstrations.
//
// Plain functions without shared state; any thread, one home at a time.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace sample_product {

enum class Edition { lumadoc, pellix };

enum class Preferences {
    none,
    xml,
    binary,
};

struct SampleProductOptions {
    Edition edition = Edition::lumadoc;
    /// The first digit of the last piece tells the track: 0 Trunk, 1 Beta, 2 QZ.
    std::string version = "10.003.20112";
    /// Where the bundle goes; empty: "Applications/<edition>.app" in the home folder.
    std::filesystem::path bundle = {};
    /// Adds a desktop entry that starts the bundle's executable.
    bool desktopEntry = false;

    /// The size of the product's own log folder, to the byte, and the number of files in it.
    std::uint64_t logBytes = 400'000;
    std::size_t logFiles = 14;
    /// The size of the message folder, to the byte.
    std::uint64_t messageBytes = 40'000;
    /// Crash reports of the product, and the size of each. Reports of other programs stand beside them.
    std::size_t crashReports = 3;
    std::uint64_t crashReportBytes = 20'000;
    /// Fills the log folder with bytes that no archiver makes smaller.
    bool incompressible = false;
    std::uint64_t seed = 1;

    Preferences preferences = Preferences::xml;
    /// The preferences already hold a logging switch: "EnableLumaLogging" [1, 2], "SustainLumaLogging" [3,
    /// false].
    bool lumaLogging = false;
};

/// What was made, and where.
struct SampleProduct {
    std::string bundleIdentifier;
    /// "Lumadoc" or "Pellix"; "Trunk", "Beta" or "QZ".
    std::string editionName;
    std::string track;
    std::filesystem::path bundle;
    /// The bundle's main executable, and a program inside the bundle that is not.
    std::filesystem::path executable;
    std::filesystem::path helper;
    /// Empty when there is none.
    std::filesystem::path desktopEntry;
    /// The user's Library folder in this home.
    std::filesystem::path library;
    /// Folders of the product's own logs, of its messages, and of all crash reports.
    std::filesystem::path logs;
    std::filesystem::path messages;
    std::filesystem::path crashReports;
    /// Preference files, whether or not they were made.
    std::filesystem::path preferences;
    std::filesystem::path crashReporterPreferences;
};

/// The track of a version; "Trunk" when its digit says none.
std::string trackOfVersion(const std::string &version);

/// Makes it all; what stands there already is replaced file by file. The text is the same for the same seed.
/// Throws std::runtime_error or std::filesystem::filesystem_error when something cannot be written.
SampleProduct makeSampleProduct(const std::filesystem::path &home, const SampleProductOptions &options = {});

/// Bundle alone, with neither logs nor preferences: for further copies on the same machine.
SampleProduct makeSampleBundle(const std::filesystem::path &home, const SampleProductOptions &options = {});

} // namespace sample_product
