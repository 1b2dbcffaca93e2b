// The product's own verbose logging: switched on in its preference file for the time of a reproduction,
// collected, and put back.
//
// The switch is two arrays below root / track / "LumaLogging". From before it is written until it is put back
// a record in the workspace's System folder says so, for the next start to put it back after a crash.
//
// Everything but the restore after an interrupted run does nothing when its flag is false. Switching and
// putting back exclude each other: the end of the program and the capture's worker may both put back.
#pragma once

#include "platform/posix/PropertyList.h"

#include <filesystem>
#include <optional>

namespace UtilityFunctions {

/// The product's values when the switch was set; empty arrays when there were none.
inline platform::PropertyList existingEnableLumaLogging = platform::PropertyList::array({});
inline platform::PropertyList existingSustainLumaLogging = platform::PropertyList::array({});

} // namespace UtilityFunctions

namespace PListOperations {

/// The preference file being switched.
inline std::optional<std::filesystem::path> plistURL;
/// True from the moment the switch is on disk until it is put back.
inline bool plistUpdated = false;

/// Switches the logging of the product under diagnosis on. Waits for the disk. Any one thread.
void EnableLumaLogging(bool isLumaloggingEnabled);

/// Copies the product's own log folder into the output, whether or not the logging is switched on.
void GetLumaLogs(bool isLumaloggingEnabled);

/// Puts back the two values that the switch replaced, in the file's present content, so that whatever the
/// product has written in the meantime stays. Any thread; of several calls one puts back.
void RevertLumaLogPList(bool isLumaloggingEnabled);

/// Removes what a run that did not get to put the switch back has left in the preference file, unless the
/// product has changed it since. Logs one line that says what was done, and none without a record of such a
/// run. A record that cannot be read now waits for the next start. Main thread, once the workspace is there.
void RestoreAfterInterruptedRun();

} // namespace PListOperations
