// The output workspace of a run: one fixed folder tree under the user's Library folder.
//
// Main thread.
#pragma once

#include "discovery/RunState.h"

namespace UtilityFunctions {

/// Computes the run's locations and makes the folders that are missing. True when the tree stands. False
/// when the user has no Library folder (nothing is changed then) or when a folder cannot be made (logged;
/// the locations stay computed).
bool CreateOutputDirectories();

/// Begins a run: makes the workspace and moves the log into it. Without a workspace the run goes on all the
/// same, with an error line and the log where it was.
void BeginRun();

/// Names the attachments folder inside the output folder. Makes nothing.
void SetUserFilesFolder();

} // namespace UtilityFunctions
