#include "packaging/FilesPathDirectory.h"

#include "collection/CopyOperations.h"
#include "discovery/RunState.h"
#include "discovery/Workspace.h"
#include "logging/Logging.h"
#include "platform/posix/Program.h"
#include "platform/posix/Text.h"

#include <algorithm>
#include <vector>

namespace FilesPathDirectory {

namespace {

namespace fs = std::filesystem;
using platform::description;
using platform::displayText;
using platform::FileKind;

constexpr char zipProgram[] = "/usr/bin/zip";

QString archiveName() {
    const QString mode = UtilityFunctions::IsSilentMode ? QStringLiteral("cef") : QStringLiteral("abc");
    return QStringLiteral("lumaMacLog_") + UtilityFunctions::UniqueId + u'_' + mode + QStringLiteral(".zip");
}

QString failureOfZip(const platform::ProgramOutcome &outcome) {
    if (outcome.startError)
        return QStringLiteral("zip could not be run: ") + description(outcome.startError);
    if (outcome.signal != 0)
        return QStringLiteral("zip was killed by signal ") + QString::number(outcome.signal);
    if (!outcome.exitStatus)
        return QStringLiteral("zip was stopped because the program is ending");
    // It says why on its standard output.
    const QString said = QString::fromUtf8(outcome.errorOutput + outcome.output).trimmed();
    return QStringLiteral("zip ended with status ") + QString::number(*outcome.exitStatus) +
           (said.isEmpty() ? said : QStringLiteral(": ") + platform::escaped(said.section(u'\n', -1)));
}

struct Archive {
    fs::path path;
    std::uint64_t sizeBytes = 0;
};

// The files of this archive's name in the other run folders.
std::vector<Archive> copiesOf(const fs::path &archive, const fs::path &runFolders) {
    std::error_code error;
    std::vector<Archive> copies;
    for (const auto &folder : platform::entriesOf(Workspace::open(runFolders, error), error)) {
        const fs::path copy = runFolders / folder.name / archive.filename();
        const auto attributes = platform::fileAttributes(copy, error);
        if (folder.kind == FileKind::folder && copy != archive && attributes &&
            attributes->kind == FileKind::regular)
            copies.push_back({copy, attributes->sizeBytes});
    }
    return copies;
}

// Whether the file is an archive that is nowhere else: a smaller copy was cut short.
bool isOnlyArchive(const fs::path &file, const fs::path &runFolders) {
    if (!isFinishedArchive(file.filename()))
        return false;
    std::error_code error;
    const auto attributes = platform::fileAttributes(file, error);
    return attributes && attributes->kind == FileKind::regular &&
           std::ranges::none_of(copiesOf(file, runFolders),
                                [&](const Archive &copy) { return copy.sizeBytes >= attributes->sizeBytes; });
}

fs::path runFolders() {
    return UtilityFunctions::tempTimeStampedURL.value_or(fs::path()).parent_path();
}

void prune(const platform::FileDescriptor &folder, const std::string &name,
           const QStringList &allowedExtensions, std::error_code &error) {
    // Without its dot; a name that begins with its only dot has none.
    const QString extension = displayText(fs::path(name).extension()).mid(1);
    if (allowedExtensions.contains(u'.' + extension.toLower()) || !platform::removeEntry(folder, name, error))
        return;
    Logger::logInfo(QStringLiteral("Removed file with extension: ") + extension);
    ++UtilityFunctions::RemovedFilesCount;
}

} // namespace

bool isFinishedArchive(const fs::path &name) {
    return name.native().starts_with("lumaMacLog_") && name.extension() == ".zip";
}

void removeFilesFromDirectoryRecursively(const fs::path &atPath, const QStringList &allowedExtensions) {
    std::error_code error;
    const auto report = [&](const fs::path &below) {
        Logger::logError(QStringLiteral("Error accessing directory: ") +
                         displayText(below.empty() ? atPath : atPath / below) + QStringLiteral(" - ") +
                         description(error));
    };
    auto top = Workspace::open(atPath, error);
    if (!top)
        return report({});
    platform::FolderWalk walk(std::move(top));
    for (;;) {
        const auto entry = walk.next(error);
        if (entry && entry->kind == FileKind::folder) {
            if (!walk.enter(error))
                report(walk.path() / entry->name);
            continue;
        }
        if (entry)
            prune(walk.folder(), entry->name, allowedExtensions, error);
        if (error)
            report(walk.path());
        if (entry && !error)
            continue;
        if (walk.depth() == 0)
            return;
        if (!walk.leave(error))
            return report(walk.path());
    }
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
    const auto outcome = platform::outcomeOf({
        .path = zipProgram,
        .arguments = {"-r", "-q", zipFileURL->native(), directoryURL->filename().native(),
                      "UserEmailFeedback.json", "DetailedInfo.json", "-x", ".DS_Store"},
        .workingFolder = parent,
        // zip takes options from here, and links go in as links: by itself it would follow them and pack
        // files from outside the output.
        .variables = {{"ZIPOPT", "-y"}},
        .keptOutputBytes = 1 << 16,
    });
    if (outcome.exitStatus == 0) {
        Logger::logInfo(QStringLiteral("Directory compressed successfully."));
    } else {
        Logger::logError(QStringLiteral("Failed to compress the directory."));
        Logger::logError(failureOfZip(outcome));
    }
    return outcome.exitStatus || outcome.signal != 0;
}

bool keepArchivesOfEarlierRuns(const fs::path &folder, const fs::path &runFolders, const fs::path &ownName) {
    std::error_code error;
    bool isDone = true;
    for (const auto &[name, kind] : platform::entriesOf(Workspace::open(folder, error), error)) {
        const fs::path archive = folder / name;
        const fs::path kept = runFolders / "Recovered" / name;
        if (name == ownName || !isOnlyArchive(archive, runFolders))
            continue;
        for (const Archive &part : copiesOf(archive, runFolders))
            Workspace::remove(part.path, error);
        if (Workspace::move(archive, kept, error)) {
            Logger::logInfo(QStringLiteral("Archive of an earlier run kept: ") + displayText(kept));
        } else {
            isDone = false;
            Logger::logWarning(QStringLiteral("Archive of an earlier run stays where it is: ") +
                               description(error));
        }
    }
    return isDone;
}

bool CompressOutputDirectory() {
    using namespace UtilityFunctions;
    const QString name = archiveName();
    const fs::path fileName = platform::pathFromText(name);
    Logger::logInfo(QStringLiteral("Compressed File: ") + name);
    // Minutes may have passed since it was made, and cleaners remove folders of this name. Where it cannot be
    // made, zip says so.
    std::error_code error;
    if (temptempURL)
        Workspace::make(*temptempURL, error);
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
    const auto folder = Workspace::open(url, error);
    const auto entries = folder ? platform::entriesOf(folder, error) : std::vector<platform::FolderEntry>();
    for (const auto &[name, kind] : entries) {
        if (isOnlyArchive(url / name, runFolders()))
            continue;
        platform::removeTree(folder, name, error);
        if (error)
            break;
        Logger::logInfo(QStringLiteral("Deleted: ") + displayText(name));
    }
    if (error)
        Logger::logError(QStringLiteral("Error while deleting contents of directory: ") + description(error));
}

void deleteDirectory(const fs::path &url) {
    std::error_code error;
    if (!Workspace::remove(url, error) && !error)
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
    const fs::path &output =
        required(tempOutputURL, "The output folder is not known when it is to be removed.");
    const fs::path sent = compressedLogURL.value_or(fs::path());
    if (keepArchivesOfEarlierRuns(output, runFolders(), sent.filename()))
        return deleteDirectory(output);
    std::error_code error;
    Workspace::remove(sent, error);
    deleteContentsOfDirectory(output);
}

} // namespace FilesPathDirectory
