// Long work of a step that the window waits for, without a frozen window.
#pragma once

#include <functional>
#include <optional>

/// Runs `work` on a thread of its own and gives its result when it has ended. The window goes on drawing
/// meanwhile, what other threads hand to the main queue is run, and the user may close the window; what else
/// the user could do there is for the caller to disable. None when the program is to end before the work has:
/// the work then goes on by itself, so that it must own or outlive what it uses. Main thread.
std::optional<bool> workBesideWindow(std::function<bool()> work);
