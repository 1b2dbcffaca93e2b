// Archives of earlier runs that stand where this run is about to clear away.
#pragma once

#include <filesystem>

namespace FilesPathDirectory {

/// Moves the finished archives of earlier runs out of `folder`, which is about to be emptied, into
/// "Recovered" among the run folders. In the scratch folder they come from runs that were killed between
/// removing what was collected and copying the archive: nothing else is left of those. In the run folder they
/// come from a run that began in the same second and could not send its archive. `ownName` is this run's
/// archive and stays; one that stands whole in another run folder is left to be removed.
void keepArchivesOfEarlierRuns(const std::filesystem::path &folder, const std::filesystem::path &runFolders,
                               const std::filesystem::path &ownName);

} // namespace FilesPathDirectory
