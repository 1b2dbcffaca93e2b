#include "platform/linux/helpers/system_profiler/DesktopEntries.h"

#include "platform/linux/helpers/system_profiler/Folders.h"
#include "platform/posix/FileSystem.h"

#include <algorithm>
#include <climits>
#include <sys/stat.h>
#include <unistd.h>
#include <unordered_set>

namespace system_profiler {

namespace fs = std::filesystem;

namespace {

// The identity of a folder, whatever links lead to it.
using FolderIdentity = std::pair<dev_t, ino_t>;

std::optional<FolderIdentity> folderIdentity(const fs::path &path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0 || !S_ISDIR(status.st_mode))
        return std::nullopt;
    return FolderIdentity(status.st_dev, status.st_ino);
}

class Reader {
public:
    Reader(NotRead &notRead, const EntryLimits &limits)
        : m_notRead(notRead)
        , m_limits(limits) {}

    void read(const fs::path &folder, const std::string &prefix = {}) {
        const auto identity = folderIdentity(folder);
        if (!identity || !mayEnter(folder, *identity))
            return;
        m_within.push_back(*identity);
        for (const fs::path &path : entriesOf(folder, m_notRead)) {
            const std::string name = path.filename().native();
            if (folderIdentity(path))
                read(path, prefix + name + "-");
            else if (name.ends_with(".desktop") && m_seen.insert(prefix + name).second)
                readEntry(path, prefix + name);
        }
        m_within.pop_back();
    }

    std::vector<InstalledEntry> take() { return std::move(m_found); }

private:
    bool mayEnter(const fs::path &folder, const FolderIdentity &identity) {
        if (std::find(m_within.begin(), m_within.end(), identity) != m_within.end())
            m_notRead.add(folder, QStringLiteral("a link to a folder that it stands in"));
        else if (m_within.size() > m_limits.folderDepth)
            m_notRead.add(folder, QStringLiteral("below more than %1 folders").arg(m_limits.folderDepth));
        else if (m_folderCount == m_limits.folders)
            m_notRead.add(folder, QStringLiteral("comes after %1 other folders").arg(m_limits.folders));
        else
            return ++m_folderCount > 0;
        return false;
    }

    void readEntry(const fs::path &path, std::string identifier) {
        if (m_seen.size() > m_limits.entries)
            return m_notRead.add(path, QStringLiteral("comes after %1 other entries").arg(m_limits.entries));
        std::error_code error;
        const auto bytes = platform::readFile(path, m_limits.entryBytes, error);
        if (!bytes)
            return m_notRead.add(path, error);
        m_totalBytes += static_cast<std::size_t>(bytes->size());
        if (m_totalBytes > m_limits.totalBytes)
            return m_notRead.add(path,
                                 QStringLiteral("comes after %1 bytes of entries").arg(m_limits.totalBytes));
        QString problem;
        auto entry = applicationEntry(*bytes, problem);
        if (!problem.isEmpty())
            m_notRead.add(path, problem);
        else if (entry)
            m_found.push_back({path, std::move(identifier), std::move(*entry)});
    }

    NotRead &m_notRead;
    EntryLimits m_limits;
    std::vector<FolderIdentity> m_within;
    std::size_t m_folderCount = 0;
    std::size_t m_totalBytes = 0;
    std::unordered_set<std::string> m_seen;
    std::vector<InstalledEntry> m_found;
};

bool isExecutableFile(const fs::path &path) {
    std::error_code error;
    return fs::is_regular_file(path, error) && ::access(path.c_str(), X_OK) == 0;
}

bool isOffered(const platform::DesktopEntry &entry) {
    if (entry.hidden)
        return false;
    const auto tried = platform::findProgram(entry.tryExec);
    return entry.tryExec.isEmpty() || (tried && isExecutableFile(*tried));
}

} // namespace

std::optional<platform::DesktopEntry> applicationEntry(const QByteArray &bytes, QString &problem) {
    problem.clear();
    // A zero is UTF-8 too, but would end a path early.
    if (bytes.contains('\0') || !QByteArrayView(bytes).isValidUtf8()) {
        problem = QStringLiteral("not UTF-8 text");
        return std::nullopt;
    }
    auto entry = platform::parseDesktopEntry(bytes);
    if (!entry)
        problem = QStringLiteral("no desktop entry");
    else if (!isOffered(*entry) || (!entry->type.isEmpty() && entry->type != "Application"))
        return std::nullopt;
    else if (entry->type.isEmpty())
        problem = QStringLiteral("a desktop entry without a type");
    else if (entry->name.trimmed().isEmpty())
        problem = QStringLiteral("a desktop entry without a name");
    else if (entry->command.isEmpty() && !entry->startedByMessage)
        problem = QStringLiteral("a desktop entry that starts nothing");
    else if (entry->command.value(0).size() >= PATH_MAX)
        problem = QStringLiteral("a desktop entry whose program has too long a name");
    return problem.isEmpty() ? std::move(entry) : std::nullopt;
}

std::vector<InstalledEntry> installedEntries(const std::vector<fs::path> &folders, NotRead &notRead,
                                             const EntryLimits &limits) {
    Reader reader(notRead, limits);
    for (const fs::path &folder : folders)
        reader.read(folder);
    return reader.take();
}

} // namespace system_profiler
