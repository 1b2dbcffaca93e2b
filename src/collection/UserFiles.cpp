#include "collection/UserFiles.h"

#include "collection/CopyOperations.h"
#include "discovery/Workspace.h"
#include "logging/Logging.h"
#include "platform/posix/FileSystem.h"
#include "platform/posix/Text.h"

#include <algorithm>

namespace fs = std::filesystem;

namespace {

using UserFiles::Files;

Files filesIn(const fs::path &folder, std::error_code &error) {
    Files files;
    if (const auto opened = Workspace::open(folder, error)) {
        for (const auto &entry : platform::entriesOf(opened, error))
            files.push_back(folder / entry.name);
    }
    return files;
}

qint64 bytesOf(const Files &files) {
    qint64 sum = 0;
    for (const fs::path &file : files) {
        std::error_code error;
        const auto bytes = fs::file_size(file, error);
        sum += error ? 0 : static_cast<qint64>(bytes);
    }
    return sum;
}

// One that nobody waits for any longer must not meet the next.
fs::path folderForOneCopy(const fs::path &scratch) {
    static std::atomic<int> number = 0;
    return scratch / ("attached" + std::to_string(++number));
}

} // namespace

bool UserFiles::canBeAttached(const fs::path &file) {
    return extensions.contains(platform::displayText(file.extension()).mid(1), Qt::CaseInsensitive);
}

QString UserFiles::leftOut(const fs::path &file, const QString &reason) {
    QString name = platform::displayText(file.filename());
    if (name.size() > 64)
        name = name.first(40) + u'…' + name.last(20);
    return name + QStringLiteral(": ") + reason;
}

QString UserFiles::leftOut(const fs::path &file, const std::error_code &reason) {
    if (reason == std::errc::is_a_directory)
        return leftOut(file, QStringLiteral("Folders cannot be attached"));
    if (reason == std::errc::invalid_argument)
        return leftOut(file, QStringLiteral("Pipes and devices cannot be attached"));
    if (reason == std::errc::timed_out)
        return leftOut(file, QStringLiteral("The disk does not answer"));
    return leftOut(file, platform::description(reason));
}

std::vector<UserFiles::Choice> UserFiles::choicesIn(const fs::path &folder) {
    std::vector<Choice> choices;
    std::error_code error;
    for (auto each = fs::directory_iterator(folder, error); !error && each != fs::directory_iterator();
         each.increment(error)) {
        const fs::path &file = each->path();
        std::error_code ignored;
        const bool isFolder = each->is_directory(ignored);
        if (!file.filename().native().starts_with('.') && (isFolder || canBeAttached(file)))
            choices.push_back({file, isFolder});
    }
    std::ranges::sort(choices, [](const Choice &one, const Choice &other) {
        if (one.isFolder != other.isFolder)
            return one.isFolder;
        return platform::displayText(one.file.filename())
                   .compare(platform::displayText(other.file.filename()), Qt::CaseInsensitive) < 0;
    });
    return choices;
}

UserFiles::Pick UserFiles::measured(const Files &picked, const Files &waiting,
                                    const std::optional<fs::path> &folder) {
    Pick pick;
    std::error_code error;
    for (const fs::path &each : picked) {
        fs::path file = fs::is_symlink(each, error) ? fs::canonical(each, error) : each;
        if (file.empty())
            file = each;
        if (canBeAttached(file))
            pick.files.push_back(file);
        else
            pick.leftOut += leftOut(each, QStringLiteral("Only pictures and documents can be attached"));
    }
    // What waits can still be attached, perhaps in the place of another file.
    qint64 waitingBytes = 0;
    for (const fs::path &file : folder ? waiting : Files())
        waitingBytes += std::max<qint64>(0, bytesOf({file}) - bytesOf({*folder / file.filename()}));
    pick.isWithinLimit =
        pick.files.empty() || areFilesWithinSizeLimit(pick.files, folder, limitBytes - waitingBytes);
    return pick;
}

bool UserFiles::areFilesWithinSizeLimit(const Files &files, const std::optional<fs::path> &folder,
                                        qint64 limit) {
    if (!folder) {
        Logger::logError(QStringLiteral("userFilesURL is nil"));
        return false;
    }
    std::error_code error;
    const qint64 existing = bytesOf(filesIn(*folder, error));
    const qint64 selected = bytesOf(files);
    Logger::logInfo(QStringLiteral("Currently user selected files size: %1, existing user files size: %2, "
                                   "limit in bytes: %3")
                        .arg(selected)
                        .arg(existing)
                        .arg(limit));
    return selected + existing <= limit;
}

// The file is moved to the attached ones when its copy is whole: one that can no longer be read or a full
// disk must not destroy an attached file of that name.
std::optional<std::error_code> UserFiles::copyInto(const fs::path &folder, const fs::path &scratch,
                                                   const fs::path &file, Clash clash,
                                                   const Decision &decision) {
    std::error_code obstacle;
    std::error_code error;
    std::uint64_t sizeBytes = 0;
    if (platform::openRegularFile(file, sizeBytes, obstacle)) {
        if (clash == Clash::asks && fs::exists(fs::symlink_status(folder / file.filename(), error)))
            return std::nullopt;
        const fs::path incoming = folderForOneCopy(scratch);
        error = UtilityFunctions::CopyFiles(file.parent_path(), incoming, file.filename());
        if (!error && !decision->exchange(true))
            Workspace::move(incoming / file.filename(), folder / file.filename(), obstacle);
        std::error_code ignored;
        Workspace::remove(incoming, ignored);
    }
    if (obstacle)
        Logger::logError(QStringLiteral("Error while copying file: ") + platform::description(obstacle));
    return obstacle ? obstacle : error;
}

std::optional<qint64> UserFiles::countIn(const fs::path &folder) {
    std::error_code error;
    const auto count = static_cast<qint64>(filesIn(folder, error).size());
    if (error == std::errc::no_such_file_or_directory)
        return 0;
    if (error) {
        Logger::logError(QStringLiteral("Error reading contents of the destination directory: ") +
                         platform::description(error));
        return std::nullopt;
    }
    Logger::logInfo(QStringLiteral("Total user files attached: ") + QString::number(count));
    return count;
}

bool UserFiles::removeAll(const fs::path &folder, qint64 count) {
    std::error_code error;
    if (!Workspace::remove(folder, error) && !error)
        error = std::make_error_code(std::errc::no_such_file_or_directory);
    if (error)
        Logger::logError(QStringLiteral("Error listing files in destination directory: ") +
                         platform::description(error));
    else
        Logger::logInfo(QStringLiteral("UserFiles directory removed with %1 files.").arg(count));
    return !error;
}
