// What runs have left on the disk: archives that were not sent, and what was collected by a run that ended
// before its archive was made.
//
// One thread. Nothing is reached through a link below the program's folder. What is here does not ask whether
// a run is under way: its caller does.
#pragma once

#include "archives/ZipDirectory.h"

#include <QDateTime>

namespace archives {

struct UnsentRun {
    /// The archive's Log ID; without an archive the name of the run folder, the time at which the run began.
    QString id;
    /// The archive, or the run folder.
    std::filesystem::path path;
    /// Of the same archive, cut short, or not yet removed, by a run that was killed.
    std::vector<std::filesystem::path> otherCopies;
    bool isArchive = false;
    /// When the archive was made, or the run began.
    QDateTime date;
    /// "Lumadoc" or "Pellix"; empty when it cannot be told.
    QString edition;
    std::uint64_t bytes = 0;
    /// With their paths in the archive, or in the run folder; empty for an archive that cannot be read.
    std::vector<PackedFile> files;
    /// Why it was not sent, as one sentence; empty when it cannot be told.
    QString reason;
};

/// All of them, the oldest first, also run folders without any file. Sets the locations of the workspace.
std::vector<UnsentRun> unsentRuns();

/// Removes it from the disk, with whatever else is in its run folder unless that holds another archive. False
/// when something of it is still there, with the first reason; the rest is removed all the same.
bool removeRun(const UnsentRun &run, std::error_code &error);

} // namespace archives
