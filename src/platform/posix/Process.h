// This process and its threads.
#pragma once

#include <QStringList>
#include <filesystem>

namespace platform {

/// Makes the process safe to work in, whatever started it: files are the user's alone, a closed connection
/// or a closed standard stream does no harm, children can be waited for. First thing in `main`.
void prepareProcess();

/// This process's executable path: the first argument, or the real path of the executable when the first
/// argument is not absolute.
std::filesystem::path executablePath(const QStringList &arguments);

/// Names the calling thread, as the system's tools show it. At most 15 characters.
void nameThisThread(const char *name);

} // namespace platform
