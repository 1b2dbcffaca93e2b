// A made-up installation of the document product below any home folder, with logs, crash reports and
// preferences. For tests and demonstrations.
//
// Plain functions without shared state; any thread, one home at a time.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace sample_product {

enum class Edition { lumadoc, pellix };

struct SampleProductOptions {
    Edition edition = Edition::lumadoc;
    /// The first digit of the last piece gives the track: 1 Beta, 2 QZ, any other Trunk.
    std::string version = "10.003.20112";
    /// Where the bundle goes; empty: "Applications/<edition>.app" in the home folder.
    std::filesystem::path bundle = {};

    /// The size of the product's own log folder, to the byte, and the number of files in it.
    std::uint64_t logBytes = 400'000;
    std::size_t logFiles = 14;
    /// Fills the log folder with bytes that no archiver can make smaller.
    bool incompressible = false;
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
    /// The user's Library folder in this home.
    std::filesystem::path library;
    /// Folders of the product's own logs, and of all crash reports: three of the product, and others.
    std::filesystem::path logs;
    std::filesystem::path crashReports;
    /// The preference file, whether or not it was made.
    std::filesystem::path preferences;
};

/// Makes it all, the same each time; existing files are replaced one by one. Throws std::exception when
/// something cannot be written.
SampleProduct makeSampleProduct(const std::filesystem::path &home, const SampleProductOptions &options = {});

/// The bundle alone, with neither logs nor preferences: for further copies on the same machine.
SampleProduct makeSampleBundle(const std::filesystem::path &home, const SampleProductOptions &options = {});

} // namespace sample_product
