// What AppStream files tell of applications: the newest version and who develops it.
//
// Format: AppStream specification of freedesktop.org, files of the element "component" (earlier
// "application").
#pragma once

#include "platform/linux/helpers/system_profiler/NotRead.h"

#include <QByteArray>
#include <QString>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace system_profiler {

struct Component {
    /// The identifiers of the desktop entries that start it, each ending in ".desktop".
    std::vector<std::string> entries;
    /// The newest release, which stands first; empty when not told. So is the developer.
    QString version;
    QString developer;
};

/// The component in these bytes; none with `problem` set when they are no such file, or hold so long a tag or
/// so many names of entries that they can only be meant to keep the reader busy.
std::optional<Component> parseComponent(const QByteArray &bytes, QString &problem);

/// How many bytes of such files are read in all, so that no number of them holds up the report.
struct AppStreamBudget {
    std::uint64_t remainingBytes = std::uint64_t{64} << 20;
};

/// The component in a file; none, noted, when it cannot be read or when the budget is used up.
std::optional<Component> readComponent(const std::filesystem::path &file, NotRead &notRead,
                                       AppStreamBudget &budget);

/// The components of the ".xml" files in these folders, by the identifier of the entry that starts them, and
/// without their own list of these. Where two name an entry, the first by the order of folders and names
/// counts.
std::map<std::string, Component> componentsIn(const std::vector<std::filesystem::path> &folders,
                                              NotRead &notRead, AppStreamBudget &budget);

} // namespace system_profiler
