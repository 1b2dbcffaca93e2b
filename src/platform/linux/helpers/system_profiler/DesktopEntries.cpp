#include "platform/linux/helpers/system_profiler/DesktopEntries.h"

#include <QStandardPaths>
#include <climits>
#include <unordered_set>

namespace system_profiler {

namespace fs = std::filesystem;

namespace {

// How an entry breaks the format of desktop entries; empty for one that does not.
QString problemOf(const platform::DesktopEntry &entry) {
    if (entry.type.isEmpty())
        return QStringLiteral("a desktop entry without a type");
    if (entry.name.trimmed().isEmpty())
        return QStringLiteral("a desktop entry without a name");
    if (entry.command.isEmpty() && !entry.startedByMessage)
        return QStringLiteral("a desktop entry that starts nothing");
    if (entry.command.value(0).size() >= PATH_MAX)
        return QStringLiteral("a desktop entry whose program has too long a name");
    return {};
}

struct Scan {
    Reader &reader;
    std::unordered_set<std::string> folders = {};
    std::unordered_set<std::string> identifiers = {};
    std::map<fs::path, platform::DesktopEntry> found = {};

    void add(const fs::path &folder, const std::string &prefix = {}) {
        if (!folders.insert(resolved(folder).native()).second)
            return;
        for (const fs::path &path : reader.entriesOf(folder)) {
            const std::string name = path.filename().native();
            std::error_code error;
            if (fs::is_directory(path, error))
                add(path, prefix + name + "-");
            else if (name.ends_with(".desktop") && identifiers.insert(prefix + name).second)
                addEntry(path);
        }
    }

    void addEntry(const fs::path &path) {
        const auto bytes = reader.read(path);
        if (!bytes)
            return;
        // A zero is UTF-8 too, but would end a path early.
        if (bytes->contains('\0') || !QByteArrayView(*bytes).isValidUtf8())
            return reader.note(path, QStringLiteral("not UTF-8 text"));
        auto entry = platform::parseDesktopEntry(*bytes);
        if (!entry)
            return reader.note(path, QStringLiteral("no desktop entry"));
        const QString tried = QString::fromUtf8(entry->tryExec);
        if (entry->hidden || (!tried.isEmpty() && QStandardPaths::findExecutable(tried).isEmpty()) ||
            (!entry->type.isEmpty() && entry->type != "Application"))
            return;
        if (const QString problem = problemOf(*entry); !problem.isEmpty())
            return reader.note(path, problem);
        found.emplace(path, std::move(*entry));
    }
};

} // namespace

std::map<fs::path, platform::DesktopEntry> installedEntries(const std::vector<fs::path> &folders,
                                                            Reader &reader) {
    Scan scan{reader};
    for (const fs::path &folder : folders)
        scan.add(folder);
    return std::move(scan.found);
}

} // namespace system_profiler
