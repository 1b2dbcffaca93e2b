// This process: how it starts, where its executable is, and how the system asks it to end.
#pragma once

#include <QStringList>
#include <filesystem>
#include <functional>

namespace platform {

/// Makes the process safe to work in, whatever started it: files are the user's alone, a closed connection
/// or a closed standard stream does no harm, children can be waited for. First thing in `main`.
void prepareProcess();

/// This process's executable path: the first argument, or the real path of the executable when the first
/// argument is missing or not absolute. Any thread.
std::filesystem::path executablePath(const QStringList &arguments);

/// Handles the system's requests to end: log-out, a closed terminal, Ctrl-C, a service manager. The first one
/// calls `stopPrograms` at once, so that a main thread that waits for a program goes on, and then `end` from
/// the event loop. Every further request ends the process immediately, and so do 2 seconds in which it has
/// not ended. A request that the process was started to ignore stays ignored. Once, on the main thread, while
/// the application object exists.
void onTerminationRequest(std::function<void()> end);

} // namespace platform
