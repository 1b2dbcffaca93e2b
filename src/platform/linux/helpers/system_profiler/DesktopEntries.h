// The desktop entries of the machine, as the Desktop Entry Specification of freedesktop.org orders them.
#pragma once

#include "platform/linux/DesktopEntry.h"
#include "platform/linux/helpers/system_profiler/Reader.h"

namespace system_profiler {

/// The entries of applications in these folders and the folders below them, by path; each folder is read once
/// whatever links lead to it. An entry's identifier is its path below its folder with '-' for each '/'; it
/// replaces all later ones with its identifier, also when it is left out: because it is hidden, broken, or
/// names a program to be tried (TryExec) that is not there.
std::map<std::filesystem::path, platform::DesktopEntry>
installedEntries(const std::vector<std::filesystem::path> &folders, Reader &reader);

} // namespace system_profiler
