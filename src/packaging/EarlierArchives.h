// Archives that a run left behind in the scratch folder when it was killed.
#pragma once

#include <filesystem>

namespace FilesPathDirectory {

/// Moves the finished archives of earlier runs out of `scratchFolder`, which is about to be emptied, into
/// "Recovered" among the run folders: between the removal of what was collected and the copy into the run folder,
/// the archive is the only place where a killed run's data stands. `ownName` is this run's archive and stays. One
/// that stands in its run folder already is left to be removed.
void keepArchivesOfEarlierRuns(const std::filesystem::path &scratchFolder, const std::filesystem::path &ownName);

} // namespace FilesPathDirectory
