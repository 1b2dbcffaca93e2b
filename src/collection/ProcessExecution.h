// The capture: everything that is gathered once the user has reproduced the problem.
//
// Three tasks, one after the other, on the worker "MonitoringQueue": a process sample of the product, the
// list of installed applications, and always the product's settings and logs.
#pragma once

#include "discovery/TextBinding.h"
#include "platform/ScriptRunner.h"

#include <functional>
#include <optional>

namespace ProcessExecution {

/// The window's status line. The tasks write to the one that is set when they are started; without one their
/// progress is not shown. Main thread.
inline std::optional<TextBinding> labelTextBinding;

/// Starts the tasks and returns at once; `completion` runs on the main queue, once, behind the last of them,
/// whatever they came to. Main thread.
void runTasksConcurrently(bool getInstalledApps, bool getSpinDump, bool isLumaloggingEnabled,
                          std::function<void()> completion);

/// Samples the product's process into "spinReport.txt", with an administrator's rights. What went wrong, if
/// anything did.
std::optional<platform::ScriptError> runSpinDump();

/// Writes the list of installed applications into "sysinfo.txt".
std::optional<platform::ScriptError> runSystemProfiler();

/// For the end of the program: skips what a running capture has not begun yet, its completion included, and
/// waits a moment for the step that it is in. True when nothing runs any more; otherwise that step hangs, and
/// what it uses may not be destroyed. Scripts end with `platform::stopPrograms`. Main thread.
bool stop();

} // namespace ProcessExecution
