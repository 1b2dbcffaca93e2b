// The desktop entries of the machine, as the Desktop Entry Specification of freedesktop.org orders them.
//
// An entry's identifier is its path below its folder with '-' for each '/'. An entry in an earlier folder
// stands in the place of all later ones with its identifier, also when it is hidden, cannot be read, or names
// a program to be tried (TryExec) that is not there.
#pragma once

#include "platform/linux/DesktopEntry.h"
#include "platform/linux/helpers/system_profiler/NotRead.h"

#include <filesystem>
#include <vector>

namespace system_profiler {

struct InstalledEntry {
    std::filesystem::path path;
    std::string identifier;
    platform::DesktopEntry entry;
};

/// Bounds that no machine comes near in earnest: what is beyond them is noted and not read.
struct EntryLimits {
    std::size_t folderDepth = 8;
    std::size_t folders = 2000;
    std::size_t entries = 20'000;
    std::size_t entryBytes = std::size_t{256} << 10;
    std::size_t totalBytes = std::size_t{64} << 20;
};

/// The entries of applications in these folders and the folders below them, in order; those that the user's
/// system would not offer because they are hidden or their program is gone are left out.
std::vector<InstalledEntry> installedEntries(const std::vector<std::filesystem::path> &folders,
                                             NotRead &notRead, const EntryLimits &limits = {});

/// The application's entry in these bytes; none, with `problem` empty, when they are another kind of entry or
/// one that is not to be offered, and with `problem` set when they are no entry as the standard has it.
std::optional<platform::DesktopEntry> applicationEntry(const QByteArray &bytes, QString &problem);

} // namespace system_profiler
