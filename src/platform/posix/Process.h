// This process: how it starts, where its executable is, its threads, and how the system asks it to end.
#pragma once

#include <QByteArray>
#include <QStringList>
#include <chrono>
#include <filesystem>
#include <functional>
#include <thread>

namespace platform {

/// Makes the process safe to work in, whatever started it: files are the user's alone, a closed connection,
/// a closed standard stream or a file that may not grow does no harm, children can be waited for, and an
/// exception that nobody catches, as when memory is used up, is fatal without a core dump. First thing in
/// `main`.
void prepareProcess();

/// Runs `work` on a new thread of this name, at most 15 characters. The thread is not joinable when the
/// system has none to give: `work` then never runs, and the caller does without. Any thread.
std::thread startThread(const char *name, std::function<void()> work);

/// Whether the system has so many more threads, descriptors and addresses to give at this moment. Any thread.
bool hasRoomFor(int threads, int descriptors, std::size_t addressBytes);

/// Ends the process with `status` after `time`, wherever it is; before that it adds `line` to the end of
/// `file` when there is such a file. For want of a thread that could do so: needs no further thread, and
/// nothing while it waits. A second call replaces the first; a `time` of 0 takes it back. Main thread.
void endProcessOnAlarm(std::chrono::milliseconds time, int status, const QByteArray &line = {},
                       const std::filesystem::path &file = {});

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
