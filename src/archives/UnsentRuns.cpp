#include "archives/UnsentRuns.h"

#include "archives/SendHistory.h"
#include "discovery/RunState.h"
#include "discovery/Workspace.h"
#include "packaging/FilesPathDirectory.h"
#include "platform/Account.h"
#include "platform/posix/FileSystem.h"
#include "platform/posix/Text.h"

#include <QRegularExpression>
#include <algorithm>
#include <sys/stat.h>

namespace archives {

namespace {

namespace fs = std::filesystem;
using platform::FileKind;

const QString runStamp = QStringLiteral("yyyyMMddHHmmss");

std::vector<platform::FolderEntry> entriesIn(const fs::path &folder) {
    std::error_code error;
    return platform::entriesOf(Workspace::open(folder, error), error);
}

QDateTime lastChange(const fs::path &path) {
    struct stat status {};
    const bool isThere = ::lstat(path.c_str(), &status) == 0;
    return isThere ? QDateTime::fromMSecsSinceEpoch(status.st_mtim.tv_sec * 1000 +
                                                    status.st_mtim.tv_nsec / 1000000)
                   : QDateTime();
}

// Only the end of a log that has grown for years.
QByteArray endOfLog() {
    constexpr std::uint64_t limitBytes = std::uint64_t{16} << 20;
    std::error_code error;
    std::uint64_t sizeBytes = 0;
    const auto file = platform::openRegularFile(
        *UtilityFunctions::tempSystemURL / ConstantsFolder::DebugOutputLogFile, sizeBytes, error);
    if (!file ||
        ::lseek(file.get(), static_cast<off_t>(sizeBytes - std::min(sizeBytes, limitBytes)), SEEK_SET) < 0)
        return {};
    return platform::readAtMost(file.get(), limitBytes, error).value_or(QByteArray());
}

QString editionOf(const std::vector<PackedFile> &files) {
    for (const PackedFile &file : files) {
        QString top = file.name.section(u'/', 0, 0);
        if (top == u"Lumadoc" || top == u"Pellix")
            return top;
    }
    return {};
}

UnsentRun archiveAt(const fs::path &path, std::uint64_t bytes, const SendHistory &history) {
    std::error_code error;
    const QString name = platform::displayText(path.filename());
    UnsentRun run;
    run.id = name.section(u'_', 1, 1);
    run.path = path;
    run.isArchive = true;
    run.date = lastChange(path);
    run.bytes = bytes;
    run.files = filesInArchive(path, error).value_or(std::vector<PackedFile>());
    run.edition = editionOf(run.files);
    run.reason = run.files.empty() ? QStringLiteral("The archive is damaged.") : history.reasonFor(name);
    return run;
}

UnsentRun collectedAt(const fs::path &folder) {
    UnsentRun run;
    run.id = platform::displayText(folder.filename());
    run.path = folder;
    run.date = QDateTime::fromString(run.id, runStamp);
    run.reason = QStringLiteral("The run ended before its archive was made.");
    std::error_code error;
    platform::FolderWalk walk(Workspace::open(folder, error));
    for (;;) {
        // What cannot be read is passed over.
        error.clear();
        const auto entry = walk.next(error);
        if (!entry) {
            if (walk.depth() == 0 || !walk.leave(error))
                break;
        } else if (entry->kind == FileKind::folder) {
            walk.enter(error);
        } else {
            const auto attributes = platform::fileAttributes(folder / walk.path() / entry->name, error);
            run.files.push_back(
                {platform::displayText(walk.path() / entry->name), attributes ? attributes->sizeBytes : 0});
            run.bytes += run.files.back().bytes;
        }
    }
    run.edition = editionOf(run.files);
    return run;
}

// Adds an archive, or another copy of one: the largest is whole.
void add(std::vector<UnsentRun> &runs, UnsentRun run) {
    const auto known = std::ranges::find_if(
        runs, [&](const UnsentRun &other) { return other.path.filename() == run.path.filename(); });
    if (known == runs.end()) {
        runs.push_back(std::move(run));
        return;
    }
    if (run.bytes > known->bytes)
        std::swap(run, *known);
    known->otherCopies.push_back(run.path);
    known->otherCopies.insert(known->otherCopies.end(), run.otherCopies.begin(), run.otherCopies.end());
}

// Adds the archives in a folder; false when it has none.
bool addArchivesIn(const fs::path &folder, const SendHistory &history, std::vector<UnsentRun> &runs) {
    bool hasAny = false;
    for (const auto &[name, kind] : entriesIn(folder)) {
        std::error_code error;
        const auto attributes = FilesPathDirectory::isFinishedArchive(name) && kind == FileKind::regular
                                    ? platform::fileAttributes(folder / name, error)
                                    : std::nullopt;
        if (attributes)
            add(runs, archiveAt(folder / name, attributes->sizeBytes, history));
        hasAny = hasAny || attributes;
    }
    return hasAny;
}

} // namespace

std::vector<UnsentRun> unsentRuns() {
    using namespace UtilityFunctions;
    const auto libraries = platform::userLibraryFolders();
    if (libraries.empty())
        return {};
    tempDirURL = libraries.front() / "LumadocDiagnostics";
    tempSystemURL = *tempDirURL / "System";
    temptempURL = *tempDirURL / "temp";
    static const QRegularExpression stamp(QStringLiteral("^[0-9]{14}$"));
    const SendHistory history(endOfLog());
    std::vector<UnsentRun> runs;
    for (const auto &[name, kind] : entriesIn(*tempDirURL / "Output")) {
        const fs::path folder = *tempDirURL / "Output" / name;
        if (kind == FileKind::folder && !addArchivesIn(folder, history, runs) &&
            stamp.match(platform::displayText(name)).hasMatch())
            runs.push_back(collectedAt(folder));
    }
    addArchivesIn(*temptempURL, history, runs);
    std::ranges::stable_sort(runs, {}, &UnsentRun::date);
    return runs;
}

bool removeRun(const UnsentRun &run, std::error_code &error) {
    error.clear();
    std::vector<fs::path> paths = run.otherCopies;
    paths.push_back(run.path);
    for (const fs::path &path : paths) {
        std::error_code failure;
        Workspace::remove(path, failure);
        const fs::path folder = path.parent_path();
        const auto rest = entriesIn(folder);
        if (!failure && run.isArchive && folder != UtilityFunctions::temptempURL &&
            std::ranges::none_of(rest, FilesPathDirectory::isFinishedArchive, &platform::FolderEntry::name))
            Workspace::remove(folder, failure);
        error = error ? error : failure;
    }
    return !error;
}

} // namespace archives
