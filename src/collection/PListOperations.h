// The product's own verbose logging: switched on in its preference file for the time of a reproduction,
// collected, and put back.
//
// The switch is two arrays below root / track / "LumaLogging". Every operation does nothing when its flag is
// false. Switching and putting back exclude each other: the end of the program may meet the capture's worker
// there.
#pragma once

#include "platform/posix/PropertyList.h"

#include <filesystem>
#include <optional>

namespace UtilityFunctions {

/// The product's values before the switch overwrote them; empty arrays when there were none.
inline platform::PropertyList existingEnableLumaLogging = platform::PropertyList::array({});
inline platform::PropertyList existingSustainLumaLogging = platform::PropertyList::array({});

} // namespace UtilityFunctions

namespace PListOperations {

/// The preference file being switched.
inline std::optional<std::filesystem::path> plistURL;
/// True from the moment the switch is on disk until it is taken back.
inline bool plistUpdated = false;

/// Switches the logging of the product under diagnosis on. Main thread.
void EnableLumaLogging(bool isLumaloggingEnabled);

/// Copies the product's own log folder into the output, whatever the switch says.
void GetLumaLogs(bool isLumaloggingEnabled);

/// Puts back the two values that the switch replaced, in the file's present content, so that whatever the
/// product has written in the meantime stays. Any thread; of several calls one puts back.
void RevertLumaLogPList(bool isLumaloggingEnabled);

/// Makes good a run that ended with the switch on: what it wrote is put back, key by key, where it still
/// stands. One line of the log tells what was done; without a record of such a run there is none. Main
/// thread, once the workspace stands.
void RestoreAfterInterruptedRun();

} // namespace PListOperations
