// One block of the report.
#pragma once

#include <QString>
#include <chrono>
#include <filesystem>
#include <optional>
#include <vector>

namespace system_profiler {

struct Application {
    QString name;
    /// Empty when not known; so are kind, location and maintainer.
    QString version;
    QString source;
    std::optional<std::chrono::sys_seconds> modified;
    QString kind;
    QString location;
    QString maintainer;
    /// The desktop entries that start it.
    std::vector<std::filesystem::path> entries;
    /// False when all of its entries say that menus should not show it.
    bool inMenus = true;
};

} // namespace system_profiler
