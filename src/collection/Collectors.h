// What is collected: each collector is a fixed list of places and of folders in the output.
//
// Best effort: a missing source costs one line of the log and the next item is tried. Blocks; one thread at a
// time. No caller needs the results.
#pragma once

namespace UtilityFunctions {

/// The product's newest crash reports.
void GetCrashReports();
/// This program's own log.
void CopyLumamonLogFile();
/// The preference files of the product and of the crash reporter; false when no product is known.
bool GetPropertyList();
/// What the licensing component logged.
bool GetLicensingLogs();
/// What the installer and the updater logged.
bool GetInstallLogs();
/// The product's messaging data.
void GetXelLogs();

} // namespace UtilityFunctions
