// What the system's package managers say of the applications that they installed.
//
// Each is asked by its own program. One that is not there knows nothing; one that fails, or does not answer
// in time, is noted.
#pragma once

#include "platform/linux/helpers/system_profiler/Reader.h"

#include <chrono>
#include <set>

namespace system_profiler {

/// A text is empty when not known. Only the system's packages have a name.
struct Package {
    QString name;
    QString version;
    QString maintainer;
};

using Packages = std::map<std::string, Package>;

/// How long a program may take.
constexpr std::chrono::milliseconds answerLimit = std::chrono::seconds(10);

/// The packages of the system that own these files, by file; of several owners the first that is named.
Packages packagesOf(const std::set<std::string> &files, Reader &reader, std::chrono::milliseconds limit);

/// The installed Flatpak applications by identifier, the user's before the system's, without a maintainer.
Packages flatpaks(Reader &reader);

/// The installed snaps by name.
Packages snaps(Reader &reader);

} // namespace system_profiler
