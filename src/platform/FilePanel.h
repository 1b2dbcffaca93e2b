// The system's panel in which the user picks files to open.
#pragma once

#include <QString>
#include <QStringList>
#include <filesystem>
#include <functional>
#include <variant>
#include <vector>

namespace platform {

/// The files that the user picked, none when the panel was cancelled; or what failed.
using PickedFiles = std::variant<std::vector<std::filesystem::path>, QString>;

/// Opens the panel for files whose names have one of `extensions` (without the dot; case does not count), as
/// many of them as the user likes, and returns at once. `picked` is called once. Main thread.
void pickFiles(const QStringList &extensions, std::function<void(const PickedFiles &)> picked);

} // namespace platform
