#include "packaging/FilesPathDirectory.h"

#include "collection/CopyOperations.h"
#include "discovery/RunState.h"
#include "logging/Logging.h"
#include "platform/posix/FileSystem.h"
#include "platform/posix/Program.h"
#include "platform/posix/Text.h"

#include <vector>

namespace FilesPathDirectory {

namespace {

namespace fs = std::filesystem;
using platform::description;
using platform::displayText;

constexpr char zipProgram[] = "/usr/bin/zip";

// A folder's entries as they are listed, read in full before any of them is touched; none on an error.
std::vector<fs::directory_entry> listing(const fs::path &folder, std::error_code &error) {
    std::vector<fs::directory_entry> entries;
    fs::directory_iterator entry(folder, error);
    for (const fs::directory_iterator end; !error && entry != end; entry.increment(error))
        entries.push_back(*entry);
    if (error)
        entries.clear();
    return entries;
}

// Whether the entry itself is a folder. Both calls answer from the listing; the entry's status would ask the
// system again.
bool isFolder(const fs::directory_entry &entry) {
    std::error_code error;
    return !entry.is_symlink(error) && entry.is_directory(error);
}

QString archiveName() {
    const QString mode = UtilityFunctions::IsSilentMode ? QStringLiteral("cef") : QStringLiteral("abc");
    return QStringLiteral("lumaMacLog_") + UtilityFunctions::UniqueId + u'_' + mode + QStringLiteral(".zip");
}

// zip gives an archive its name when it is complete.
bool isFinishedArchive(const fs::path &name) {
    return name.native().starts_with("lumaMacLog_") && name.extension() == ".zip";
}

// Whether another run folder holds the whole archive.
bool isInAnotherRunFolder(const fs::path &archive, const fs::path &runFolders) {
    std::error_code error;
    const auto size = fs::file_size(archive, error);
    for (const fs::directory_entry &folder : listing(runFolders, error)) {
        std::error_code missing;
        if (folder.path() != archive.parent_path() &&
            fs::file_size(folder.path() / archive.filename(), missing) == size && !missing)
            return true;
    }
    return false;
}

} // namespace

void removeFilesFromDirectoryRecursively(const fs::path &atPath, const QStringList &allowedExtensions) {
    std::error_code error;
    const auto entries = listing(atPath, error);
    const auto folder = error ? platform::FileDescriptor() : platform::openFolder(atPath, error);
    for (auto entry = entries.begin(); !error && entry != entries.end(); ++entry) {
        if (isFolder(*entry)) {
            removeFilesFromDirectoryRecursively(entry->path(), allowedExtensions);
            continue;
        }
        // Without its dot; a name that begins with its only dot has none.
        const QString extension = displayText(entry->path().extension()).mid(1);
        if (allowedExtensions.contains(u'.' + extension.toLower()) ||
            !platform::removeEntry(folder, entry->path().filename(), error))
            continue;
        Logger::logInfo(QStringLiteral("Removed file with extension: ") + extension);
        ++UtilityFunctions::RemovedFilesCount;
    }
    if (error)
        Logger::logError(QStringLiteral("Error accessing directory: ") + displayText(atPath) +
                         QStringLiteral(" - ") + description(error));
}

bool CommandLineCompression(const std::optional<fs::path> &directoryURL,
                            const std::optional<fs::path> &zipFileURL) {
    if (!directoryURL || !zipFileURL)
        return false;
    const fs::path parent = directoryURL->parent_path();
    std::error_code error;
    if (!fs::exists(parent, error)) {
        Logger::logError(QStringLiteral("Output folder path doesn't exist: ") + displayText(parent));
        return false;
    }
    const auto status = platform::runProgram({
        .path = zipProgram,
        .arguments = {"-r", "-q", zipFileURL->native(), directoryURL->filename().native(),
                      "UserEmailFeedback.json", "DetailedInfo.json", "-x", ".DS_Store"},
        .workingFolder = parent,
        // zip takes options from here, and links go in as links: by itself it would follow them and pack
        // files from outside the output.
        .variables = {{"ZIPOPT", "-y"}},
    });
    if (status == 0)
        Logger::logInfo(QStringLiteral("Directory compressed successfully."));
    else
        Logger::logError(QStringLiteral("Failed to compress the directory."));
    return status.has_value();
}

void keepArchivesOfEarlierRuns(const fs::path &folder, const fs::path &runFolders, const fs::path &ownName) {
    const fs::path recovered = runFolders / "Recovered";
    std::error_code error;
    for (const fs::directory_entry &entry : listing(folder, error)) {
        const fs::path name = entry.path().filename();
        if (name == ownName || !isFinishedArchive(name) || isInAnotherRunFolder(entry.path(), runFolders))
            continue;
        std::error_code failure;
        fs::create_directories(recovered, failure);
        fs::rename(entry.path(), recovered / name, failure);
        if (!failure)
            Logger::logInfo(QStringLiteral("Archive of an earlier run kept: ") +
                            displayText(recovered / name));
    }
}

bool CompressOutputDirectory() {
    using namespace UtilityFunctions;
    const QString name = archiveName();
    const fs::path fileName = platform::pathFromText(name);
    Logger::logInfo(QStringLiteral("Compressed File: ") + name);
    if (!CommandLineCompression(tempOutputURL, below(temptempURL, fileName)))
        return false;
    const char *const unknown = "The folders of the run are not known when its archive is in place.";
    const fs::path &runFolder = required(tempTimeStampedURL, unknown);
    const fs::path &scratchFolder = required(temptempURL, unknown);
    for (const fs::path &folder : {scratchFolder, runFolder})
        keepArchivesOfEarlierRuns(folder, runFolder.parent_path(), fileName);
    deleteContentsOfDirectory(runFolder);
    CopyFiles(scratchFolder, runFolder, fileName);
    tempOutputURL = runFolder;
    deleteContentsOfDirectory(scratchFolder);
    compressedLogURL = *tempOutputURL / fileName;
    return true;
}

bool isFileSizeValid(const fs::path &url) {
    constexpr double bytesPerMegabyte = 1'048'576;
    constexpr double limitMegabytes = 100.0;
    std::error_code error;
    const auto attributes = platform::fileAttributes(url, error);
    if (!attributes) {
        Logger::logError(QStringLiteral("Error fetching file attributes: ") + description(error));
        return false;
    }
    const double megabytes = static_cast<double>(attributes->sizeBytes) / bytesPerMegabyte;
    Logger::logInfo(QStringLiteral("Compressed file size: ") + QString::number(megabytes, 'f', 3) +
                    QStringLiteral(" mb"));
    return megabytes < limitMegabytes;
}

void deleteContentsOfDirectory(const fs::path &url) {
    std::error_code error;
    const auto entries = listing(url, error);
    for (const fs::directory_entry &entry : entries) {
        fs::remove_all(entry.path(), error);
        if (error)
            break;
        Logger::logInfo(QStringLiteral("Deleted: ") + displayText(entry.path().filename()));
    }
    if (error)
        Logger::logError(QStringLiteral("Error while deleting contents of directory: ") + description(error));
}

void deleteDirectory(const fs::path &url) {
    std::error_code error;
    if (fs::remove_all(url, error) == 0 && !error)
        error = std::make_error_code(std::errc::no_such_file_or_directory);
    if (error)
        Logger::logInfo(QStringLiteral("Error deleting directory: ") + description(error));
    else
        Logger::logInfo(QStringLiteral("Directory deleted successfully. Path: ") + displayText(url));
}

void pruneOutput() {
    using namespace UtilityFunctions;
    removeFilesFromDirectoryRecursively(tempTimeStampedURL.value_or(fs::path()), allowedExtensions);
    Logger::logInfo(QStringLiteral("Total files removed based on allowed extensions: ") +
                    QString::number(RemovedFilesCount));
}

bool packOutput() {
    const bool isPacked = CompressOutputDirectory();
    if (!isPacked)
        Logger::logError(QStringLiteral("unable to copy compressed file."));
    return isPacked;
}

bool isArchiveSizeValid() {
    using namespace UtilityFunctions;
    const bool isValid = isFileSizeValid(
        required(compressedLogURL, "The archive's location is not known when it is to be shared."));
    if (!isValid)
        Logger::logError(QStringLiteral("Logs Size is large."));
    return isValid;
}

void removeOutput() {
    using namespace UtilityFunctions;
    deleteDirectory(required(tempOutputURL, "The output folder is not known when it is to be removed."));
}

} // namespace FilesPathDirectory
