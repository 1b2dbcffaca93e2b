// The capture: everything that is gathered once the user has reproduced the problem.
//
// Its steps run one after the other on the worker "MonitoringQueue", or on the main thread where the system
// has no thread to give: a process sample of the product, the list of installed applications, and always the
// product's settings and logs.
#pragma once

#include "collection/StatusText.h"
#include "platform/ScriptRunner.h"

#include <functional>
#include <optional>

namespace ProcessExecution {

/// The window's status line. A capture writes to the one that is set when it is started; without one its
/// progress is not shown. Main thread.
inline std::optional<TextBinding> labelTextBinding;

/// Whether the latest capture was to sample the product's process and did not come to a sample. Set by its
/// worker, and read once it has completed.
inline bool isSampleMissing = false;

/// Starts a capture and returns at once; `completion` runs on the main queue, once, after the last step,
/// whatever the steps came to. Main thread.
void runTasksConcurrently(bool getInstalledApps, bool getSpinDump, bool isLumaloggingEnabled,
                          std::function<void()> completion);

/// Runs other work on the same worker, which keeps it out of the main thread's way, after all that it was
/// given before, and then `completion` on the main queue. The end of the program skips it or waits for it
/// like a capture. Main thread.
void runSteps(std::vector<std::function<void()>> steps, std::function<void()> completion);

/// Samples the product's process into "spinReport.txt", with an administrator's rights. What went wrong, if
/// anything did. Blocks; one thread at a time, like the next.
std::optional<platform::ScriptError> runSpinDump();

/// Writes the list of installed applications into "sysinfo.txt".
std::optional<platform::ScriptError> runSystemProfiler();

/// For the end of the program: skips the steps that have not begun, the completion included, and waits a
/// moment for the step that is running. True when nothing runs any more; otherwise that step hangs, and what
/// it uses may not be destroyed. Scripts end with `platform::stopPrograms`. Main thread.
bool stop();

} // namespace ProcessExecution
