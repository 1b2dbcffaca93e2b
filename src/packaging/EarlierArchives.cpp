#include "packaging/EarlierArchives.h"

#include "logging/Logging.h"
#include "platform/FileSystem.h"
#include "platform/Text.h"

namespace FilesPathDirectory {

namespace {

namespace fs = std::filesystem;

// zip gives an archive its name when it is complete.
bool isFinishedArchive(const fs::path &name) {
    return name.native().starts_with("lumaMacLog_") && name.extension() == ".zip";
}

// Whether a run folder holds the whole archive.
bool isInPlace(const fs::path &archive, const fs::path &runFolders) {
    std::error_code error;
    const auto size = fs::file_size(archive, error);
    fs::directory_iterator folder(runFolders, error);
    for (const fs::directory_iterator end; !error && folder != end; folder.increment(error)) {
        std::error_code missing;
        if (fs::file_size(folder->path() / archive.filename(), missing) == size && !missing)
            return true;
    }
    return false;
}

} // namespace

void keepArchivesOfEarlierRuns(const fs::path &scratchFolder, const fs::path &ownName) {
    const fs::path runFolders = scratchFolder.parent_path() / "Output";
    const fs::path recovered = runFolders / "Recovered";
    std::error_code error;
    fs::directory_iterator entry(scratchFolder, error);
    for (const fs::directory_iterator end; !error && entry != end; entry.increment(error)) {
        const fs::path name = entry->path().filename();
        if (name == ownName || !isFinishedArchive(name) || isInPlace(entry->path(), runFolders))
            continue;
        std::error_code failure;
        fs::create_directories(recovered, failure);
        fs::rename(entry->path(), recovered / name, failure);
        if (!failure)
            Logger::logInfo(QStringLiteral("Archive of an earlier run kept: ") +
                            platform::displayText(recovered / name));
    }
}

} // namespace FilesPathDirectory
