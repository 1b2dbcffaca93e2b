// Turns the collected output into one archive, and cleans up around it.
//
// Blocks; one thread at a time. In window mode that is a worker, for which the main thread waits. Nothing
// throws: a failure is a line of the log and the documented result. Links are judged by their own names and
// removed themselves; nothing is done to what they point at.
#pragma once

#include <QString>
#include <QStringList>
#include <filesystem>
#include <optional>

namespace FilesPathDirectory {

/// Whether this is the name of an archive, which zip gives it when it is complete.
bool isFinishedArchive(const std::filesystem::path &name);

/// Removes every file below `atPath` whose extension is not allowed (each entry with its leading dot, lower
/// case) and counts it in `UtilityFunctions::RemovedFilesCount`. An error ends the work in its folder with
/// one line.
void removeFilesFromDirectoryRecursively(const std::filesystem::path &atPath,
                                         const QStringList &allowedExtensions);

/// Runs zip over the folder, from its parent. True when zip was run, whatever came of it; false when it could
/// not be, or when a location or the parent folder is missing.
bool CommandLineCompression(const std::optional<std::filesystem::path> &directoryURL,
                            const std::optional<std::filesystem::path> &zipFileURL);

/// Moves the finished archives of earlier runs out of `folder`, which is about to be emptied, into
/// "Recovered" among the run folders. In the scratch folder they come from runs that were killed between
/// removing what was collected and copying the archive: nothing else is left of those. In the run folder they
/// come from a run that began in the same second and could not send its archive. `ownName` is this run's
/// archive and stays; one that is whole in another run folder is left to be removed. A copy that was cut
/// short is removed. False when one could not be moved: it stays where it is,
/// with a line in the log.
bool keepArchivesOfEarlierRuns(const std::filesystem::path &folder, const std::filesystem::path &runFolders,
                               const std::filesystem::path &ownName);

/// Replaces what was collected by its archive. True when zip was run; `UtilityFunctions::compressedLogURL`
/// then names the archive.
bool CompressOutputDirectory();

/// Whether the file is smaller than the service takes: 100 MiB. False when its size cannot be read.
bool isFileSizeValid(const std::filesystem::path &url);

/// Removes all entries of a folder but archives that are nowhere else; the first failure ends it with one
/// line.
void deleteContentsOfDirectory(const std::filesystem::path &url);

/// Removes a folder and everything in it.
void deleteDirectory(const std::filesystem::path &url);

// The steps that both modes take, each with its line in the log.

/// Removes what may not go into the archive from the run folder, and logs how many files that were.
void pruneOutput();

/// `CompressOutputDirectory`, with an error line when zip could not be run.
bool packOutput();

/// Whether the service takes the archive; an error line when it is too large or cannot be read. Ends the
/// process when there was never an archive.
bool isArchiveSizeValid();

/// Removes the whole output, whose archive has been sent, but not the archive of another run. Ends the
/// process when its place is not known.
void removeOutput();

} // namespace FilesPathDirectory
