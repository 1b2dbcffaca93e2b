#include "collection/FileSelection.h"

#include "collection/CopyOperations.h"
#include "collection/PrintedList.h"
#include "discovery/Workspace.h"
#include "logging/Logging.h"
#include "platform/posix/Fatal.h"
#include "platform/posix/FileSystem.h"
#include "platform/posix/Text.h"

#include <algorithm>
#include <functional>

namespace {

namespace fs = std::filesystem;

// The matching names in the order in which the file system lists them.
std::vector<std::string> listMatchingNames(const fs::path &folder, const QStringList &patterns,
                                           std::error_code &error) {
    std::vector<std::string> names;
    fs::directory_iterator entry(folder, error);
    for (const fs::directory_iterator end; !error && entry != end; entry.increment(error)) {
        std::string name = entry->path().filename().native();
        if (containsAnyName(name, patterns))
            names.push_back(std::move(name));
    }
    return names;
}

std::vector<FileRecord> readRecords(const fs::path &folder, const std::vector<std::string> &names,
                                    std::error_code &error) {
    std::vector<FileRecord> records;
    records.reserve(names.size());
    for (const std::string &name : names) {
        const auto attributes = platform::fileAttributes(folder / name, error);
        if (!attributes)
            break;
        constexpr auto distantPast = std::chrono::sys_time<std::chrono::nanoseconds>::min();
        records.push_back({name, attributes->creationDate.value_or(distantPast), attributes->sizeBytes});
    }
    return records;
}

// Copies in order until `maxFileCount` copies have succeeded. The limit is tested after each attempt.
std::error_code copyRecords(const std::vector<FileRecord> &records, const fs::path &source,
                            const fs::path &destination, int maxFileCount) {
    int copied = 0;
    for (const FileRecord &record : records) {
        std::error_code error;
        Workspace::remove(destination / record.name, error);
        if (error)
            return error;
        if (UtilityFunctions::copyItem(source / record.name, destination / record.name))
            ++copied;
        if (copied >= maxFileCount)
            break;
    }
    return {};
}

std::error_code copyNewest(const fs::path &source, const fs::path &destination, int maxFileCount,
                           std::int64_t maxFileSizeBytes, const QStringList &patterns) {
    std::error_code error;
    const auto names = listMatchingNames(source, patterns, error);
    if (!error && !names.empty())
        Workspace::make(destination, error);
    if (error)
        return error;
    const Selection selection = selectNewest(readRecords(source, names, error), maxFileSizeBytes);
    if (error)
        return error;
    const auto found = static_cast<qint64>(selection.taken.size());
    Logger::logInfo(
        QStringLiteral("Total %1 files found: %2. Copying: %3 of size %4 kb. MaxFileCopyCount: %5")
            .arg(printedList(patterns), QString::number(found),
                 QString::number(std::min<qint64>(found, maxFileCount)),
                 QString::number(selection.totalBytes >> 10), QString::number(maxFileCount)));
    return copyRecords(selection.taken, source, destination, maxFileCount);
}

} // namespace

bool containsAnyName(const std::string &name, const QStringList &patterns) {
    const QString text = QString::fromStdString(name);
    return std::ranges::any_of(patterns, [&](const QString &pattern) {
        return !pattern.isEmpty() && text.contains(pattern, Qt::CaseInsensitive);
    });
}

Selection selectNewest(std::vector<FileRecord> candidates, std::int64_t maxFileSizeBytes) {
    std::ranges::stable_sort(candidates, std::greater(), &FileRecord::creationDate);
    Selection selection;
    for (FileRecord &record : candidates) {
        std::uint64_t total = 0;
        if (__builtin_add_overflow(selection.totalBytes, record.sizeBytes, &total))
            platform::fatal("The sizes of the files to copy add up to more than can be counted.");
        if (maxFileSizeBytes < 0 || total > static_cast<std::uint64_t>(maxFileSizeBytes))
            break;
        selection.totalBytes = total;
        selection.taken.push_back(std::move(record));
    }
    return selection;
}

namespace UtilityFunctions {

bool copyFilesContainingName(const std::optional<fs::path> &sourceURL,
                             const std::optional<fs::path> &destinationURL, int maxFileCount,
                             std::int64_t maxFileSize, const QStringList &fileNames) {
    if (!sourceURL || !destinationURL) {
        Logger::logWarning(QStringLiteral("Source or destination directory is nil."));
        return false;
    }
    std::error_code error;
    if (!fs::exists(*sourceURL, error))
        return true;
    error = copyNewest(*sourceURL, *destinationURL, maxFileCount, maxFileSize, fileNames);
    if (error)
        Logger::logError(QStringLiteral("Error while copying files: ") + platform::description(error));
    return !error;
}

} // namespace UtilityFunctions
