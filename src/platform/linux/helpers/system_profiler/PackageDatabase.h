// Which package a file belongs to, read from the files of the dpkg database themselves: its programs take
// longer and may wait for a lock.
//
// Other systems' databases are not text and have no reader here; there the packages are not known.
#pragma once

#include "platform/linux/helpers/system_profiler/NotRead.h"

#include <QString>
#include <filesystem>
#include <map>
#include <string>
#include <unordered_set>

namespace system_profiler {

struct Package {
    QString name;
    /// Empty when not known.
    QString version;
    QString maintainer;
};

struct PackageLimits {
    std::size_t statusBytes = std::size_t{64} << 20;
    std::size_t listBytes = std::size_t{16} << 20;
    std::size_t totalListBytes = std::size_t{512} << 20;
};

/// The packages that own these files, by file; a file that no package owns is left out. Where several claim a
/// file, the first by the order of names does. `database` is the folder that holds `status` and `info`;
/// without it there are no packages.
std::map<std::string, Package> packagesOf(const std::unordered_set<std::string> &files,
                                          const std::filesystem::path &database, NotRead &notRead,
                                          const PackageLimits &limits = {});

} // namespace system_profiler
