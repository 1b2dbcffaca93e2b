#include "packaging/EarlierArchives.h"

#include "logging/Logging.h"
#include "platform/posix/FileSystem.h"
#include "platform/posix/Text.h"

namespace FilesPathDirectory {

namespace {

namespace fs = std::filesystem;

// zip gives an archive its name when it is complete.
bool isFinishedArchive(const fs::path &name) {
    return name.native().starts_with("lumaMacLog_") && name.extension() == ".zip";
}

// Whether another run folder holds the whole archive.
bool standsElsewhere(const fs::path &archive, const fs::path &runFolders) {
    std::error_code error;
    const auto size = fs::file_size(archive, error);
    fs::directory_iterator folder(runFolders, error);
    for (const fs::directory_iterator end; !error && folder != end; folder.increment(error)) {
        std::error_code missing;
        if (folder->path() != archive.parent_path() &&
            fs::file_size(folder->path() / archive.filename(), missing) == size && !missing)
            return true;
    }
    return false;
}

} // namespace

void keepArchivesOfEarlierRuns(const fs::path &folder, const fs::path &runFolders, const fs::path &ownName) {
    const fs::path recovered = runFolders / "Recovered";
    std::error_code error;
    fs::directory_iterator entry(folder, error);
    for (const fs::directory_iterator end; !error && entry != end; entry.increment(error)) {
        const fs::path name = entry->path().filename();
        if (name == ownName || !isFinishedArchive(name) || standsElsewhere(entry->path(), runFolders))
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
